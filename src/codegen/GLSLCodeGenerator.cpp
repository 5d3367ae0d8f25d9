#include "codegen/GLSLCodeGenerator.h"

#include "host/base/Strings.h"
#include "host/own/ShaderContract.h"

#include <cmath>
#include <cstdint>

using Text = LightweightString<char>;

namespace {

bool isSinglePass(const std::vector<Shader::Technique>& techniques) {
    return techniques.size() == 1 && techniques[0].passes.size() == 1;
}

} // namespace

Text GLSLCodeGenerator::floatLiteral(double value) {
    Text text = StringFromFloat(value);
    // GLSL reads "1" as an int and converts it, but an int literal must fit
    // 32 bits: larger whole numbers are written as floats.
    const bool whole = text.find('.') == Text::npos && text.find('e') == Text::npos;
    if (whole && std::fabs(value) > double(INT32_MAX)) text += ".0";
    return text;
}

Shader::Lines GLSLCodeGenerator::generate(const Text& line) const {
    const std::string_view v = line.view();
    const size_t a = v.find("] = {");
    if (a == std::string_view::npos) return {line};
    const size_t b = v.find("};", a);
    if (b == std::string_view::npos) return {line};
    const Text trimmed = line.trimmedBlanks();
    const size_t blank = trimmed.find(' ');
    if (blank == Text::npos) return {line};
    const Text type = trimmed.substr(0, blank);
    // Six characters "] = { " are skipped: the blank after the brace is
    // assumed, and a line written "{1,2}" loses its first character. Kept
    // as it is: existing effect files are written for exactly this rewrite.
    const size_t from = a + 6;
    const Text values = from < b ? Text(v.substr(from, b - from)) : Text();
    return {Text(v.substr(0, a)) + "] = " + type + "[]( " + values + " );"};
}

Shader::Lines GLSLCodeGenerator::generate(const Shader::Input& input) const {
    return {"uniform " + Text(input.dimension != Shader::Input::e2D ? "sampler3D " : "sampler2D ") + input.name + ";"};
}

Shader::Lines GLSLCodeGenerator::generate(const Shader::Parameter& p) const {
    const configb& props = p.properties;
    switch (p.type) {
    case iShaderParam::eFloat: {
        double value = 0;
        props.in(Shader::PropertyKey::kDefault, value);
        return {"uniform float " + p.id + "=" + floatLiteral(value) + ";"};
    }
    case iShaderParam::eInt: {
        int value = 0;
        props.in(Shader::PropertyKey::kDefault, value);
        return {"uniform int " + p.id + "=" + StringFromInteger(value) + ";"};
    }
    case iShaderParam::eBool: {
        bool value = false;
        props.in(Shader::PropertyKey::kDefault, value);
        return {"uniform bool " + p.id + "=" + (value ? "true" : "false") + ";"};
    }
    case iShaderParam::eFloat4: return {"uniform vec4 " + p.id + ";"};
    case iShaderParam::eFloat3x3: return {"uniform mat3 " + p.id + ";"};
    case iShaderParam::eFloat3: return {"uniform vec3 " + p.id + ";"};
    case iShaderParam::eUnused: break;
    }
    // Nothing declares other types; a comment keeps the line count.
    return {"// " + p.id};
}

Shader::Lines GLSLCodeGenerator::generate(const Shader::Function& f, bool isRenderTargetPass) const {
    Text line;
    if (isRenderTargetPass) {
        Shader::Input target;
        target.textureName = f.functionName;
        target.name = f.name;
        for (const Text& part : generate(target)) line += part;
    }
    line += "vec4 " + f.functionName + "()";
    return {line};
}

Shader::Lines GLSLCodeGenerator::generate(const std::vector<Shader::Technique>& techniques) const {
    if (techniques.empty()) return {Text()};
    if (isSinglePass(techniques)) return {"void main()\n{\n   FragColor = " + techniques[0].passes[0].functionName + "();}"};

    Text text;
    for (size_t t = 0; t < techniques.size(); ++t)
        text += "uniform int " + ShaderContract::passCountUniform(uint16_t(t)) + "=" +
                StringFromInteger(int64_t(techniques[t].passes.size())) + ";";
    text += "uniform int " + Text(ShaderContract::kEntryPointUniform) + "=0;\nvoid main()\n{\n   switch ( " +
            ShaderContract::kEntryPointUniform + " )\n   {\n";
    int64_t caseNumber = 0;
    for (const auto& technique : techniques)
        for (const auto& pass : technique.passes)
            text += "      case " + StringFromInteger(caseNumber++) + ": FragColor = " + pass.functionName + "(); break;\n";
    text += "   }\n}";
    return {text};
}

ShaderDefinitions GLSLCodeGenerator::getExtraDefinitions(const std::vector<Shader::Technique>& techniques) const {
    ShaderDefinitions passes;
    if (isSinglePass(techniques)) return passes;
    for (size_t t = 0; t < techniques.size(); ++t)
        for (size_t p = 0; p < techniques[t].passes.size(); ++p)
            passes.push_back({techniques[t].passes[p].name, ShaderContract::passIdentifier(uint16_t(t), uint16_t(p))});
    return passes;
}
