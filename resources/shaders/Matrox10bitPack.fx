// Matrox10bitPack: Y'CbCr 4:2:2 "YUY2" (a texel is one pixel pair Y0, Cb,
// Y1, Cr; 10 bits in 16-bit words, or 8 bits) into "M101", whose texels are
// 32-bit words. Each group of eight pixels is five words: four words of the
// samples' 8 most significant bits in "UYVY" order (Cb, Y0, Cr, Y1 bytes of
// pairs 4g to 4g + 3), then one word of their 2 least significant bits, two
// bits a sample, sample i at bits 2i and 2i + 1 (docs/formats.md).
//
// The host (ColourConversion::packMatrox10BitFormat) sets the source's width
// in pairs (pSourceImageTotalWidthInDWORDs, width x 0.5: widths are even) and
// the packed width in words (DestImageWidth). All arithmetic is on whole
// numbers below 2^24, exact in float.
DeclareQuillframeEffect( "Matrox 10-bit pack", "Internal", "Conversion", kNoNotes, kNoFlags )

DeclareInput( gSourceImage, Point, ClampToEdge )

DeclareFloatParam( pSourceImageTotalWidthInDWORDs )
DeclareFloatParam( DestImageWidth )

// The 10-bit samples of source pair `pair` in UYVY order: Cb, Y0, Cr, Y1.
float4 PairSamples( float pair, float v )
{
   float4 t = ReadPixel( gSourceImage, float2( ( pair + 0.5 ) / pSourceImageTotalWidthInDWORDs, v ) );
   return floor( float4( t.g, t.r, t.a, t.b ) * 1023.0 + 0.5 );
}

// One byte of the low-bits word: the 2 low bits of the pair's four samples.
float LowBitsByte( float pair, float v )
{
   float4 s = PairSamples( pair, v );
   float4 low = s - 4.0 * floor( s * 0.25 );
   return dot( low, float4( 1.0, 4.0, 16.0, 64.0 ) );
}

DeclareEntryPoint( Pack )
{
   float word = floor( uv0.x * DestImageWidth );
   float group = floor( word / 5.0 );
   float index = word - 5.0 * group;
   float firstPair = 4.0 * group;
   float4 bytes;
   if ( index < 3.5 )
      bytes = floor( PairSamples( firstPair + index, uv1.y ) * 0.25 );
   else
      bytes = float4( LowBitsByte( firstPair, uv1.y ), LowBitsByte( firstPair + 1.0, uv1.y ),
                      LowBitsByte( firstPair + 2.0, uv1.y ), LowBitsByte( firstPair + 3.0, uv1.y ) );
   return bytes / 255.0;
}
