// Qf::Image::GPU: solid, greyscale and mask surfaces, and the activity line.
// Their effects are a few lines each, written here and compiled at first use.
#include "image/GPU.h"

#include "host/base/CriticalSection.h"
#include "host/os/OS.h"
#include "image/RuntimeEffects.h"
#include "manager/Manager.h"

#include <array>
#include <string>
#include <vector>

namespace Qf::Image {

using Text = LightweightString<char>;

namespace {

const char* const kHeader = "DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );";

const std::vector<Text>& solidEffectText() {
    static const std::vector<Text> lines = {
        kHeader, "DeclareFloat4Param( gColour );", "DeclareEntryPoint()", "{", "   return gColour;", "}",
    };
    return lines;
}

const std::vector<Text>& greyscaleEffectText() {
    static const std::vector<Text> lines = {
        kHeader,
        "DeclareInput( Input, Point );",
        "DeclareFloat3Param( gLumaWeights );",
        "DeclareEntryPoint()",
        "{",
        "   float4 c = ReadPixel( Input, uv1 );",
        "   float y = dot( c.rgb, gLumaWeights );",
        "   return float4( y, y, y, c.a );",
        "}",
    };
    return lines;
}

// Opaque means alpha within half an 8-bit code of 1, so that an 8-bit 255
// counts and 254 does not, at every depth.
const std::vector<Text>& opaqueMaskEffectText() {
    static const std::vector<Text> lines = {
        kHeader,
        "DeclareInput( Input, Point );",
        "DeclareEntryPoint()",
        "{",
        "   float m = step( 1.0 - 0.5 / 255.0, ReadPixel( Input, uv1 ).a );",
        "   return float4( m, m, m, m );",
        "}",
    };
    return lines;
}

// Kr, Kg, Kb of a colourimetry code (Data::Video::eColourimetry).
std::array<float, 3> lumaWeights(uint32_t colourimetry) {
    switch (colourimetry) {
    case Data::Video::eBT601: return {0.299f, 0.587f, 0.114f};
    case Data::Video::eBT2020:
    case Data::Video::eBT2100PQ:
    case Data::Video::eBT2100HLG: return {0.2627f, 0.6780f, 0.0593f};
    case Data::Video::eDCIP3: return {0.2095f, 0.7216f, 0.0689f};
    case Data::Video::eP3D65: return {0.2290f, 0.6917f, 0.0793f};
    default: return {0.2126f, 0.7152f, 0.0722f};
    }
}

// One pass of a run-time effect over an RGBA source into a target of the
// source's size in `format`, under the shader-usage lock; `prepare` writes
// the effect's parameters.
template <typename Prepare>
bool drawFromSource(const Surface& sourceSurface, Surface& destination, const char* name, const std::vector<Text>& text,
                    iGPUImage::eFormat format, Prepare prepare) {
    const Surface source = sourceSurface; // the source may be the destination itself
    const Ptr<iGPUImage> input = source.getGPUSurface();
    if (!input || input->is3D() || !detail::isRGBASurface(source)) return false;
    CriticalSectionLock hold(Qf::FxResources::Manager::instance().getShaderUsageLock());
    const Ptr<iShaderEffect> effect = detail::runtimeShader(name, text);
    if (!effect) return false;
    const detail::DrawTarget target = detail::drawTargetFor(destination, input->getSize(), format, input);
    if (!target.image || !prepare(*effect)) return false;
    if (!effect->draw(target.image, {ShaderInputBinding::whole("Input", input)})) return false;
    detail::adoptDrawTarget(destination, target);
    destination.copyMetadataFrom(source);
    return true;
}

std::string describeSurface(const Surface& s) {
    if (s.isEmpty()) return "empty";
    return std::to_string(s.getWidth()) + "x" + std::to_string(s.getHeight()) + " " + formatName(s.getDataFormat()) + " " +
           std::to_string(s.getBitsPerComponent()) + "-bit (" + (s.getGPUSurface() ? "GPU" : "host") + ")";
}

} // namespace

bool GPU::createBlackSurface(Surface& destination, XY<int> size, iGPUImage::eFormat format) {
    return createColourSurface(destination, size, {0, 0, 0, 1}, format);
}

bool GPU::createColourSurface(Surface& destination, XY<int> size, const RGBAf& colour, iGPUImage::eFormat format) {
    iGPUService* gpu = OS() ? OS()->gpu() : nullptr;
    if (!gpu || size.x < 1 || size.y < 1 || size.x > gpu->maxImageSide() || size.y > gpu->maxImageSide()) return false;
    CriticalSectionLock hold(Qf::FxResources::Manager::instance().getShaderUsageLock());
    const Ptr<iShaderEffect> effect = detail::runtimeShader("_GPUSolidColour", solidEffectText());
    if (!effect || !detail::setFloat4Param(*effect, "gColour", colour.data())) return false;
    const detail::DrawTarget target = detail::drawTargetFor(destination, size, format, nullptr);
    if (!target.image || !effect->draw(target.image, {})) return false;
    detail::adoptDrawTarget(destination, target);
    // RGB made here is full range, whatever the destination said before.
    Data::Video video;
    video.range = Data::Video::eFullRange;
    destination.setVideoData(video);
    destination.setVideoSampleData({});
    return true;
}

bool GPU::createGreyscaleImage(const Surface& source, Surface& destination) {
    const std::array<float, 3> weights = lumaWeights(source.getColourimetry());
    const Ptr<iGPUImage> input = source.getGPUSurface();
    return input && drawFromSource(source, destination, "_GPUGreyscale", greyscaleEffectText(), input->getFormat(),
                                   [&](iShaderEffect& e) { return detail::setFloat3Param(e, "gLumaWeights", weights.data()); });
}

bool GPU::createOpaqueMask(const Surface& source, Surface& destination) {
    return drawFromSource(source, destination, "_GPUOpaqueMask", opaqueMaskEffectText(), iGPUImage::eRGBA8,
                          [](iShaderEffect&) { return true; });
}

Text GPU::describeActivity(const char* operation, const Surface& source, const Surface& destination) {
    return Text(std::string(operation ? operation : "") + " " + describeSurface(source) + " -> " + describeSurface(destination));
}

} // namespace Qf::Image
