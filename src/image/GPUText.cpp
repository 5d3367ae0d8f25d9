#include "image/GPUText.h"

#include "effects/ShaderEffectInfo.h"
#include "host/base/CriticalSection.h"
#include "host/base/Strings.h"
#include "host/misc/Log.h"
#include "host/misc/TextFile.h"
#include "host/os/OS.h"

#include <algorithm>
#include <climits>

namespace Qf::Image {

namespace {

// Technique 1 gathers one glyph into the coverage image: the previous
// coverage is bound first (uv1), the atlas second (uv2), placed so that the
// glyph's texels land on its pixels one to one; GlyphBox (normalised atlas
// coordinates) keeps out its neighbours. Technique 2 blends the colour over
// the destination (uv1) by the coverage (uv2; Border sampling makes it 0
// outside the text). Technique 3 copies its input.
const char* const kTextEffect[] = {
    "DeclareQuillframeEffect( NULL, Internal, Text, kNoNotes, kNoFlags );",
    "DeclareInput( Coverage, Point );",
    "DeclareInput( Atlas, Point );",
    "DeclareInput( Destination, Point );",
    "DeclareFloat4Param( GlyphBox, \"Glyph box\", kNoGroup, kNoFlags, 0, 0, 0, 0 )",
    "DeclareFloat4Param( TextColour, \"Colour\", kNoGroup, kNoFlags, 1, 1, 1, 1 )",
    "DeclareEntryPoint( AddGlyph )",
    "{",
    "   float previous = tex2D( Coverage, uv1 ).a;",
    "   float inside = step( GlyphBox.x, uv2.x ) * step( uv2.x, GlyphBox.z )",
    "                * step( GlyphBox.y, uv2.y ) * step( uv2.y, GlyphBox.w );",
    "   float c = max( previous, tex2D( Atlas, uv2 ).a * inside );",
    "   return float4( c, c, c, c );",
    "}",
    "DeclareEntryPoint( Blend )",
    "{",
    "   float4 d = tex2D( Destination, uv1 );",
    "   float a = TextColour.a * tex2D( Coverage, uv2 ).a;",
    "   float outA = a + d.a * ( 1.0 - a );",
    "   float3 rgb = ( TextColour.rgb * a + d.rgb * d.a * ( 1.0 - a ) ) / max( outA, 0.000001 );",
    "   return float4( rgb, outA );",
    "}",
    "DeclareEntryPoint( Copy )",
    "{",
    "   return tex2D( Destination, uv1 );",
    "}",
};
enum eTechnique : uint16_t { eAddGlyph = 0, eBlend = 1, eCopy = 2 };

CriticalSection g_textLock; // held while the shared effect is set up and draws

// The effect, compiled once per GPU service (tests switch services).
Ptr<iShaderEffect> textEffect(iGPUService& gpu) {
    static iGPUService* s_gpu = nullptr;
    static Ptr<iShaderEffect> s_effect;
    if (s_effect && s_gpu == &gpu) return s_effect;
    TextFile text;
    text.appendLines(std::vector<LightweightString<char>>(std::begin(kTextEffect), std::end(kTextEffect)));
    const Ptr<ShaderEffectInfo> info = makePtr<ShaderEffectInfo>(text);
    const ShaderCompilationOutput out = info->compile({});
    if (!out.shader) {
        Log("Qf::Image::GPUText : cannot compile the text effect\n");
        for (const ShaderError& e : out.errors) Log("   %s\n", e.message.c_str());
        return nullptr;
    }
    s_gpu = &gpu;
    s_effect = out.shader;
    return s_effect;
}

// A binding of `image` placed so that its texel (0, 0) lies on pixel `at` of
// a target of `targetSize`, one texel per pixel.
ShaderInputBinding placed(const char* name, const Ptr<iGPUImage>& image, XY<int> targetSize, XY<int> at) {
    ShaderInputBinding b;
    b.name = name;
    b.image = image;
    const float h = float(image->getSize().y);
    const float u0 = float(-at.x), u1 = float(targetSize.x - at.x);
    const float v0 = float(-at.y) / h, v1 = float(targetSize.y - at.y) / h;
    b.corners[0] = {u0, v0};
    b.corners[1] = {u1, v0};
    b.corners[2] = {u0, v1};
    b.corners[3] = {u1, v1};
    return b;
}

bool setFloat4(iShaderEffect& effect, const char* name, const float* value) {
    const Ptr<iShaderParam> p = effect.getParam(LightweightString<char>(name));
    return p && p->setFloat4(value);
}

} // namespace

TextLayout GPUText::layout(iFont& font, const LightweightString<char>& utf8) {
    TextLayout out;
    const LightweightString<wchar_t> text = fromUTF8(utf8);
    int64_t pen = 0; // 26.6
    char32_t previous = 0;
    out.inkX0 = out.inkY0 = INT_MAX;
    out.inkX1 = out.inkY1 = INT_MIN;
    for (size_t i = 0; i < text.size(); ++i) {
        const char32_t c = char32_t(text[i]);
        if (c == U'\n' || c == U'\r') break;
        if (previous) pen += font.getKerning(previous, c);
        previous = c;
        FontGlyph glyph;
        if (!font.getGlyph(c, glyph)) {
            out.complete = false;
            continue;
        }
        if (glyph.width > 0 && glyph.height > 0) {
            const XY<int> topLeft{int((pen + 32) >> 6) + glyph.left, -glyph.top};
            out.glyphs.push_back({glyph, topLeft});
            out.inkX0 = std::min(out.inkX0, topLeft.x);
            out.inkY0 = std::min(out.inkY0, topLeft.y);
            out.inkX1 = std::max(out.inkX1, topLeft.x + glyph.width);
            out.inkY1 = std::max(out.inkY1, topLeft.y + glyph.height);
        }
        pen += glyph.advance;
    }
    out.advance = int((std::max<int64_t>(pen, 0) + 63) >> 6);
    if (out.glyphs.empty()) out.inkX0 = out.inkY0 = out.inkX1 = out.inkY1 = 0;
    return out;
}

bool GPUText::draw(const Ptr<iGPUImage>& target, iFont& font, const LightweightString<char>& utf8, XY<int> origin,
                   const RGBAf& colour) {
    iGPUService* gpu = OS()->gpu();
    if (!gpu || !target || target->is3D()) return false;
    const TextLayout text = layout(font, utf8);
    if (!text.hasInk()) return true; // nothing to draw
    const Ptr<iGPUImage> atlas = font.getAtlas();
    if (!atlas) return false;

    // Coverage of the ink box, built up glyph by glyph in two images in turn.
    const XY<int> inkSize{text.inkX1 - text.inkX0, text.inkY1 - text.inkY0};
    const Ptr<HostImage> blank = HostImage::create(inkSize, iGPUImage::eRGBA8);
    if (!blank) return false;
    Ptr<iGPUImage> coverage = blank->createGPUImage(*gpu);
    Ptr<iGPUImage> next = gpu->createImage(inkSize, iGPUImage::eRGBA8);
    const Ptr<iGPUImage> blended = gpu->createImage(target->getSize(), target->getFormat());
    if (!coverage || !next || !blended) return false;

    CriticalSectionLock hold(g_textLock);
    const Ptr<iShaderEffect> effect = textEffect(*gpu);
    if (!effect) return false;
    const XY<float> atlasSize{float(atlas->getSize().x), float(atlas->getSize().y)};
    effect->setTechnique(uint16_t(eAddGlyph));
    effect->setSamplerState("Coverage", iShaderEffectBase::Point, iShaderEffectBase::ClampToEdge);
    effect->setSamplerState("Atlas", iShaderEffectBase::Point, iShaderEffectBase::Border);
    for (const TextLayout::Placed& p : text.glyphs) {
        const FontGlyph& g = p.glyph;
        const float box[4] = {float(g.atlasX) / atlasSize.x, float(g.atlasY) / atlasSize.y,
                              float(g.atlasX + g.width) / atlasSize.x, float(g.atlasY + g.height) / atlasSize.y};
        const XY<int> at{p.topLeft.x - text.inkX0 - g.atlasX, p.topLeft.y - text.inkY0 - g.atlasY};
        if (!setFloat4(*effect, "GlyphBox", box)) return false;
        if (!effect->draw(next, {ShaderInputBinding::whole("Coverage", coverage), placed("Atlas", atlas, inkSize, at)}))
            return false;
        std::swap(coverage, next);
    }

    // Blend into a copy, then copy back, so that the target stays as it was if a draw fails.
    const float rgba[4] = {colour[0], colour[1], colour[2], colour[3]};
    const XY<int> inkAt{origin.x + text.inkX0, origin.y + text.inkY0};
    effect->setTechnique(uint16_t(eBlend));
    effect->setSamplerState("Coverage", iShaderEffectBase::Point, iShaderEffectBase::Border);
    if (!setFloat4(*effect, "TextColour", rgba) ||
        !effect->draw(blended,
                      {ShaderInputBinding::whole("Destination", target), placed("Coverage", coverage, target->getSize(), inkAt)}))
        return false;
    effect->setTechnique(uint16_t(eCopy));
    return effect->draw(target, {ShaderInputBinding::whole("Destination", blended)});
}

} // namespace Qf::Image
