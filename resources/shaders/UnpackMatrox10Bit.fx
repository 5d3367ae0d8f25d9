// UnpackMatrox10Bit: "M101" (Matrox 10-bit 4:2:2, five 32-bit words for
// eight pixels, see Matrox10bitPack.fx) into "YUY2", one pixel pair a texel
// (Y0, Cb, Y1, Cr), keeping all 10 bits of each sample, as value / 1023 (for
// a 16-bit destination).
//
// The host (ColourConversion::unpackMatrox10BitFormat) binds the source with
// u running from 0 to the destination's width in texels, so that
// uv1.x * pSourceImageTotalWidthInDWORDs (the source's width in words) is the
// destination pair's index plus one half.
DeclareQuillframeEffect( "UnpackMatrox10Bit", "Internal", "Conversion", kNoNotes, kNoFlags )

DeclareInput( gSourceImage, Point, ClampToEdge )

DeclareFloatParam( pSourceImageTotalWidthInDWORDs )

// The four bytes of word `word` of the row, in memory order.
float4 WordBytes( float word, float v )
{
   return floor( ReadPixel( gSourceImage, float2( ( word + 0.5 ) / pSourceImageTotalWidthInDWORDs, v ) ) * 255.0 + 0.5 );
}

DeclareEntryPoint( Unpack )
{
   float pair = floor( uv1.x * pSourceImageTotalWidthInDWORDs );
   float group = floor( pair * 0.25 );
   float index = pair - 4.0 * group;
   float4 high = WordBytes( 5.0 * group + index, uv1.y );
   // A group cut short at the end of the row has no low-bits word: zero.
   float lowWord = 5.0 * group + 4.0;
   float4 lowBytes = lowWord < pSourceImageTotalWidthInDWORDs ? WordBytes( lowWord, uv1.y ) : float4( 0.0, 0.0, 0.0, 0.0 );
   float low = dot( lowBytes, float4( index == 0.0, index == 1.0, index == 2.0, index == 3.0 ) );
   float4 lowBits = floor( low / float4( 1.0, 4.0, 16.0, 64.0 ) );
   lowBits = lowBits - 4.0 * floor( lowBits * 0.25 );
   float4 s = high * 4.0 + lowBits; // Cb, Y0, Cr, Y1
   return float4( s.y, s.x, s.w, s.z ) / 1023.0;
}
