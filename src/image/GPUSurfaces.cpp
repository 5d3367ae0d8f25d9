// Qf::Image::GPU: solid, greyscale and mask surfaces, and the activity line.
// Their effects are a few lines each, written here and compiled at first use.
#include "image/GPU.h"

#include "image/GPUPass.h"

#include <string>

namespace Qf::Image {

using Text = LightweightString<char>;

namespace {

const char* const kSolidEffect = R"(DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );
DeclareFloat4Param( gColour );
DeclareEntryPoint()
{
   return gColour;
})";

const char* const kGreyscaleEffect = R"(DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );
DeclareInput( Input, Point );
DeclareFloat3Param( gLumaWeights );
DeclareEntryPoint()
{
   float4 c = ReadPixel( Input, uv1 );
   float y = dot( c.rgb, gLumaWeights );
   return float4( y, y, y, c.a );
})";

// Opaque means alpha within half an 8-bit code of 1, so that an 8-bit 255
// counts and 254 does not, at every depth.
const char* const kOpaqueMaskEffect = R"(DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );
DeclareInput( Input, Point );
DeclareEntryPoint()
{
   float m = step( 1.0 - 0.5 / 255.0, ReadPixel( Input, uv1 ).a );
   return float4( m, m, m, m );
})";

// Kr, Kg, Kb of a colourimetry code (Data::Video::eColourimetry).
Float3 lumaWeights(uint32_t colourimetry) {
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
    GPUPass pass("_GPUSolidColour", kSolidEffect);
    pass.set("gColour", colour).target(destination, Target::eMatchingOrNew, size, format);
    // RGB made here is full range, whatever the destination said before.
    return report("GPU::createColourSurface", pass.draw({}).finish(Surface(), destination, Metadata::eFullRangeDefaults));
}

bool GPU::createGreyscaleImage(const Surface& source, Surface& destination) {
    GPUPass pass("_GPUGreyscale", kGreyscaleEffect);
    pass.set("gLumaWeights", lumaWeights(source.getColourimetry()));
    return drawOverRGBA("GPU::createGreyscaleImage", pass, source, destination);
}

bool GPU::createOpaqueMask(const Surface& source, Surface& destination) {
    GPUPass pass("_GPUOpaqueMask", kOpaqueMaskEffect);
    return drawOverRGBA("GPU::createOpaqueMask", pass, source, destination, {}, iGPUImage::eRGBA8);
}

Text GPU::describeActivity(const char* operation, const Surface& source, const Surface& destination) {
    return Text(std::string(operation ? operation : "") + " " + describeSurface(source) + " -> " + describeSurface(destination));
}

} // namespace Qf::Image
