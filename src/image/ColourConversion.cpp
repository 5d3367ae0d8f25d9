// Qf::Image::ColourConversion: the conversion framework (getShader,
// applyShader), the RGB/Y'CrCb converters, the ten-bit packed formats and the
// component and planar conversions, each one GPUPass. The coefficient tables
// are in ColourCoefficients.cpp.
#include "image/ColourConversion.h"

#include "host/misc/EditorPreferences.h"
#include "image/GPUPass.h"
#include "manager/Manager.h"

#include <string>

namespace Qf::Image {

using Text = LightweightString<char>;

namespace {

constexpr const char* kOwner = "ColourConversion";

// `s` described as "YUY2" held in texels of `texelBits`: two pixels, four samples a texel.
void describeAsYUY2(Surface& s, unsigned texelBits) {
    s.setDataFormat(Format::eYUY2);
    s.setBitsPerComponent(uint16_t(texelBits >> 2));
    s.setBitsPerPixel(uint16_t(texelBits >> 1));
    s.setStride((s.getWidth() * s.getBitsPerPixel()) >> 3);
}

float texelWidth(const Ptr<iGPUImage>& image) { return image ? float(image->getSize().x) : 0.0f; }

uint32_t ycrcbRange(const Surface& s) {
    return ColourConversion::getFullRangeOverride() ? uint32_t(Data::Video::eFullRange) : s.getRange();
}

bool exportAlpha() { return prefs().getPreference(Text("Behaviour : ExportAlpha"), false); }

uint16_t technique(ColourConversion::Filter filter) { return uint16_t(unsigned(filter) <= 2u ? filter : 0); }

// An RGB <-> Y'CrCb pass into the destination's GPU image (one of its
// described layout when it has none), with the forward coefficients (from the
// source's range and the destination's range and colourimetry) or the inverse
// ones (the source's colourimetry and range). A forward conversion keeps the
// destination's colourimetry and range: they say what its samples now are.
struct YCrCbPass {
    const Surface source; // the source may be the destination itself
    Surface& dst;
    const bool forward;
    GPUPass pass;
    const Ptr<iGPUImage> input = pass.input(source), target = pass.target(dst, Target::eDestinationOrDescribed);

    YCrCbPass(const char* name, const Surface& src, Surface& dst, bool forward, int32_t gamutScaling = 0)
        : source(src), dst(dst), forward(forward), pass(Text(name)) {
        if (const Ptr<iShaderEffect> e = pass.effect(); e && forward)
            ColourConversion::setForwardCoefficients(*e, source.getRange(), ycrcbRange(dst), dst.getColourimetry());
        else if (e)
            ColourConversion::setInverseCoefficients(*e, source.getColourimetry(), ycrcbRange(source), gamutScaling);
    }
    bool draw(const std::vector<ShaderInputBinding>& inputs) {
        pass.draw(inputs);
        return report(kOwner, pass.finish(source, dst, forward ? Metadata::eFromSourceKeepingColour : Metadata::eFromSource));
    }
};

// The run-time effect that unpacks an 8-bit planar picture (three planes of
// four samples a texel, one texture 3H rows high) into RGBA; with `matrix`
// the planes are Y', Cb, Cr and the inverse coefficients turn them into RGB.
std::string planarEffectText(bool matrix) {
    const char* const declarations = R"(DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );
DeclareInput( Input, Point );
DeclareFloatParam( gTexelWidth );
)";
    const char* const coefficients = R"(DeclareFloat4Param( ccCoefsAdd1 );
DeclareFloat3x3Param( ccCoefsMul2 );
DeclareFloat4Param( ccCoefsAdd3 );
)";
    const char* const samples = R"(float PlaneSample( float plane )
{
   float x = uv1.x * gTexelWidth;
   float4 t = ReadPixel( Input, float2( uv1.x, ( uv1.y + plane ) / 3.0 ) );
   float c = floor( frac( x ) * 4.0 );
   return dot( t, float4( c == 0.0, c == 1.0, c == 2.0, c == 3.0 ) );
}
DeclareEntryPoint()
{
   float3 s = float3( PlaneSample( 0.0 ), PlaneSample( 1.0 ), PlaneSample( 2.0 ) );
)";
    const char* const toRGB = R"(   float3 c = float3( s.x, s.z, s.y ) + ccCoefsAdd1.xyz;
   return float4( mul( c, ccCoefsMul2 ) + ccCoefsAdd3.xyz, 1.0 );
)";
    return std::string(declarations) + (matrix ? coefficients : "") + samples +
           (matrix ? toRGB : "   return float4( s, 1.0 );\n") + "}\n";
}

