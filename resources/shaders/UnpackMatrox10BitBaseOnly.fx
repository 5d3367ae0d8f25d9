// UnpackMatrox10BitBaseOnly: "M101" (Matrox 10-bit 4:2:2, five 32-bit words
// for eight pixels, see Matrox10bitPack.fx) into "YUY2", one pixel pair a
// texel (Y0, Cb, Y1, Cr), keeping the 8 most significant bits of each
// sample, as byte / 255 (for an 8-bit destination): only the first four
// words of a group are read.
//
// The host (ColourConversion::unpackMatrox10BitFormat) binds the source with
// u running from 0 to the destination's width in texels, so that
// uv1.x * pSourceImageTotalWidthInDWORDs (the source's width in words) is the
// destination pair's index plus one half.
DeclareQuillframeEffect( "UnpackMatrox10BitBaseOnly", "Internal", "Conversion", kNoNotes, kNoFlags )

DeclareInput( gSourceImage, Point, ClampToEdge )

DeclareFloatParam( pSourceImageTotalWidthInDWORDs )

// The four bytes of word `word` of the row, in memory order.
float4 WordBytes( float word, float v )
{
   return floor( ReadPixel( gSourceImage, float2( ( word + 0.5 ) / pSourceImageTotalWidthInDWORDs, v ) ) * 255.0 + 0.5 );
}

DeclareEntryPoint( UnpackBase )
{
   float pair = floor( uv1.x * pSourceImageTotalWidthInDWORDs );
   float group = floor( pair * 0.25 );
   float4 high = WordBytes( 5.0 * group + pair - 4.0 * group, uv1.y );
   return float4( high.y, high.x, high.w, high.z ) / 255.0;
}
