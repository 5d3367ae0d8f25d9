// CgCodeGenerator: writes Cg/HLSL-style effect text.
//
// eTargetPlain writes the compact form compiled at run time; eTargetAnnotated
// writes the self-describing effect-file form (the _QfrmEffectInfo marker,
// sampler_state blocks and parameter annotations for the user interface).
// Real numbers are written with five places, trailing zeros trimmed. The
// header includes the shaders directory's _utils.fx by the absolute path
// given at construction. Stateless apart from the target and that directory.
#pragma once

#include "codegen/iShaderCodeGenerator.h"

class CgCodeGenerator : public iShaderCodeGenerator {
public:
    enum eTarget : int32_t { eTargetPlain = 0, eTargetAnnotated = 1 };

    // The plain target, including _utils.fx from the current shaders directory.
    CgCodeGenerator();
    CgCodeGenerator(eTarget target, const LightweightString<wchar_t>& includeDirectory);
    CgCodeGenerator(const CgCodeGenerator& other)
        : Qf::InternalRefCount(), iVirtual(), iShaderCodeGenerator(), m_target(other.m_target),
          m_includeDirectory(other.m_includeDirectory) {}
    CgCodeGenerator& operator=(const CgCodeGenerator& other) {
        m_target = other.m_target;
        m_includeDirectory = other.m_includeDirectory;
        return *this;
    }
    ~CgCodeGenerator() override = default;

    void setTarget(eTarget target) { m_target = target; }
    eTarget getTarget() const { return m_target; }

    using iShaderCodeGenerator::generate;
    Shader::Lines generate(const Shader::Comment&) const override { return {LightweightString<char>()}; }
    Shader::Lines generate(const std::vector<Shader::Technique>& techniques) const override;
    Shader::Lines generate(const Shader::Function& function, bool isRenderTargetPass) const override;
    Shader::Lines generate(const Shader::Parameter& parameter) const override;
    Shader::Lines generate(const Shader::Input& input) const override;
    Shader::Lines generate(const Shader::Header& header) const override;
    Shader::Lines generate(const Shader::Include&) const override { return {}; }

    // The annotation block of a parameter ("<", annotations, ">"); empty for
    // the plain target and for parameters whose display name begins with "_".
    Shader::Lines makeAnnotations(const Shader::Parameter& parameter) const;

    // Text builders, public so that effect-file writers can share them.
    static LightweightString<char> asString(double value);
    static LightweightString<char> asString(iShaderEffectBase::eEdgeReadMode mode);
    static LightweightString<char> asString(iShaderEffectBase::eScalingMethod method);
    static LightweightString<char> asString(iShaderParam::eType type);
    static LightweightString<char> enclose(const LightweightString<char>& s, char open, char close);
    static LightweightString<char> makeSamplerStateValue(const LightweightString<char>& key,
                                                         const LightweightString<char>& value);
    static LightweightString<char> generateInput(const LightweightString<char>& textureName,
                                                 const LightweightString<char>& semantic,
                                                 const LightweightString<char>& samplerName,
                                                 iShaderEffectBase::eScalingMethod scaling, iShaderEffectBase::eEdgeReadMode edge,
                                                 Shader::Input::eDimension dimension);

    static LightweightString<char> makeAnnotation(const LightweightString<char>& name, const LightweightString<char>& value,
                                                  char open, char close);
    static LightweightString<char> makeAnnotation(const LightweightString<char>& name, const LightweightString<char>& value);
    static LightweightString<char> makeAnnotation(const LightweightString<char>& name, const LightweightString<wchar_t>& value);
    static LightweightString<char> makeAnnotation(const LightweightString<char>& name, double value);
    static LightweightString<char> makeAnnotation(const LightweightString<char>& name, bool value);
    // Keeps string literals from choosing the bool overload.
    static LightweightString<char> makeAnnotation(const LightweightString<char>& name, const char* value) {
        return makeAnnotation(name, LightweightString<char>(value));
    }

private:
    eTarget m_target = eTargetPlain;
    LightweightString<char> m_includeDirectory; // UTF-8, ends in a separator
};
