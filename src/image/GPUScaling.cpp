// Qf::Image::GPU: resizing, box-filter shrinking and field copies. Their
// effects are written here and compiled at first use.
#include "image/GPU.h"

#include "host/base/CriticalSection.h"
#include "host/os/OS.h"
#include "image/RuntimeEffects.h"
#include "manager/Manager.h"

#include <vector>

namespace Qf::Image {

using Text = LightweightString<char>;

namespace {

constexpr int kMaxShrinkFactor = 16;

const std::vector<Text>& resizeEffectText() {
    static const std::vector<Text> lines = {
        "DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );",
        "DeclareInput( Input, Linear, ClampToEdge );",
        "DeclareEntryPoint()",
        "{",
        "   return tex2D( Input, uv1 );",
        "}",
    };
    return lines;
}

// Destination pixel p averages source pixels p * factor + (0..factor-1) in
// each direction that lie inside the source. The loops have constant bounds
// (the largest factor) and stop early, which every shading language accepts.
const std::vector<Text>& shrinkEffectText() {
    static const std::vector<Text> lines = {
        "DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );",
        "DeclareInput( Input, Point );",
        "DeclareFloatParam( gFactor );",
        "DeclareFloatParam( gSourceWidth );",
        "DeclareFloatParam( gSourceHeight );",
        "DeclareEntryPoint()",
        "{",
        "   float2 size = float2( gSourceWidth, gSourceHeight );",
        "   float2 first = floor( uv1 * float2( _OUTPUTWIDTH, _OUTPUTHEIGHT ) ) * gFactor;",
        "   float4 sum = float4( 0.0, 0.0, 0.0, 0.0 );",
        "   float n = 0.0;",
        "   for ( int j = 0; j < 16; j++ )",
        "   {",
        "      float y = first.y + float( j );",
        "      if ( float( j ) >= gFactor || y >= size.y ) break;",
        "      for ( int i = 0; i < 16; i++ )",
        "      {",
        "         float x = first.x + float( i );",
        "         if ( float( i ) >= gFactor || x >= size.x ) break;",
        "         sum += ReadPixel( Input, ( float2( x, y ) + 0.5 ) / size );",
        "         n += 1.0;",
        "      }",
        "   }",
        "   return sum / max( n, 1.0 );",
        "}",
    };
    return lines;
}

// Row r (from the top) of the result comes from "Field" when r has the
// field's parity and from "Other" (the destination as it was) otherwise.
const std::vector<Text>& fieldEffectText() {
    static const std::vector<Text> lines = {
        "DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );",
        "DeclareInput( Field, Point );",
        "DeclareInput( Other, Point );",
        "DeclareFloatParam( gRows );",
        "DeclareFloatParam( gParity );",
        "DeclareEntryPoint()",
        "{",
        "   float row = floor( uv1.y * gRows );",
        "   float parity = row - 2.0 * floor( row * 0.5 );",
        "   return parity == gParity ? ReadPixel( Field, uv1 ) : ReadPixel( Other, uv2 );",
        "}",
    };
    return lines;
}

bool fitsService(XY<int> size) {
    iGPUService* gpu = OS() ? OS()->gpu() : nullptr;
    return gpu && size.x >= 1 && size.y >= 1 && size.x <= gpu->maxImageSide() && size.y <= gpu->maxImageSide();
}

// One pass of a run-time effect reading the RGBA source as "Input" (whole)
// into a target of `size` in the source's texel format; `prepare` writes the
// parameters. Metadata follow the source.
template <typename Prepare>
bool scalePass(const Surface& sourceSurface, Surface& destination, XY<int> size, const char* name, const std::vector<Text>& text,
               Prepare prepare) {
    const Surface source = sourceSurface; // the source may be the destination itself
    const Ptr<iGPUImage> input = source.getGPUSurface();
    if (!input || input->is3D() || !detail::isRGBASurface(source) || !fitsService(size)) return false;
    CriticalSectionLock hold(Qf::FxResources::Manager::instance().getShaderUsageLock());
    const Ptr<iShaderEffect> effect = detail::runtimeShader(name, text);
    if (!effect || !prepare(*effect, *input)) return false;
    const detail::DrawTarget target = detail::drawTargetFor(destination, size, input->getFormat(), input);
    if (!target.image || !effect->draw(target.image, {ShaderInputBinding::whole("Input", input)})) return false;
    detail::adoptDrawTarget(destination, target);
    destination.copyMetadataFrom(source);
    return true;
}

} // namespace

bool GPU::resize(const Surface& source, Surface& destination, XY<int> size) {
    return scalePass(source, destination, size, "_GPUResize", resizeEffectText(),
                     [](iShaderEffect&, const iGPUImage&) { return true; });
}

bool GPU::shrink(const Surface& source, Surface& destination, int factor) {
    if (factor < 1 || factor > kMaxShrinkFactor) return false;
    const XY<int> from = source.getSize();
    const XY<int> size = {(from.x + factor - 1) / factor, (from.y + factor - 1) / factor};
    return scalePass(source, destination, size, "_GPUShrink", shrinkEffectText(), [&](iShaderEffect& e, const iGPUImage& input) {
        return detail::setFloatParam(e, "gFactor", float(factor)) &&
               detail::setFloatParam(e, "gSourceWidth", float(input.getSize().x)) &&
               detail::setFloatParam(e, "gSourceHeight", float(input.getSize().y));
    });
}

bool GPU::copyField(const Surface& sourceSurface, Surface& destination, eField field) {
    if (field != eUpperField && field != eLowerField) return false;
    const Surface source = sourceSurface;
    const Ptr<iGPUImage> input = source.getGPUSurface(), previous = destination.getGPUSurface();
    iGPUService* gpu = OS() ? OS()->gpu() : nullptr;
    if (!gpu || !input || !previous || input->is3D() || previous->is3D() || input->getSize() != previous->getSize() ||
        input->getFormat() != previous->getFormat())
        return false;
    CriticalSectionLock hold(Qf::FxResources::Manager::instance().getShaderUsageLock());
    const Ptr<iShaderEffect> effect = detail::runtimeShader("_GPUCopyField", fieldEffectText());
    if (!effect || !detail::setFloatParam(*effect, "gRows", float(input->getSize().y)) ||
        !detail::setFloatParam(*effect, "gParity", float(field)))
        return false;
    // A new image: the pass reads the destination's old rows while writing.
    const Ptr<iGPUImage> woven = gpu->createImage(input->getSize(), input->getFormat());
    if (!woven || !effect->draw(woven, {ShaderInputBinding::whole("Field", input), ShaderInputBinding::whole("Other", previous)}))
        return false;
    destination.setGPUSurface(woven);
    return true;
}

} // namespace Qf::Image
