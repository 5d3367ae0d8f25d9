// YCbCr422ToRGB: Y'CbCr 4:2:2 "UYVY" (a texel is one pixel pair: r = Cb, g = Y0, b = Cr, a = Y1)
// into RGB, alpha 1.
//
// The host (ColourConversion::convertYCrCb422ToRGB) loads the inverse
// matrices for the source's range and colourimetry and binds the source four
// times, at target pixel x: gSourceImage reads pair x/2, gSourceImage2 the
// pair before, gSourceImage3 and gSourceImage4 the two after. gIterHelp2Step
// is the source's width in pairs, so that the position within a pair (left
// or right pixel) is the fraction of uv1.x * gIterHelp2Step.
//
// Chroma is sited with the left pixel of a pair, which takes it as it is. The
// right pixel's chroma, by technique (the Filter values): 0 repeats the left
// one, 1 averages the pair's and the next pair's, 2 interpolates halfway with
// the 4-tap [-1 9 9 -1] / 16 over four pairs.
DeclareQuillframeEffect( "YCbCr422ToRGB", "Internal", "Conversion", kNoNotes, kNoFlags )

DeclareInput( gSourceImage, Point, ClampToEdge )
DeclareInput( gSourceImage2, Point, ClampToEdge )
DeclareInput( gSourceImage3, Point, ClampToEdge )
DeclareInput( gSourceImage4, Point, ClampToEdge )

DeclareFloat4Param( ccCoefsAdd1 )
DeclareFloat3x3Param( ccCoefsMul2 )
DeclareFloat4Param( ccCoefsAdd3 )
DeclareFloatParam( gIterHelp2Step )

float2 CrCbOf( float4 t )
{
   return float2( t.b, t.r );
}

float LumaOf( float4 t, bool right )
{
   return right ? t.a : t.g;
}

bool IsRightPixel( float2 uv )
{
   return frac( uv.x * gIterHelp2Step ) >= 0.5;
}

float4 ToRGB( float luma, float2 crcb )
{
   float3 c = float3( luma, crcb.x, crcb.y ) + ccCoefsAdd1.xyz;
   return float4( mul( c, ccCoefsMul2 ) + ccCoefsAdd3.xyz, 1.0 );
}

// Every read lands a quarter texel inside a pair, so the point sampler gives
// that pair as it is, and its clamping repeats the edge pairs. Every pixel
// reads all the taps and then picks, without branches: neighbouring pixels
// take different sides, so a branch would cost both sides anyway where
// pixels are shaded side by side.
DeclareEntryPoint( PointChroma )
{
   float4 t = tex2D( gSourceImage, uv1 );
   return ToRGB( LumaOf( t, IsRightPixel( uv1 ) ), CrCbOf( t ) );
}

DeclareEntryPoint( LinearChroma )
{
   float4 t = tex2D( gSourceImage, uv1 );
   bool right = IsRightPixel( uv1 );
   float2 c = CrCbOf( t );
   float2 between = ( c + CrCbOf( tex2D( gSourceImage3, uv3 ) ) ) * 0.5;
   return ToRGB( LumaOf( t, right ), right ? between : c );
}

DeclareEntryPoint( LowPassChroma )
{
   float4 t = tex2D( gSourceImage, uv1 );
   bool right = IsRightPixel( uv1 );
   float2 c = CrCbOf( t );
   float2 before = CrCbOf( tex2D( gSourceImage2, uv2 ) );
   float2 next = CrCbOf( tex2D( gSourceImage3, uv3 ) );
   float2 after = CrCbOf( tex2D( gSourceImage4, uv4 ) );
   float2 between = ( 9.0 * ( c + next ) - ( before + after ) ) / 16.0;
   return ToRGB( LumaOf( t, right ), right ? between : c );
}