// Planar 8-bit into RGBA through the run-time effect `name`.
bool planarToRGBA(const Surface& src, Surface& dst, Format expected, const char* name, bool matrix, int32_t gamutScaling) {
    const Surface source = src; // the source may be the destination itself
    GPUPass pass(name, planarEffectText(matrix));
    const Ptr<iGPUImage> input = pass.input(source);
    pass.require(source.getDataFormat() == expected, std::string("the source is not ") + formatName(expected));
    const XY<int> size = source.getSize();
    pass.target(dst, Target::eSameSizeOrNew, size, iGPUImage::eRGBA8, input);
    if (const Ptr<iShaderEffect> e = pass.effect(); e && matrix)
        ColourConversion::setInverseCoefficients(*e, source.getColourimetry(), ycrcbRange(source), gamutScaling);
    pass.setIfDeclared("gTexelWidth", texelWidth(input)).draw({spanBinding("Input", input, 0, float(size.x) / 4.0f)});
    return report(kOwner, pass.finish(source, dst, Metadata::eFromSource));
}

bool copyToHost(const Surface& src, Surface& dst, bool wantYCbCr) {
    const FormatDescription* d = describeFormat(src.getDataFormat());
    Surface out;
    if (!d || d->isYCbCr != wantYCbCr || (wantYCbCr && d->packing != ePixelPacking::ePacked422) || !src.getGPUSurface() ||
        !out.init(src.getWidth(), src.getHeight(), src.getDataFormat(), src.getBitsPerComponent(), src.getBitsPerPixel(),
                  src.getLayout(), Surface::eAllocHost, src.getStride()))
        return report(kOwner, "a copy to host memory does not take this " + formatName(src.getDataFormat()) + " surface");
    out.setGPUSurface(src.getGPUSurface());
    if (!out.readBackFromGPU()) return report(kOwner, "the GPU image could not be read back");
    out.setGPUSurface(nullptr);
    out.copyMetadataFrom(src);
    dst = out;
    return true;
}

// The framework's pass: "_Width" and "_Height", and the source bound three
// times, one pixel apart. As the editor's call, it answers for the set-up and
// not for the draw, whose failure is only logged.
bool applyFramework(GPUPass& pass, const Surface& src, Surface& dst) {
    const Surface source = src; // the source may be the destination itself
    const unsigned k = source.getPixelsPerTexel();
    pass.require(k != 0, "a texel of the source holds less than one pixel (or it has no GPU image)")
        .setIfDeclared("_Width", float(source.getWidth()))
        .setIfDeclared("_Height", float(source.getHeight()));
    if (!report(kOwner, pass.failure())) return false;
    const float span = float(source.getWidth()) / float(k), step = 1.0f / float(k);
    const Ptr<iGPUImage> image = source.getGPUSurface();
    report(kOwner, pass.drawInto(dst.getGPUSurface(),
                                 {spanBinding("Input", image, 0, span), spanBinding("Input2", image, -step, span - step),
                                  spanBinding("Input3", image, step, span + step)})
                       .failure());
    dst.copyMetadataFrom(source);
    return true;
}

} // namespace

// --- the framework ---

Ptr<iShaderEffect> ColourConversion::getShader(const Text& name) { return GPUPass(name).effect(); }

bool ColourConversion::applyShader(Ptr<iShaderEffect>& effect, const Surface& src, Surface& dst, float) {
    GPUPass pass(effect, "given to applyShader");
    return applyFramework(pass, src, dst);
}

bool ColourConversion::applyShader(const Text& name, const Surface& src, Surface& dst, float) {
    GPUPass pass(name);
    return applyFramework(pass, src, dst);
}

