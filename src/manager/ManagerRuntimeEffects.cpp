// Manager: effects built at run time from generated source.
#include "manager/Manager.h"

#include "host/TextFile.h"

namespace Qf::FxResources {

using Text = LightweightString<char>;

Ptr<iShaderEffect> Manager::createShaderFromCode(const Text& name, const std::vector<Text>& lines) {
    TextFile text;
    text.appendLines(lines);
    const Ptr<ShaderEffectInfo> effect = makePtr<ShaderEffectInfo>(text);
    const ShaderCompilationOutput out = effect->compile({});
    if (out.shader) {
        CriticalSectionLock hold(m_shaderUsageLock);
        m_effectsByName.emplace(name, effect); // a name already taken keeps its effect
    }
    return out.shader;
}

Text Manager::reorderKey(const Text& from, const Text& to, const Text& flip) { return from + to + flip; }

std::vector<Text> Manager::reorderEffectText(const Text& from, const Text& to, const Text& flip) {
    return {
        "DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );",
        "DeclareInput( Input, Point );",
        "DeclareEntryPoint()",
        "{",
        flip.empty() ? "float4 src = ReadPixel( Input, uv1 );" : "float4 src = ReadPixel( Input, float2( uv1.x, 1.0 - uv1.y ) );",
        "float4 dst;",
        Text("dst.") + to + " = src." + from + ";",
        "return dst;",
        "}",
    };
}

Ptr<ShaderEffectInfo> Manager::buildReorderEffect(const Text& from, const Text& to, const Text& flip) {
    CriticalSectionLock hold(m_shaderUsageLock);
    if (from == to && flip.empty()) return {}; // nothing to do
    const Text key = reorderKey(from, to, flip);
    if (const auto it = m_effectsByName.find(key); it != m_effectsByName.end()) return it->second;

    TextFile text;
    text.appendLines(reorderEffectText(from, to, flip));
    const Ptr<ShaderEffectInfo> effect = makePtr<ShaderEffectInfo>(text);
    effect->compile({});
    // Filed even when it failed: a reorder that does not compile is not tried again.
    m_effectsByName.emplace(key, effect);
    return effect;
}

Ptr<iShaderEffect> Manager::findReorderShader(const Text& from, const Text& to, const Text& flip) {
    CriticalSectionLock hold(m_shaderUsageLock);
    const Ptr<ShaderEffectInfo> effect = buildReorderEffect(from, to, flip);
    return effect ? effect->getShader() : Ptr<iShaderEffect>();
}

} // namespace Qf::FxResources
