// Qf::Image::GPU: resizing, box-filter shrinking and field copies. Their
// effects are written here and compiled at first use.
#include "image/GPU.h"

#include "image/GPUPass.h"

namespace Qf::Image {

namespace {

constexpr int kMaxShrinkFactor = 16;

const char* const kResizeEffect = R"(DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );
DeclareInput( Input, Linear, ClampToEdge );
DeclareEntryPoint()
{
   return tex2D( Input, uv1 );
})";

// Destination pixel p averages source pixels p * factor + (0..factor-1) in
// each direction that lie inside the source. The loops have constant bounds
// (the largest factor) and stop early, which every shading language accepts.
const char* const kShrinkEffect = R"(DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );
DeclareInput( Input, Point );
DeclareFloatParam( gFactor );
DeclareFloatParam( gSourceWidth );
DeclareFloatParam( gSourceHeight );
DeclareEntryPoint()
{
   float2 size = float2( gSourceWidth, gSourceHeight );
   float2 first = floor( uv1 * float2( _OUTPUTWIDTH, _OUTPUTHEIGHT ) ) * gFactor;
   float4 sum = float4( 0.0, 0.0, 0.0, 0.0 );
   float n = 0.0;
   for ( int j = 0; j < 16; j++ )
   {
      float y = first.y + float( j );
      if ( float( j ) >= gFactor || y >= size.y ) break;
      for ( int i = 0; i < 16; i++ )
      {
         float x = first.x + float( i );
         if ( float( i ) >= gFactor || x >= size.x ) break;
         sum += ReadPixel( Input, ( float2( x, y ) + 0.5 ) / size );
         n += 1.0;
      }
   }
   return sum / max( n, 1.0 );
})";

// Row r (from the top) of the result comes from "Field" when r has the
// field's parity and from "Other" (the destination as it was) otherwise.
const char* const kFieldEffect = R"(DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );
DeclareInput( Field, Point );
DeclareInput( Other, Point );
DeclareFloatParam( gRows );
DeclareFloatParam( gParity );
DeclareEntryPoint()
{
   float row = floor( uv1.y * gRows );
   float parity = row - 2.0 * floor( row * 0.5 );
   return parity == gParity ? ReadPixel( Field, uv1 ) : ReadPixel( Other, uv2 );
})";

} // namespace

bool GPU::resize(const Surface& source, Surface& destination, XY<int> size) {
    GPUPass pass("_GPUResize", kResizeEffect);
    return drawOverRGBA("GPU::resize", pass, source, destination, size);
}

bool GPU::shrink(const Surface& source, Surface& destination, int factor) {
    if (factor < 1 || factor > kMaxShrinkFactor) return report("GPU::shrink", "the factor is outside 1 to 16");
    const XY<int> from = source.getSize();
    GPUPass pass("_GPUShrink", kShrinkEffect);
    const Ptr<iGPUImage> input = source.getGPUSurface();
    if (input) pass.set("gSourceWidth", float(input->getSize().x)).set("gSourceHeight", float(input->getSize().y));
    pass.set("gFactor", float(factor));
    return drawOverRGBA("GPU::shrink", pass, source, destination,
                        XY<int>{(from.x + factor - 1) / factor, (from.y + factor - 1) / factor});
}

bool GPU::copyField(const Surface& sourceSurface, Surface& destination, eField field) {
    if (field != eUpperField && field != eLowerField) return report("GPU::copyField", "there is no such field");
    const Surface source = sourceSurface;
    GPUPass pass("_GPUCopyField", kFieldEffect);
    const Ptr<iGPUImage> input = pass.input(source), previous = destination.getGPUSurface();
    pass.require(input && previous && !input->is3D() && !previous->is3D() && input->getSize() == previous->getSize() &&
                     input->getFormat() == previous->getFormat(),
                 "the destination's GPU image is not a 2D image of the source's size and texel format");
    if (pass.failure()) return report("GPU::copyField", pass.failure());
    // A new image: the pass reads the destination's old rows while writing.
    pass.set("gRows", float(input->getSize().y)).set("gParity", float(field));
    pass.target(destination, Target::eNew, input->getSize(), input->getFormat());
    pass.draw({ShaderInputBinding::whole("Field", input), ShaderInputBinding::whole("Other", previous)});
    return report("GPU::copyField", pass.finish(source, destination, Metadata::eUnchanged));
}

} // namespace Qf::Image