// --- RGB and Y'CrCb ---

bool ColourConversion::convertRGBToYCrCb422(const Surface& src, Surface& dst, Filter filter) {
    YCrCbPass p("RGBToYCrCb422", src, dst, true);
    // Target texel j holds pixels 2j and 2j+1: the two inputs read their
    // centres, and their distance is one source pixel for the filter taps.
    const float pairs = texelWidth(p.target);
    p.pass.technique(technique(filter));
    return p.draw({spanBinding("gSourceImage", p.input, -0.5f, 2 * pairs - 0.5f),
                   spanBinding("gSourceImage2", p.input, 0.5f, 2 * pairs + 0.5f)});
}

bool ColourConversion::convertRGBToYCrCb444(const Surface& src, Surface& dst, Filter) {
    YCrCbPass p("RGBToYCrCb444", src, dst, true);
    p.pass.setIfDeclared("Width", float(p.source.getWidth())).setIfDeclared("includeAlpha", exportAlpha());
    return p.draw({ShaderInputBinding::whole("gSourceImage", p.input)});
}

bool ColourConversion::convertYCrCb422ToRGB(const Surface& src, Surface& dst, GamutScaling gamutScaling, Filter filter) {
    YCrCbPass p(src.getDataFormat() == Format::eUYVY ? "YCbCr422ToRGB" : "YCrCb422ToRGB", src, dst, false, gamutScaling);
    // Every source texel is a pixel pair at every depth (RGBA8 for 8 bits,
    // RGBA16 for 10 and 16), so the corners are the same for all: target
    // pixel x reads pair x/2 through "gSourceImage", and the pairs before and
    // the two after through the others, for the chroma interpolation.
    const float half = texelWidth(p.target) / 2.0f;
    p.pass.technique(technique(filter)).setIfDeclared("gIterHelp2Step", texelWidth(p.input));
    return p.draw({spanBinding("gSourceImage", p.input, 0, half), spanBinding("gSourceImage2", p.input, -1, half - 1),
                   spanBinding("gSourceImage3", p.input, 1, half + 1), spanBinding("gSourceImage4", p.input, 2, half + 2)});
}

bool ColourConversion::convertYCrCb444ToRGB(const Surface& src, Surface& dst, GamutScaling gamutScaling, Filter) {
    YCrCbPass p("YCrCb444ToRGB", src, dst, false, gamutScaling);
    p.pass.setIfDeclared("includeAlpha", exportAlpha()).setIfDeclared("gIterHelp2Step", texelWidth(p.input));
    return p.draw({ShaderInputBinding::whole("gSourceImage", p.input)});
}

// --- ten-bit packed formats ---

bool ColourConversion::packMatrox10BitFormat(const Surface& src, Surface& dst) {
    const Surface source = src;
    GPUPass pass(Text("Matrox10bitPack"));
    const Ptr<iGPUImage> input = pass.input(source);
    // The packed picture as the surface's format catalogue lays M101 out.
    Surface packed;
    pass.require(packed.init(source.getWidth(), source.getHeight(), Format::eM101, 10, 20, Surface::ePacked, Surface::eAllocNone),
                 "the source's size has no M101 layout");
    const Ptr<iGPUImage> target = pass.target(packed, Target::eDestinationOrDescribed); // none for a 1-pixel row
    pass.setIfDeclared("pSourceImageTotalWidthInDWORDs", float(source.getWidth()) * 0.5f)
        .setIfDeclared("DestImageWidth", texelWidth(target))
        .draw({ShaderInputBinding::whole("gSourceImage", input)});
    if (!report(kOwner, pass.finish(source, packed, Metadata::eFromSource))) return false;
    dst = packed;
    return true;
}

