// iShaderCodeGenerator: turns shader-model records into shader text.
//
// Every operation returns the element's text as a list of lines (no line
// terminators, except inside the one-entry technique texts). The slot order
// is fixed: code line, comment, techniques, function, parameter, input,
// header, include, extra compile definitions.
#pragma once

#include "effects/ShaderModel.h"
#include "host/Ptr.h"

class iShaderCodeGenerator : public iObject {
public:
    // A line of the effect's own code; by default unchanged.
    virtual Shader::Lines generate(const LightweightString<char>& codeLine) const { return {codeLine}; }
    // Comments are never written: one empty line keeps the line count.
    virtual Shader::Lines generate(const Shader::Comment&) const { return {LightweightString<char>()}; }
    // The GLSL generator also records the passes it numbers (see getExtraDefinitions).
    virtual Shader::Lines generate(const std::vector<Shader::Technique>& techniques) const = 0;
    virtual Shader::Lines generate(const Shader::Function& function, bool isRenderTargetPass) const = 0;
    virtual Shader::Lines generate(const Shader::Parameter& parameter) const = 0;
    virtual Shader::Lines generate(const Shader::Input& input) const = 0;
    virtual Shader::Lines generate(const Shader::Header& header) const = 0;
    virtual Shader::Lines generate(const Shader::Include& include) const = 0;
    // Further name/value pairs handed to the compile (the GLSL pass map).
    virtual ShaderDefinitions getExtraDefinitions() const { return {}; }

    ~iShaderCodeGenerator() override = default;
};
