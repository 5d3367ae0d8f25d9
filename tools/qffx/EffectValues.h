// The parameter values an effect is drawn with, and the one place that writes
// them before a draw.
//
// A GLSL uniform keeps its value between draws, and colour, float3 and matrix
// uniforms have no initialiser: a parameter the host does not write is black
// (zero). So every draw writes every declared parameter: its declared default,
// or the value the caller gave in its place.
#pragma once

#include "effects/ShaderEffectInfo.h"

#include <array>
#include <string>
#include <vector>

// One parameter's value. It takes a value through the iShaderParam setters
// (so that text reaches it as it reaches a compiled parameter) and writes it to
// a compiled parameter of the same type.
class ParameterValue final : public iShaderParam {
public:
    ParameterValue(LightweightString<char> name, eType type) : m_name(std::move(name)), m_type(type) {}

    LightweightString<char> getName() const override { return m_name; }
    eType getType() const override { return m_type; }
    bool getAnnotation(const LightweightString<char>&, int&) const override { return false; }
    bool getAnnotation(const LightweightString<char>&, LightweightString<char>&) const override { return false; }
    // Each setter keeps the value when the type fits, as a compiled parameter does.
    bool setFloat(float value) override { return store(eFloat, &value, 1); }
    bool setBool(bool value) override { return m_type == eBool && (m_bool = value, true); }
    bool setInt(int value) override { return m_type == eInt && (m_int = value, true); }
    bool setFloat3(const float* xyz) override { return store(eFloat3, xyz, 3); }
    bool setFloat4(const float* xyzw) override { return store(eFloat4, xyzw, 4); }
    bool setMatrix3x3(const float* rows) override { return store(eFloat3x3, rows, 9); }

    // Writes the value with the setter of its type; false when `target` refuses it.
    bool writeTo(iShaderParam& target) const;

private:
    bool store(eType type, const float* values, int count);

    LightweightString<char> m_name;
    eType m_type;
    std::array<float, 9> m_numbers{};
    int m_int = 0;
    bool m_bool = false;
};

class EffectValues {
public:
    // The declarations of `effect`, read afresh from its source (a compiled
    // effect's parameter list keeps no declared values), each at its default:
    // a float, int or bool parameter its "default"; a colour its c1, c2, c3 and
    // alpha (1 when not declared); a declaration that gives only an ID (a
    // variable the host sets: float, float3, float4, float3x3) zero, as an
    // uninitialised uniform. Internal parameters ("_" names) are left to the
    // GPU service.
    explicit EffectValues(const ShaderEffectInfo& effect);
    // The values of declarations already read, in declaration order.
    explicit EffectValues(const std::vector<Shader::Parameter>& declarations);

    // The declarations in the order the effect file gives them, parameters
    // and variables alike.
    const std::vector<Shader::Parameter>& declarations() const { return m_declarations; }

    // The value of `name`, which the effect does not declare when null.
    ParameterValue* find(const LightweightString<char>& name);
    // The value of `name` of that type, added at the end when the effect does
    // not declare it (text compiled as it stands declares nothing), to be set
    // with the iShaderParam setters.
    ParameterValue& at(const LightweightString<char>& name, iShaderParam::eType type);

    // Makes `shader` ready to draw: writes each value once, in declaration
    // order. A value whose parameter the compiled effect lacks (the compiler
    // dropped it as unused) is skipped. False with `error` set when the
    // effect refuses a value.
    bool writeTo(iShaderEffect& shader, std::string& error) const;

private:
    std::vector<Shader::Parameter> m_declarations;
    std::vector<ParameterValue> m_values;
};