bool ColourConversion::unpackMatrox10BitFormat(const Surface& src, Surface& dst) {
    const Surface source = src;
    GPUPass pass(Text(dst.getBitsPerComponent() == 8 ? "UnpackMatrox10BitBaseOnly" : "UnpackMatrox10Bit"));
    const Ptr<iGPUImage> input = pass.input(source), target = pass.target(dst, Target::eDestination);
    // Each destination texel (a pixel pair) gets its own source coordinate.
    pass.setIfDeclared("pSourceImageTotalWidthInDWORDs", texelWidth(input))
        .draw({spanBinding("gSourceImage", input, 0, texelWidth(target))});
    if (!report(kOwner, pass.finish(source, dst, Metadata::eFromSource))) return false;
    describeAsYUY2(dst, target->getBitsPerTexel());
    return true;
}

bool ColourConversion::unpackDvs10BitFormat(const Surface& src, Surface& dst) {
    const Surface source = src;
    GPUPass pass(Text("Dvs10bit"));
    const Ptr<iGPUImage> input = pass.input(source);
    pass.target(dst, Target::eDestination);
    pass.setIfDeclared("pSourceImageTotalWidthInDWORDs", texelWidth(input))
        .draw({ShaderInputBinding::whole("gSourceImage", input)});
    return report(kOwner, pass.finish(source, dst, Metadata::eFromSource));
}

// --- other conversions ---

bool ColourConversion::reorderComponents(const Surface& src, Surface& dst, const Text& from, const Text& to, bool flip) {
    if (from.empty() || from.size() != to.size() || from.size() > 4)
        return report(kOwner, "cannot reorder \"" + from.str() + "\" into \"" + to.str() + "\"");
    const Surface source = src;
    // The manager has no effect for "nothing to do"; an identity copy reads
    // the same components under the other swizzle names.
    static const char* const kSame[] = {"", "x", "xy", "xyz", "xyzw"};
    const bool identity = from == to && !flip;
    GPUPass pass(Qf::FxResources::Manager::instance().findReorderShader(identity ? Text(kSame[from.size()]) : from,
                                                                        identity ? Text("rgba").substr(0, to.size()) : to,
                                                                        Text(flip ? "flip" : "")),
                 "reordering \"" + from.str() + "\" into \"" + to.str() + "\"");
    const Ptr<iGPUImage> input = pass.input(source);
    pass.target(dst, Target::eOwnOrNewLikeSource, {}, {}, input);
    pass.draw({ShaderInputBinding::whole("Input", input)});
    return report(kOwner, pass.finish(source, dst, Metadata::eFromSource));
}

bool ColourConversion::channelExpand(const Surface& src, Surface& dst, char component) {
    if (component != 'r' && component != 'g' && component != 'b' && component != 'a')
        return report(kOwner, "there is no component '" + std::string(1, component) + "'");
    return reorderComponents(src, dst, Text(std::string(4, component).c_str()), "rgba");
}

bool ColourConversion::convertToRGBA(const Surface& src, Surface& dst) {
    const Format f = src.getDataFormat();
    // Texels hold the components in memory order: a "BGRA" texel's r is blue,
    // an "ARGB" texel's r is alpha.
    const char* from = f == Format::eBGRA ? "bgra" : f == Format::eARGB ? "gbar" : f == Format::eRGBA ? "rgba" : nullptr;
    if (!from) return report(kOwner, std::string(formatName(f)) + " is not BGRA, ARGB or RGBA");
    Surface out = dst;
    if (!reorderComponents(src, out, from, "rgba")) return false;
    out.setDataFormat(Format::eRGBA);
    dst = out;
    return true;
}

bool ColourConversion::planarRGBToARGB(const Surface& src, Surface& dst) {
    return planarToRGBA(src, dst, Format::ePlanarRGB, "_PlanarRGBToRGBA", false, eGamutFull);
}

bool ColourConversion::planarYUVToARGB(const Surface& src, Surface& dst, GamutScaling gamutScaling) {
    return planarToRGBA(src, dst, Format::ePlanarYCbCr, "_PlanarYCbCrToRGBA", true, gamutScaling);
}

bool ColourConversion::copyToHostRGBSurface(const Surface& src, Surface& dst) { return copyToHost(src, dst, false); }
bool ColourConversion::copyToHostYUVSurface(const Surface& src, Surface& dst) { return copyToHost(src, dst, true); }

} // namespace Qf::Image
