// The names that effect text and the GPU service agree on.
//
// The code generators write these names into the text they hand to the GPU
// service, and the service finds them again in the compiled program: the
// special parameters it sets at every draw, the pass map of multi-pass GLSL
// effects, the technique names, the effect-information marker. Each writer
// sits next to its parser here, so the two sides cannot drift apart.
#pragma once

#include "host/base/LightweightString.h"

#include <cstdint>
#include <string_view>

// The language in which a GPU service compiles effects.
enum eShadingLanguage : int32_t {
    eShadingLanguageCg = 0,   // Cg-style effect text with techniques and passes
    eShadingLanguageGLSL = 1, // a GLSL fragment shader with the _entryPoint pass switch
};

namespace ShaderContract {

// The parameters that the host writes on every effect at every draw, from the
// target's size and the render context; in the order handed to a compile.
inline constexpr const char* kSpecialParameters[] = {
    "_OUTPUTWIDTH", "_OUTPUTHEIGHT", "_OUTPUTASPECTRATIO", "_PROGRESS", "_OUTPUTFPS", "_LENGTH", "_LENGTHFRAMES",
};
inline constexpr int kSpecialParameterCount = int(std::size(kSpecialParameters));

// The parameter that carries an effect's description in Cg text; a line
// beginning with kGeneratedTextMarker marks a file that is generated text.
inline constexpr std::string_view kEffectInfoName = "_QfrmEffectInfo";
inline constexpr std::string_view kGeneratedTextMarker = "int _QfrmEffectInfo";

// Helper files of the shaders directory: included by every Cg text, and put
// before every GLSL program by the GL service.
inline constexpr const char* kCgUtilsFile = "_utils.fx";
inline constexpr const char* kGLSLUtilsFile = "_utils.glsl";

// Multi-pass GLSL: the uniform that selects the pass to run, counted across
// all techniques from 0, and the uniform that holds a technique's pass count.
inline constexpr const char* kEntryPointUniform = "_entryPoint";
LightweightString<char> passCountUniform(uint16_t technique);

// The pass map of a multi-pass GLSL effect names pass p of technique t (both
// from 0) "_T<t>_P<p>". The parser takes exactly that form and nothing else.
LightweightString<char> passIdentifier(uint16_t technique, uint16_t pass);
bool parsePassIdentifier(std::string_view text, uint16_t& technique, uint16_t& pass);

// Techniques are named "T1", "T2", ... (index 0 is "T1").
LightweightString<char> techniqueName(uint16_t index);
bool parseTechniqueName(std::string_view name, uint16_t& index);

} // namespace ShaderContract
