#include "image/GPUText.h"

#include "host/base/Strings.h"
#include "host/os/OS.h"
#include "image/GPUPass.h"

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
const char* const kTextEffect = R"(DeclareQuillframeEffect( NULL, Internal, Text, kNoNotes, kNoFlags );
DeclareInput( Coverage, Point );
DeclareInput( Atlas, Point );
DeclareInput( Destination, Point );
DeclareFloat4Param( GlyphBox, "Glyph box", kNoGroup, kNoFlags, 0, 0, 0, 0 )
DeclareFloat4Param( TextColour, "Colour", kNoGroup, kNoFlags, 1, 1, 1, 1 )
DeclareEntryPoint( AddGlyph )
{
   float previous = tex2D( Coverage, uv1 ).a;
   float inside = step( GlyphBox.x, uv2.x ) * step( uv2.x, GlyphBox.z )
                * step( GlyphBox.y, uv2.y ) * step( uv2.y, GlyphBox.w );
   float c = max( previous, tex2D( Atlas, uv2 ).a * inside );
   return float4( c, c, c, c );
}
DeclareEntryPoint( Blend )
{
   float4 d = tex2D( Destination, uv1 );
   float a = TextColour.a * tex2D( Coverage, uv2 ).a;
   float outA = a + d.a * ( 1.0 - a );
   float3 rgb = ( TextColour.rgb * a + d.rgb * d.a * ( 1.0 - a ) ) / max( outA, 0.000001 );
   return float4( rgb, outA );
}
DeclareEntryPoint( Copy )
{
   return tex2D( Destination, uv1 );
})";
enum eTechnique : uint16_t { eAddGlyph = 0, eBlend = 1, eCopy = 2 };

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
    if (!gpu || !target || target->is3D()) return report("GPUText", "no GPU service, or no 2D target image");
    const TextLayout text = layout(font, utf8);
    if (!text.hasInk()) return true; // nothing to draw
    const Ptr<iGPUImage> atlas = font.getAtlas();
    if (!atlas) return report("GPUText", "the font has no atlas");

    // Coverage of the ink box, built up glyph by glyph in two images in turn.
    const XY<int> inkSize{text.inkX1 - text.inkX0, text.inkY1 - text.inkY0};
    const Ptr<HostImage> blank = HostImage::create(inkSize, iGPUImage::eRGBA8);
    Ptr<iGPUImage> coverage = blank ? blank->createGPUImage(*gpu) : nullptr;
    Ptr<iGPUImage> next = gpu->createImage(inkSize, iGPUImage::eRGBA8);
    const Ptr<iGPUImage> blended = gpu->createImage(target->getSize(), target->getFormat());
    if (!coverage || !next || !blended) return report("GPUText", "the images for the coverage could not be made");

    GPUPass pass("_GPUText", kTextEffect);
    const XY<float> atlasSize{float(atlas->getSize().x), float(atlas->getSize().y)};
    pass.technique(eAddGlyph)
        .sampler("Coverage", iShaderEffectBase::Point, iShaderEffectBase::ClampToEdge)
        .sampler("Atlas", iShaderEffectBase::Point, iShaderEffectBase::Border);
    for (const TextLayout::Placed& p : text.glyphs) {
        const FontGlyph& g = p.glyph;
        const Float4 box = {float(g.atlasX) / atlasSize.x, float(g.atlasY) / atlasSize.y, float(g.atlasX + g.width) / atlasSize.x,
                            float(g.atlasY + g.height) / atlasSize.y};
        const XY<int> at{p.topLeft.x - text.inkX0 - g.atlasX, p.topLeft.y - text.inkY0 - g.atlasY};
        pass.set("GlyphBox", box)
            .drawInto(next, {ShaderInputBinding::whole("Coverage", coverage), placedBinding("Atlas", atlas, inkSize, at)});
        std::swap(coverage, next);
    }

    // Blend into a copy, then copy back, so that the target stays as it was if a draw fails.
    const XY<int> inkAt{origin.x + text.inkX0, origin.y + text.inkY0};
    pass.technique(eBlend)
        .sampler("Coverage", iShaderEffectBase::Point, iShaderEffectBase::Border)
        .set("TextColour", colour)
        .drawInto(blended, {ShaderInputBinding::whole("Destination", target),
                            placedBinding("Coverage", coverage, target->getSize(), inkAt)})
        .technique(eCopy)
        .drawInto(target, {ShaderInputBinding::whole("Destination", blended)});
    return report("GPUText", pass.failure());
}

} // namespace Qf::Image
