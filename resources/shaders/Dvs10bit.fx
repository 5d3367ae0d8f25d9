// Dvs10bit: "DVS1" (DVS 10-bit 4:2:2: the samples of a row in "UYVY" order
// packed three to a 32-bit word, sample 3k in bits 22-31, 3k + 1 in 12-21,
// 3k + 2 in 2-11) into "YUY2", one pixel pair a texel (Y0, Cb, Y1, Cr), as
// value / 1023.
//
// The host (ColourConversion::unpackDvs10BitFormat) sets the source's width in
// words (pSourceImageTotalWidthInDWORDs); the destination pair comes from the
// target position. Samples are assembled from bytes, so every step is exact
// in float (a whole 32-bit word is not).
DeclareQuillframeEffect( "DVS 10-bit unpack", "Internal", "Conversion", kNoNotes, kNoFlags )

DeclareInput( gSourceImage, Point, ClampToEdge )

DeclareFloatParam( pSourceImageTotalWidthInDWORDs )

float Low( float value, float bits )
{
   float m = exp2( bits );
   return value - m * floor( value / m );
}

// Sample `i` of the row.
float Sample( float i, float v )
{
   float word = floor( i / 3.0 );
   float slot = i - 3.0 * word;
   float4 b = floor( ReadPixel( gSourceImage, float2( ( word + 0.5 ) / pSourceImageTotalWidthInDWORDs, v ) ) * 255.0 + 0.5 );
   if ( slot < 0.5 ) return floor( b.z / 64.0 ) + 4.0 * b.w;
   if ( slot < 1.5 ) return floor( b.y / 16.0 ) + 16.0 * Low( b.z, 6.0 );
   return floor( b.x / 4.0 ) + 64.0 * Low( b.y, 4.0 );
}

DeclareEntryPoint( Unpack )
{
   float first = 4.0 * floor( uv0.x * _OUTPUTWIDTH );
   float cb = Sample( first, uv1.y );
   float y0 = Sample( first + 1.0, uv1.y );
   float cr = Sample( first + 2.0, uv1.y );
   float y1 = Sample( first + 3.0, uv1.y );
   return float4( y0, cb, y1, cr ) / 1023.0;
}
