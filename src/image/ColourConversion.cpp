// Qf::Image::ColourConversion: the conversion framework (getShader,
// applyShader), the RGB/Y'CrCb converters, the ten-bit packed formats and the
// component and planar conversions. The coefficient tables are in
// ColourCoefficients.cpp.
#include "image/ColourConversion.h"

#include "host/base/CriticalSection.h"
#include "host/misc/EditorPreferences.h"
#include "host/os/OS.h"
#include "image/RuntimeEffects.h"
#include "manager/Manager.h"

#include <string>
#include <vector>

namespace Qf::Image {

using Text = LightweightString<char>;
using Manager = Qf::FxResources::Manager;
using detail::spanBinding;

namespace {

CriticalSection& usageLock() { return Manager::instance().getShaderUsageLock(); }

// A parameter the effect does not declare is skipped.
void writeFloat(iShaderEffect& effect, const char* name, float value) { detail::setFloatParam(effect, name, value); }
void writeBool(iShaderEffect& effect, const char* name, bool value) {
    if (const Ptr<iShaderParam> p = effect.getParam(Text(name))) p->setBool(value);
}

float texelWidth(const Ptr<iGPUImage>& image) { return image ? float(image->getSize().x) : 0.0f; }

// The destination's GPU image; one of its described layout is made when it
// has none. Null when the description has no GPU layout or there is no GPU.
Ptr<iGPUImage> targetOf(Surface& dst) {
    if (Ptr<iGPUImage> image = dst.getGPUSurface()) return image;
    iGPUService* gpu = OS() ? OS()->gpu() : nullptr;
    return gpu && !dst.isEmpty() ? dst.createGPUSurface(*gpu) : Ptr<iGPUImage>();
}

uint32_t ycrcbRange(const Surface& s) {
    return ColourConversion::getFullRangeOverride() ? uint32_t(Data::Video::eFullRange) : s.getRange();
}

bool exportAlpha() { return prefs().getPreference(Text("Behaviour : ExportAlpha"), false); }

// Draws `effect` into `dst`, then copies the source's metadata; a forward
// conversion keeps the destination's colourimetry and range, which say what
// its samples now are.
bool drawAndTag(iShaderEffect& effect, const Ptr<iGPUImage>& target, const std::vector<ShaderInputBinding>& inputs,
                const Surface& src, Surface& dst, bool keepDestinationColour) {
    const bool drawn = effect.draw(target, inputs, 0);
    if (drawn) {
        const Data::Video keep = dst.getVideoData();
        dst.copyMetadataFrom(src);
        if (keepDestinationColour) {
            Data::Video video = dst.getVideoData();
            video.colourimetry = keep.colourimetry;
            video.range = keep.range;
            dst.setVideoData(video);
        }
    }
    return drawn;
}

// The run-time effect that unpacks an 8-bit planar picture (three planes of
// four samples a texel, one texture 3H rows high) into RGBA; with `matrix`
// the planes are Y', Cb, Cr and the inverse coefficients turn them into RGB.
std::vector<Text> planarEffectText(bool matrix) {
    std::vector<Text> lines = {
        "DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );",
        "DeclareInput( Input, Point );",
        "DeclareFloatParam( gTexelWidth );",
    };
    if (matrix)
        lines.insert(lines.end(), {"DeclareFloat4Param( ccCoefsAdd1 );", "DeclareFloat3x3Param( ccCoefsMul2 );",
                                   "DeclareFloat4Param( ccCoefsAdd3 );"});
    lines.insert(lines.end(), {
                                  "float PlaneSample( float plane )",
                                  "{",
                                  "   float x = uv1.x * gTexelWidth;",
                                  "   float4 t = ReadPixel( Input, float2( uv1.x, ( uv1.y + plane ) / 3.0 ) );",
                                  "   float c = floor( frac( x ) * 4.0 );",
                                  "   return dot( t, float4( c == 0.0, c == 1.0, c == 2.0, c == 3.0 ) );",
                                  "}",
                                  "DeclareEntryPoint()",
                                  "{",
                                  "   float3 s = float3( PlaneSample( 0.0 ), PlaneSample( 1.0 ), PlaneSample( 2.0 ) );",
                              });
    if (matrix)
        lines.insert(lines.end(), {"   float3 c = float3( s.x, s.z, s.y ) + ccCoefsAdd1.xyz;",
                                   "   return float4( mul( c, ccCoefsMul2 ) + ccCoefsAdd3.xyz, 1.0 );"});
    else
        lines.push_back("   return float4( s, 1.0 );");
    lines.push_back("}");
    return lines;
}

// Planar 8-bit into RGBA through the run-time effect `name`.
bool planarToRGBA(const Surface& src, Surface& dst, Format expected, const char* name, bool matrix, int32_t gamutScaling) {
    const Surface source = src; // the source may be the destination itself
    const Ptr<iGPUImage> input = source.getGPUSurface();
    iGPUService* gpu = OS() ? OS()->gpu() : nullptr;
    if (!gpu || !input || source.getDataFormat() != expected) return false;
    CriticalSectionLock hold(usageLock());
    const Ptr<iShaderEffect> effect = detail::runtimeShader(name, planarEffectText(matrix));
    if (!effect) return false;
    Ptr<iGPUImage> target = dst.getGPUSurface();
    const XY<int> size = source.getSize();
    if (!target || target->getSize() != size) target = gpu->createImage(size, iGPUImage::eRGBA8);
    if (!target) return false;
    if (matrix) ColourConversion::setInverseCoefficients(*effect, source.getColourimetry(), ycrcbRange(source), gamutScaling);
    writeFloat(*effect, "gTexelWidth", texelWidth(input));
    if (!effect->draw(target, {spanBinding("Input", input, 0, float(size.x) / 4.0f)}, 0)) return false;
    if (target != dst.getGPUSurface()) {
        dst = Surface::forGPUImage(target);
    }
    dst.copyMetadataFrom(source);
    return true;
}

bool copyToHost(const Surface& src, Surface& dst, bool wantYCbCr) {
    const FormatDescription* d = describeFormat(src.getDataFormat());
    if (!d || d->isYCbCr != wantYCbCr || !src.getGPUSurface()) return false;
    if (wantYCbCr && d->packing != ePixelPacking::ePacked422) return false;
    Surface out;
    if (!out.init(src.getWidth(), src.getHeight(), src.getDataFormat(), src.getBitsPerComponent(), src.getBitsPerPixel(),
                  src.getLayout(), Surface::eAllocHost, src.getStride()))
        return false;
    out.setGPUSurface(src.getGPUSurface());
    if (!out.readBackFromGPU()) return false;
    out.setGPUSurface(nullptr);
    out.copyMetadataFrom(src);
    dst = out;
    return true;
}

} // namespace

// --- the framework ---

Ptr<iShaderEffect> ColourConversion::getShader(const Text& name) {
    CriticalSectionLock hold(usageLock());
    const Ptr<ShaderEffectInfo> effect = Manager::instance().findEffect(name, false);
    return effect ? effect->getShader() : Ptr<iShaderEffect>();
}

bool ColourConversion::applyShader(Ptr<iShaderEffect>& effect, const Surface& src, Surface& dst, float) {
    CriticalSectionLock hold(usageLock());
    if (!effect) return false;
    const unsigned k = src.getPixelsPerTexel(); // image pixels per texel
    if (k == 0) return false;                   // no GPU image, or a texel smaller than a pixel: no neighbours to offer

    const Surface source = src; // the source may be the destination itself
    writeFloat(*effect, "_Width", float(source.getWidth()));
    writeFloat(*effect, "_Height", float(source.getHeight()));
    const float span = float(source.getWidth()) / float(k), step = 1.0f / float(k);
    const Ptr<iGPUImage> image = source.getGPUSurface();
    const std::vector<ShaderInputBinding> inputs = {
        spanBinding("Input", image, 0, span),
        spanBinding("Input2", image, -step, span - step),
        spanBinding("Input3", image, step, span + step),
    };
    effect->draw(dst.getGPUSurface(), inputs, 0); // the draw reports nothing back to the caller
    dst.setVideoData(source.getVideoData());
    dst.setVideoSampleData(source.getVideoSampleData());
    return true;
}

bool ColourConversion::applyShader(const Text& name, const Surface& src, Surface& dst, float f) {
    CriticalSectionLock hold(usageLock());
    Ptr<iShaderEffect> effect = Manager::instance().findShader(name);
    return applyShader(effect, src, dst, f);
}

// --- RGB and Y'CrCb ---

bool ColourConversion::convertRGBToYCrCb422(const Surface& src, Surface& dst, Filter filter) {
    const Surface source = src;
    Ptr<iShaderEffect> effect = getShader("RGBToYCrCb422");
    if (!effect) return false;
    CriticalSectionLock hold(usageLock());
    const Ptr<iGPUImage> target = targetOf(dst);
    if (!target || !source.getGPUSurface()) return false;
    setForwardCoefficients(*effect, source.getRange(), ycrcbRange(dst), dst.getColourimetry());
    effect->setTechnique(uint16_t(filter >= eFilterPoint && filter <= eFilterLowPass ? filter : eFilterPoint));
    // Target texel j holds pixels 2j and 2j+1: the two inputs read their
    // centres, and their distance is one source pixel for the filter taps.
    const float pairs = texelWidth(target);
    const std::vector<ShaderInputBinding> inputs = {
        spanBinding("gSourceImage", source.getGPUSurface(), -0.5f, 2 * pairs - 0.5f),
        spanBinding("gSourceImage2", source.getGPUSurface(), 0.5f, 2 * pairs + 0.5f),
    };
    return drawAndTag(*effect, target, inputs, source, dst, true);
}

bool ColourConversion::convertRGBToYCrCb444(const Surface& src, Surface& dst, Filter) {
    const Surface source = src;
    Ptr<iShaderEffect> effect = getShader("RGBToYCrCb444");
    if (!effect) return false;
    CriticalSectionLock hold(usageLock());
    const Ptr<iGPUImage> target = targetOf(dst);
    if (!target || !source.getGPUSurface()) return false;
    setForwardCoefficients(*effect, source.getRange(), ycrcbRange(dst), dst.getColourimetry());
    writeFloat(*effect, "Width", float(source.getWidth()));
    writeBool(*effect, "includeAlpha", exportAlpha());
    const Ptr<iGPUImage> input = source.getGPUSurface();
    return drawAndTag(*effect, target, {ShaderInputBinding::whole("gSourceImage", input)}, source, dst, true);
}

bool ColourConversion::convertYCrCb422ToRGB(const Surface& src, Surface& dst, GamutScaling gamutScaling, Filter filter) {
    const Surface source = src;
    Ptr<iShaderEffect> effect = getShader(source.getDataFormat() == Format::eUYVY ? "YCbCr422ToRGB" : "YCrCb422ToRGB");
    if (!effect) return false;
    CriticalSectionLock hold(usageLock());
    const Ptr<iGPUImage> target = targetOf(dst);
    const Ptr<iGPUImage> input = source.getGPUSurface();
    if (!target || !input) return false;
    setInverseCoefficients(*effect, source.getColourimetry(), ycrcbRange(source), gamutScaling);
    effect->setTechnique(uint16_t(filter >= eFilterPoint && filter <= eFilterLowPass ? filter : eFilterPoint));
    // Every source texel is a pixel pair at every depth (RGBA8 for 8 bits,
    // RGBA16 for 10 and 16), so the corners are the same for all: target
    // pixel x reads pair x/2 through "gSourceImage", and the pairs before and
    // the two after through the others, for the chroma interpolation.
    const float half = texelWidth(target) / 2.0f;
    writeFloat(*effect, "gIterHelp2Step", texelWidth(input));
    const std::vector<ShaderInputBinding> inputs = {
        spanBinding("gSourceImage", input, 0, half),
        spanBinding("gSourceImage2", input, -1, half - 1),
        spanBinding("gSourceImage3", input, 1, half + 1),
        spanBinding("gSourceImage4", input, 2, half + 2),
    };
    return drawAndTag(*effect, target, inputs, source, dst, false);
}

bool ColourConversion::convertYCrCb444ToRGB(const Surface& src, Surface& dst, GamutScaling gamutScaling, Filter) {
    const Surface source = src;
    Ptr<iShaderEffect> effect = getShader("YCrCb444ToRGB");
    if (!effect) return false;
    CriticalSectionLock hold(usageLock());
    const Ptr<iGPUImage> target = targetOf(dst);
    const Ptr<iGPUImage> input = source.getGPUSurface();
    if (!target || !input) return false;
    setInverseCoefficients(*effect, source.getColourimetry(), ycrcbRange(source), gamutScaling);
    writeBool(*effect, "includeAlpha", exportAlpha());
    writeFloat(*effect, "gIterHelp2Step", texelWidth(input));
    return drawAndTag(*effect, target, {ShaderInputBinding::whole("gSourceImage", input)}, source, dst, false);
}

// --- ten-bit packed formats ---

bool ColourConversion::packMatrox10BitFormat(const Surface& src, Surface& dst) {
    const Surface source = src;
    CriticalSectionLock hold(usageLock());
    const Ptr<iShaderEffect> effect = getShader("Matrox10bitPack");
    if (!effect) return false;
    iGPUService* gpu = OS() ? OS()->gpu() : nullptr;
    const XY<int> size = source.getSize();
    const uint32_t packedWidth = texelsPerRowFor(Format::eM101, uint32_t(size.x));
    const Ptr<iGPUImage> packed = gpu ? gpu->createImage({int(packedWidth), size.y}, iGPUImage::eRGBA8) : nullptr;
    if (!packed) return false; // also a picture too narrow for one word (1 pixel)
    writeFloat(*effect, "pSourceImageTotalWidthInDWORDs", float(size.x) * 0.5f);
    writeFloat(*effect, "DestImageWidth", float(packed->getSize().x));
    if (!effect->draw(packed, {ShaderInputBinding::whole("gSourceImage", source.getGPUSurface())}, 0)) return false;
    if (!dst.init(uint32_t(size.x), uint32_t(size.y), Format::eM101, 10, 20, Surface::ePacked, Surface::eAllocNone, 0))
        return false;
    dst.setGPUSurface(packed);
    dst.setVideoData(source.getVideoData());
    dst.setVideoSampleData(source.getVideoSampleData());
    return true;
}

bool ColourConversion::unpackMatrox10BitFormat(const Surface& src, Surface& dst) {
    const Surface source = src;
    const Ptr<iShaderEffect> effect =
        getShader(dst.getBitsPerComponent() == 8 ? "UnpackMatrox10BitBaseOnly" : "UnpackMatrox10Bit");
    if (!effect) return false;
    CriticalSectionLock hold(usageLock());
    const Ptr<iGPUImage> input = source.getGPUSurface(), target = dst.getGPUSurface();
    if (!input || !target) return false;
    writeFloat(*effect, "pSourceImageTotalWidthInDWORDs", texelWidth(input));
    // Each destination texel (a pixel pair) gets its own source coordinate.
    if (!effect->draw(target, {spanBinding("gSourceImage", input, 0, texelWidth(target))}, 0)) return false;
    const unsigned texelBits = target->getBitsPerTexel();
    dst.setDataFormat(Format::eYUY2);
    dst.setBitsPerComponent(uint16_t(texelBits >> 2));
    dst.setBitsPerPixel(uint16_t(texelBits >> 1));
    dst.setStride((dst.getWidth() * dst.getBitsPerPixel()) >> 3);
    dst.setVideoData(source.getVideoData());
    dst.setVideoSampleData(source.getVideoSampleData());
    return true;
}

bool ColourConversion::unpackDvs10BitFormat(const Surface& src, Surface& dst) {
    const Surface source = src;
    const Ptr<iShaderEffect> effect = getShader("Dvs10bit");
    if (!effect) return false;
    CriticalSectionLock hold(usageLock());
    const Ptr<iGPUImage> input = source.getGPUSurface(), target = dst.getGPUSurface();
    if (!input || !target) return false;
    writeFloat(*effect, "pSourceImageTotalWidthInDWORDs", texelWidth(input));
    if (!effect->draw(target, {ShaderInputBinding::whole("gSourceImage", input)}, 0)) return false;
    dst.setVideoData(source.getVideoData());
    dst.setVideoSampleData(source.getVideoSampleData());
    return true;
}

// --- other conversions ---

bool ColourConversion::reorderComponents(const Surface& src, Surface& dst, const Text& from, const Text& to, bool flip) {
    const Surface source = src;
    const Ptr<iGPUImage> input = source.getGPUSurface();
    iGPUService* gpu = OS() ? OS()->gpu() : nullptr;
    if (!input || !gpu || from.empty() || from.size() != to.size() || from.size() > 4) return false;
    CriticalSectionLock hold(usageLock());
    // The manager has no effect for "nothing to do"; an identity copy reads
    // the same components under the other swizzle names.
    static const char* const kSame[] = {"", "x", "xy", "xyz", "xyzw"};
    const bool identity = from == to && !flip;
    const Ptr<iShaderEffect> effect = Manager::instance().findReorderShader(
        identity ? Text(kSame[from.size()]) : from, identity ? Text("rgba").substr(0, to.size()) : to, Text(flip ? "flip" : ""));
    if (!effect) return false;
    Ptr<iGPUImage> target = dst.getGPUSurface();
    const bool fresh = !target || target == input;
    if (fresh) target = gpu->createImage(input->getSize(), input->getFormat());
    if (!target) return false;
    if (!effect->draw(target, {ShaderInputBinding::whole("Input", input)}, 0)) return false;
    if (fresh) {
        Surface out = source;
        out.setGPUSurface(target);
        dst = out;
    }
    dst.copyMetadataFrom(source);
    return true;
}

bool ColourConversion::channelExpand(const Surface& src, Surface& dst, char component) {
    if (component != 'r' && component != 'g' && component != 'b' && component != 'a') return false;
    return reorderComponents(src, dst, Text(std::string(4, component).c_str()), "rgba");
}

bool ColourConversion::convertToRGBA(const Surface& src, Surface& dst) {
    const Format f = src.getDataFormat();
    // Texels hold the components in memory order: a "BGRA" texel's r is blue,
    // an "ARGB" texel's r is alpha.
    const char* from = f == Format::eBGRA ? "bgra" : f == Format::eARGB ? "gbar" : f == Format::eRGBA ? "rgba" : nullptr;
    if (!from) return false;
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
