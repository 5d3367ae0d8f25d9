#include "codegen/CgCodeGenerator.h"

#include "host/base/Strings.h"
#include "host/misc/Paths.h"
#include "host/own/ShaderContract.h"

using Text = LightweightString<char>;
namespace Key = Shader::PropertyKey;

CgCodeGenerator::CgCodeGenerator() : CgCodeGenerator(eTargetPlain, getShadersDir()) {}

CgCodeGenerator::CgCodeGenerator(eTarget target, const LightweightString<wchar_t>& includeDirectory)
    : m_target(target), m_includeDirectory(toUTF8(withTrailingSeparator(includeDirectory))) {}

// --- text builders ---

Text CgCodeGenerator::asString(double value) { return toUTF8(Qf::WStringFromFloat(value, 5, true)); }

Text CgCodeGenerator::asString(iShaderEffectBase::eEdgeReadMode mode) {
    switch (mode) {
    case iShaderEffectBase::Border: return "Border";
    case iShaderEffectBase::ClampToEdge: return "ClampToEdge";
    case iShaderEffectBase::Mirror: return "Mirror";
    case iShaderEffectBase::Wrap: return "Wrap";
    }
    return {};
}

Text CgCodeGenerator::asString(iShaderEffectBase::eScalingMethod method) {
    switch (method) {
    case iShaderEffectBase::Linear: return "Linear";
    case iShaderEffectBase::Point: return "Point";
    }
    return {};
}

Text CgCodeGenerator::asString(iShaderParam::eType type) { return Shader::typeName(type); }

Text CgCodeGenerator::enclose(const Text& s, char open, char close) { return open + s + close; }

Text CgCodeGenerator::makeSamplerStateValue(const Text& key, const Text& value) { return key + " = " + value + ";"; }

Text CgCodeGenerator::generateInput(const Text& textureName, const Text& semantic, const Text& samplerName,
                                    iShaderEffectBase::eScalingMethod scaling, iShaderEffectBase::eEdgeReadMode edge,
                                    Shader::Input::eDimension dimension) {
    const Text edgeText = asString(edge);
    const Text scalingText = asString(scaling);
    Text line = "texture " + textureName;
    if (!semantic.empty()) line += " : " + semantic;
    line += "; ";
    line += dimension != Shader::Input::e2D ? "sampler3D " : "sampler ";
    line += samplerName + " = sampler_state { Texture = <" + textureName + ">; AddressU=" + edgeText + "; AddressV=" + edgeText +
            "; MinFilter=" + scalingText + "; MagFilter=" + scalingText + "; };";
    return line;
}

Text CgCodeGenerator::makeAnnotation(const Text& name, const Text& value, char open, char close) {
    return "   string " + name + " = " + enclose(value, open, close) + "; ";
}

Text CgCodeGenerator::makeAnnotation(const Text& name, const Text& value) { return makeAnnotation(name, value, '"', '"'); }

Text CgCodeGenerator::makeAnnotation(const Text& name, const LightweightString<wchar_t>& value) {
    return makeAnnotation(name, toUTF8(value));
}

Text CgCodeGenerator::makeAnnotation(const Text& name, double value) {
    return "   float " + name + " = " + asString(value) + ";";
}

Text CgCodeGenerator::makeAnnotation(const Text& name, bool value) {
    return "   bool " + name + " = " + (value ? "true" : "false") + ";";
}

// --- elements ---

Shader::Lines CgCodeGenerator::generate(const Shader::Header& header) const {
    Shader::Lines lines{"#include \"" + m_includeDirectory + ShaderContract::kCgUtilsFile + "\""};
    if (m_target != eTargetAnnotated) return lines;

    lines.emplace_back();
    lines.emplace_back(ShaderContract::kGeneratedTextMarker);
    lines.emplace_back("<");
    lines.push_back(makeAnnotation("EffectGroup", "GenericPixelShader"));
    lines.push_back(makeAnnotation("Description", header.name));
    lines.push_back(makeAnnotation("Category", header.category));
    static constexpr std::pair<uint32_t, const char*> kCapWords[] = {
        {ScaleAware, "ScaleAware"},
        {HasMinOutputSize, "HasMinOutputSize"},
        {HasMaxOutputSize, "HasMaxOutputSize"},
        {RotationAware, "RotationAware"},
    };
    for (const auto& [bit, word] : kCapWords)
        if (header.caps & bit) lines.push_back(makeAnnotation(word, true));
    lines.emplace_back("> = 0;");
    return lines;
}

Shader::Lines CgCodeGenerator::generate(const Shader::Input& input) const {
    if (m_target != eTargetAnnotated)
        return {generateInput(input.textureName, {}, input.name, input.scaling, input.edgeMode, input.dimension)};

    // The texture takes the input's name; the #define makes later uses of
    // that name in the effect's code refer to the sampler.
    const Text sampler = input.name + "Sampler";
    const Text edge = asString(input.edgeMode);
    const Text scaling = asString(input.scaling);
    return {
        "texture " + input.name + ";",
        "sampler " + sampler + " = sampler_state",
        "{",
        makeSamplerStateValue("   Texture", enclose(input.name, '<', '>')),
        makeSamplerStateValue("   AddressU", edge),
        makeSamplerStateValue("   AddressV", edge),
        makeSamplerStateValue("   MinFilter", scaling),
        makeSamplerStateValue("   MagFilter", scaling),
        "};",
        "#define " + input.name + " " + sampler,
    };
}

