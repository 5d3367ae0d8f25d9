// iShaderCodeGenerator: turns shader-model records into shader text.
//
// Every operation is a const, pure function of the record it is given and of
// the generator's construction (Cg target, include directory): one generator
// may serve any number of effects and threads. Each returns the element's
// text as a list of lines (no line terminators, except inside the one-entry
// technique texts). The slot order is fixed: code line, comment, techniques,
// function, parameter, input, header, include, extra compile definitions.
#pragma once

#include "host/base/Ptr.h"
#include "model/ShaderModel.h"

class iShaderCodeGenerator : public iObject {
public:
    // A line of the effect's own code; by default unchanged.
    virtual Shader::Lines generate(const LightweightString<char>& codeLine) const { return {codeLine}; }
    // Comments are never written: one empty line keeps the line count.
    virtual Shader::Lines generate(const Shader::Comment&) const { return {LightweightString<char>()}; }
    virtual Shader::Lines generate(const std::vector<Shader::Technique>& techniques) const = 0;
    virtual Shader::Lines generate(const Shader::Function& function, bool isRenderTargetPass) const = 0;
    virtual Shader::Lines generate(const Shader::Parameter& parameter) const = 0;
    virtual Shader::Lines generate(const Shader::Input& input) const = 0;
    virtual Shader::Lines generate(const Shader::Header& header) const = 0;
    virtual Shader::Lines generate(const Shader::Include& include) const = 0;
    // Further name/value pairs handed to the compile of text written for
    // these techniques (the GLSL pass map); none by default.
    virtual ShaderDefinitions getExtraDefinitions(const std::vector<Shader::Technique>&) const { return {}; }

    ~iShaderCodeGenerator() override = default;
};
