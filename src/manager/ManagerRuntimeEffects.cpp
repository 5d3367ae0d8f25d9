// Manager: effects built at run time from generated source.
#include "manager/Manager.h"

#include "host/misc/TextFile.h"

namespace Qf::FxResources {

using Text = LightweightString<char>;

// Takes no lock: the insertion is published like every registry change, and
// a name taken meanwhile by another thread keeps its effect.
Ptr<iShaderEffect> Manager::createShaderFromCode(const Text& name, const std::vector<Text>& lines) {
    const Call call;
    TextFile text;
    text.appendLines(lines);
    const Ptr<ShaderEffectInfo> effect = makePtr<ShaderEffectInfo>(text);
    const ShaderCompilationOutput out = effect->compile({});
    // A name already taken keeps its effect.
    if (out.shader) publish([&](Registry& r) { return r.effectsByName.emplace(name, effect).second; });
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
    const Call call;
    CriticalSectionLock hold(m_shaderUsageLock);
    if (from == to && flip.empty()) return {}; // nothing to do
    const Text key = reorderKey(from, to, flip);
    {
        const RegistryPtr r = registry();
        if (const auto it = r->effectsByName.find(key); it != r->effectsByName.end()) return it->second;
    }

    TextFile text;
    text.appendLines(reorderEffectText(from, to, flip));
    const Ptr<ShaderEffectInfo> effect = makePtr<ShaderEffectInfo>(text);
    effect->compile({});
    // Filed even when it failed: a reorder that does not compile is not tried again.
    publish([&](Registry& r) { return r.effectsByName.emplace(key, effect).second; });
    return effect;
}

Ptr<iShaderEffect> Manager::findReorderShader(const Text& from, const Text& to, const Text& flip) {
    const Call call;
    CriticalSectionLock hold(m_shaderUsageLock);
    const Ptr<ShaderEffectInfo> effect = buildReorderEffect(from, to, flip);
    return effect ? effect->getShader() : Ptr<iShaderEffect>();
}

} // namespace Qf::FxResources
