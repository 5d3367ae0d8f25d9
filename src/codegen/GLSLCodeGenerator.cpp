#include "codegen/GLSLCodeGenerator.h"

#include "host/Strings.h"

using Text = LightweightString<char>;

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
    // assumed. A line written "{1,2}" therefore loses its first character.
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
            props.in("default", value);
            return {"uniform float " + p.id + "=" + StringFromFloat(value) + ";"};
        }
        case iShaderParam::eInt: {
            int value = 0;
            props.in("default", value);
            return {"uniform int " + p.id + "=" + StringFromInteger(value) + ";"};
        }
        case iShaderParam::eBool: {
            bool value = false;
            props.in("default", value);
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
    if (techniques.size() == 1 && techniques[0].passes.size() == 1)
        return {"void main()\n{\n   FragColor = " + techniques[0].passes[0].functionName + "();}"};

    Text text;
    {
        std::lock_guard<std::mutex> lock(passesMutex_);
        for (size_t t = 0; t < techniques.size(); ++t) {
            const auto& passes = techniques[t].passes;
            for (size_t p = 0; p < passes.size(); ++p)
                passes_.push_back({passes[p].name, "_T" + StringFromInteger(uint16_t(t)) + "_P" + StringFromInteger(uint16_t(p))});
            text += "uniform int _passCount" + StringFromInteger(uint16_t(t)) + "=" + StringFromInteger(int64_t(passes.size())) + ";";
        }
    }
    text += "uniform int _entryPoint=0;\nvoid main()\n{\n   switch ( _entryPoint )\n   {\n";
    int64_t caseNumber = 0;
    for (const auto& technique : techniques)
        for (const auto& pass : technique.passes)
            text += "      case " + StringFromInteger(caseNumber++) + ": FragColor = " + pass.functionName + "(); break;\n";
    text += "   }\n}";
    return {text};
}

ShaderDefinitions GLSLCodeGenerator::getExtraDefinitions() const {
    std::lock_guard<std::mutex> lock(passesMutex_);
    return passes_;
}
