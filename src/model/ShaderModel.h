// The shader model: plain records that an effect file is read into and that
// the code generators write text from. Value types, no behaviour; the reader
// (effects/) and the generators (codegen/) both build on this folder, which
// itself sees only host/.
#pragma once

#include "host/base/LightweightString.h"
#include "host/misc/configb.h"
#include "host/os/ShaderEffect.h"

#include <cstdint>
#include <vector>

// Capability bits of an effect (the header's and the effect object's `caps`).
enum eEffectCaps : uint32_t {
    ScaleAware = 0x1,
    HasMinOutputSize = 0x2,
    HasMaxOutputSize = 0x4,
    RotationAware = 0x8,
};

namespace Shader {

// One comment line, trimmed, with its leading "//".
struct Comment {
    LightweightString<char> text;
};

// One #include directive: the text between its first pair of quotes.
struct Include {
    LightweightString<char> fileName;
};

// The effect's identity from its effect declaration.
struct Header {
    LightweightString<char> name, category, subcategory, notes;
    uint32_t caps = 0;
};

// One image input, mask or sampled texture.
struct Input {
    enum eDimension : int32_t { e2D = 0, e3D = 1 };

    LightweightString<char> textureName; // "_" + name
    LightweightString<char> name;        // the sampler name used by effect code
    iShaderEffectBase::eScalingMethod scaling = iShaderEffectBase::Linear;
    iShaderEffectBase::eEdgeReadMode edgeMode = iShaderEffectBase::ClampToEdge;
    eDimension dimension = e2D;
    bool isMask = false;
};

// The keys under which a parameter's `properties` keep its declared values.
// "default" is a double for float parameters, an integer for int parameters
// and a bool for bool parameters; "animated" is the integer 0 or 1;
// "flags" and "choices" are strings; the rest are doubles.
namespace PropertyKey {
inline constexpr const char* kFlags = "flags";
inline constexpr const char* kDefault = "default";
inline constexpr const char* kMin = "min";
inline constexpr const char* kMax = "max";
inline constexpr const char* kAnimated = "animated";
inline constexpr const char* kChoices = "choices";
inline constexpr const char* kColour1 = "c1";
inline constexpr const char* kColour2 = "c2";
inline constexpr const char* kColour3 = "c3";
inline constexpr const char* kAlpha = "alpha";
// Read by the annotated Cg target; nothing stores it.
inline constexpr const char* kGroup = "group";
} // namespace PropertyKey

// One parameter. `properties` holds the declaration's values under the keys above.
struct Parameter {
    iShaderParam::eType type = iShaderParam::eFloat;
    LightweightString<char> id;
    LightweightString<wchar_t> name;
    LightweightString<wchar_t> group;
    configb properties;

    Parameter() = default;
    Parameter(iShaderParam::eType t, LightweightString<char> i, LightweightString<wchar_t> n, LightweightString<wchar_t> g)
        : type(t), id(std::move(i)), name(std::move(n)), group(std::move(g)) {}
};

// One pass function, or the entry function of a technique (empty renderTarget).
struct Function {
    LightweightString<char> name;
    LightweightString<char> functionName; // name + "_pass" for passes
    LightweightString<char> renderTarget; // "_" + name; empty: the effect's output

    Function() = default;
    Function(LightweightString<char> n, LightweightString<char> fn, LightweightString<char> rt)
        : name(std::move(n)), functionName(fn.empty() ? name : std::move(fn)), renderTarget(std::move(rt)) {}
};

struct Technique {
    std::vector<Function> passes;
};

// The effect-language name of a parameter type ("float", "bool", "int",
// "float4", "float3x3", "float3"); empty for types no declaration makes.
LightweightString<char> typeName(iShaderParam::eType type);
// Every input's texture and every pass's render target: "_" + name.
LightweightString<char> textureNameFor(const LightweightString<char>& name);
// The pixel function a pass author writes: name + "_pass".
LightweightString<char> passFunctionName(const LightweightString<char>& name);

using Error = ShaderError;
using Lines = std::vector<LightweightString<char>>;

} // namespace Shader
