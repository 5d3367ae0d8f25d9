// GLSLCodeGenerator: writes a GLSL fragment shader (output FragColor).
//
// Multi-pass effects select their pass at run time through the _entryPoint
// uniform; the generator numbers each pass "_T<t>_P<p>" as it writes the
// techniques and hands that pass map on as extra compile definitions. The
// pass list only grows: use one generator per compilation, and one thread
// per generator. The version line and vertex stage come from the GPU service.
#pragma once

#include "codegen/iShaderCodeGenerator.h"

#include <mutex>

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
    // The pass map: (pass name, "_T<t>_P<p>") in numbering order.
    ShaderDefinitions getExtraDefinitions() const override;

private:
    mutable std::mutex passesMutex_;
    mutable ShaderDefinitions passes_;
};
