#include "EffectValues.h"

#include "codegen/CodeGenerators.h"
#include "host/misc/Paths.h"

#include <algorithm>

namespace {

namespace Key = Shader::PropertyKey;

// A generator that writes what the GLSL one writes and keeps each parameter
// declaration it is handed. The reader hands parameters and variables over in
// the file's order; its own lists keep the two apart.
class DeclarationRecorder final : public iShaderCodeGenerator {
public:
    DeclarationRecorder() : m_glsl(makeCodeGenerator(eShadingLanguageGLSL, getShadersDir())) {}
    Shader::Lines generate(const LightweightString<char>& codeLine) const override { return m_glsl->generate(codeLine); }
    Shader::Lines generate(const Shader::Comment& comment) const override { return m_glsl->generate(comment); }
    Shader::Lines generate(const std::vector<Shader::Technique>& techniques) const override {
        return m_glsl->generate(techniques);
    }
    Shader::Lines generate(const Shader::Function& function, bool isRenderTargetPass) const override {
        return m_glsl->generate(function, isRenderTargetPass);
    }
    Shader::Lines generate(const Shader::Parameter& parameter) const override {
        declared.push_back(parameter);
        return m_glsl->generate(parameter);
    }
    Shader::Lines generate(const Shader::Input& input) const override { return m_glsl->generate(input); }
    Shader::Lines generate(const Shader::Header& header) const override { return m_glsl->generate(header); }
    Shader::Lines generate(const Shader::Include& include) const override { return m_glsl->generate(include); }

    mutable std::vector<Shader::Parameter> declared;

private:
    Ptr<iShaderCodeGenerator> m_glsl;
};

std::vector<Shader::Parameter> readDeclarations(const ShaderEffectInfo& effect) {
    ShaderEffectInfo copy(effect.getSource());
    copy.setFileName(effect.getFullPath());
    const Ptr<DeclarationRecorder> recorder = makePtr<DeclarationRecorder>();
    copy.read(recorder);
    return recorder->declared;
}

double number(const configb& properties, const char* key, double fallback) {
    properties.in(key, fallback);
    return fallback;
}

ParameterValue defaultValue(const Shader::Parameter& p) {
    ParameterValue value(p.id, p.type);
    const configb& props = p.properties;
    switch (p.type) {
    case iShaderParam::eFloat: value.setFloat(float(number(props, Key::kDefault, 0))); break;
    case iShaderParam::eInt: {
        int64_t v = 0;
        props.in(Key::kDefault, v);
        value.setInt(int(v));
        break;
    }
    case iShaderParam::eBool: {
        bool v = false;
        props.in(Key::kDefault, v);
        value.setBool(v);
        break;
    }
    case iShaderParam::eFloat4: {
        // A variable (no colour declared) stays zero; a colour without a
        // declared alpha is opaque, as the Cg text declares it.
        if (!props.has(Key::kColour1)) break;
        const float rgba[4] = {float(number(props, Key::kColour1, 0)), float(number(props, Key::kColour2, 0)),
                               float(number(props, Key::kColour3, 0)), float(number(props, Key::kAlpha, 1))};
        value.setFloat4(rgba);
        break;
    }
    case iShaderParam::eFloat3:
    case iShaderParam::eFloat3x3:
    case iShaderParam::eUnused: break; // zero: nothing declares their values
    }
    return value;
}

} // namespace

bool ParameterValue::store(eType type, const float* values, int count) {
    if (m_type != type) return false;
    std::copy(values, values + count, m_numbers.begin());
    return true;
}

bool ParameterValue::writeTo(iShaderParam& target) const {
    switch (m_type) {
    case eFloat: return target.setFloat(m_numbers[0]);
    case eBool: return target.setBool(m_bool);
    case eInt: return target.setInt(m_int);
    case eFloat3: return target.setFloat3(m_numbers.data());
    case eFloat4: return target.setFloat4(m_numbers.data());
    case eFloat3x3: return target.setMatrix3x3(m_numbers.data());
    case eUnused: break;
    }
    return false;
}

EffectValues::EffectValues(const ShaderEffectInfo& effect) : EffectValues(readDeclarations(effect)) {}

EffectValues::EffectValues(const std::vector<Shader::Parameter>& declarations) {
    for (const Shader::Parameter& p : declarations) {
        if (ShaderEffectInfo::isInternalParameter(p.id) || find(p.id)) continue;
        m_declarations.push_back(p);
        m_values.push_back(defaultValue(p));
    }
}

ParameterValue* EffectValues::find(const LightweightString<char>& name) {
    const auto it = std::find_if(m_values.begin(), m_values.end(), [&](const ParameterValue& v) { return v.getName() == name; });
    return it == m_values.end() ? nullptr : &*it;
}

ParameterValue& EffectValues::at(const LightweightString<char>& name, iShaderParam::eType type) {
    if (ParameterValue* value = find(name)) return *value;
    return m_values.emplace_back(name, type);
}

bool EffectValues::writeTo(iShaderEffect& shader, std::string& error) const {
    for (const ParameterValue& value : m_values) {
        const Ptr<iShaderParam> param = shader.getParam(value.getName());
        if (!param) continue;
        if (!value.writeTo(*param)) {
            error = "the effect refused the value of parameter '" + value.getName().str() + "'";
            return false;
        }
    }
    return true;
}