Shader::Lines CgCodeGenerator::makeAnnotations(const Shader::Parameter& p) const {
    if (m_target != eTargetAnnotated) return {};
    if (!p.name.empty() && p.name.startsWith(L"_")) return {};

    const configb& props = p.properties;
    Text group, flags; // "group" is read for compatibility; the display group comes from the record
    props.in(Key::kGroup, group);
    props.in(Key::kFlags, flags);

    Shader::Lines lines{"<", makeAnnotation("Description", p.name)};
    if (!p.group.empty()) lines.push_back(makeAnnotation("Group", p.group));
    if (!flags.empty()) lines.push_back(makeAnnotation("Flags", flags));
    switch (p.type) {
    case iShaderParam::eFloat: {
        double minVal = 0, maxVal = 1;
        int animated = 0;
        props.in(Key::kMin, minVal);
        props.in(Key::kMax, maxVal);
        props.in(Key::kAnimated, animated);
        lines.push_back(makeAnnotation("MinVal", minVal));
        lines.push_back(makeAnnotation("MaxVal", maxVal));
        if (animated != 0) {
            lines.push_back(makeAnnotation("KF0", 0.0));
            lines.push_back(makeAnnotation("KF1", 1.0));
        }
        break;
    }
    case iShaderParam::eInt: {
        Text choices;
        props.in(Key::kChoices, choices);
        lines.push_back(makeAnnotation("Enum", choices));
        break;
    }
    case iShaderParam::eFloat4: {
        double alpha = -1;
        props.in(Key::kAlpha, alpha);
        lines.push_back(makeAnnotation("SupportsAlpha", alpha != -1));
        break;
    }
    default: break;
    }
    lines.emplace_back(">");
    return lines;
}

Shader::Lines CgCodeGenerator::generate(const Shader::Parameter& p) const {
    Shader::Lines lines{Text(), asString(p.type) + " " + p.id};
    const Shader::Lines annotations = makeAnnotations(p);
    lines.insert(lines.end(), annotations.begin(), annotations.end());

    Text& last = lines.back();
    const configb& props = p.properties;
    switch (p.type) {
    case iShaderParam::eFloat: {
        double value = 0;
        props.in(Key::kDefault, value);
        last += " = " + asString(value);
        break;
    }
    case iShaderParam::eInt: {
        int value = 0;
        props.in(Key::kDefault, value);
        last += " = " + StringFromInteger(value);
        break;
    }
    case iShaderParam::eBool: {
        bool value = false;
        props.in(Key::kDefault, value);
        last += value ? " = true" : " = false";
        break;
    }
    case iShaderParam::eFloat4: {
        double c1 = 0, c2 = 0, c3 = 0, alpha = 1;
        props.in(Key::kColour1, c1);
        props.in(Key::kColour2, c2);
        props.in(Key::kColour3, c3);
        props.in(Key::kAlpha, alpha);
        last += " = { " + asString(c1) + "," + asString(c2) + "," + asString(c3) + "," + asString(alpha) + " }";
        break;
    }
    default: break;
    }
    last += ";";
    if (m_target == eTargetAnnotated) lines.emplace_back();
    return lines;
}

Shader::Lines CgCodeGenerator::generate(const Shader::Function& f, bool isRenderTargetPass) const {
    Text line;
    Text name = f.name;
    if (isRenderTargetPass) {
        // The sampler takes the pass's name so that later passes read this
        // pass's result by that name; the pixel function carries "_pass".
        line = generateInput(f.renderTarget, "RenderColorTarget", name, iShaderEffectBase::Linear, iShaderEffectBase::ClampToEdge,
                             Shader::Input::e2D);
        name = Shader::passFunctionName(name);
    }
    // Every pass function receives all nine texture coordinates.
    static const std::string_view kParameters =
        "float2 uv0 : TEXCOORD0,float2 uv1 : TEXCOORD1,float2 uv2 : TEXCOORD2,float2 uv3 : TEXCOORD3,"
        "float2 uv4 : TEXCOORD4,float2 uv5 : TEXCOORD5,float2 uv6 : TEXCOORD6,float2 uv7 : TEXCOORD7,"
        "float2 uv8 : TEXCOORD8): COLOR";
    line += "float4 ";
    line += name;
    line += '(';
    line += kParameters;
    return {line};
}

Shader::Lines CgCodeGenerator::generate(const std::vector<Shader::Technique>& techniques) const {
    Text text;
    for (size_t t = 0; t < techniques.size(); ++t) {
        const auto& passes = techniques[t].passes;
        text += "technique " + ShaderContract::techniqueName(uint16_t(t)) + "{";
        for (size_t p = 0; p < passes.size(); ++p) {
            text += "pass P" + StringFromInteger(int64_t(p) + 1);
            if (p != passes.size() - 1) text += " < string Script = \"RenderColorTarget0 = " + passes[p].renderTarget + ";\"; > ";
            text += "{ PixelShader = compile PROFILE " + passes[p].functionName + "(); } ";
        }
        text += "}";
    }
    return {text};
}
