// GLSLCodeGenerator: writes a GLSL fragment shader (output FragColor).
//
// Multi-pass effects select their pass at run time through the _entryPoint
// uniform; the pass map that goes with the text names each pass
// "_T<t>_P<p>" (getExtraDefinitions). The version line and the vertex stage
// come from the GPU service. Stateless: any thread, any number of effects.
#pragma once

#include "codegen/iShaderCodeGenerator.h"

class GLSLCodeGenerator : public iShaderCodeGenerator {
public:
    GLSLCodeGenerator() = default;

    using iShaderCodeGenerator::generate;
    // Rewrites Cg array initialisers "T a[N] = { x, y };" to "T a[N] = T[]( x, y  );".
    Shader::Lines generate(const LightweightString<char>& codeLine) const override;
    Shader::Lines generate(const std::vector<Shader::Technique>& techniques) const override;
    Shader::Lines generate(const Shader::Function& function, bool isRenderTargetPass) const override;
    Shader::Lines generate(const Shader::Parameter& parameter) const override;
    Shader::Lines generate(const Shader::Input& input) const override;
    Shader::Lines generate(const Shader::Header&) const override { return {"out vec4 FragColor;"}; }
    Shader::Lines generate(const Shader::Include&) const override { return {}; }
    // The pass map: (pass name, "_T<t>_P<p>") for every pass of a multi-pass
    // text; empty for a single technique of a single pass, which needs none.
    ShaderDefinitions getExtraDefinitions(const std::vector<Shader::Technique>& techniques) const override;

    // A GLSL float literal for `value`: the shortest spelling that reads back
    // as the same double ("0.5", "1", "1e+20"), with ".0" added to whole
    // numbers beyond 32 bits ("123456789012.0"), which GLSL would otherwise
    // read as an integer literal out of range. `value` must be finite.
    static LightweightString<char> floatLiteral(double value);
};
