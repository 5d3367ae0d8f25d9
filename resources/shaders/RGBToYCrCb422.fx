// RGBToYCrCb422: full-range RGB into Y'CrCb 4:2:2 "YUY2" (a texel is one
// pixel pair: r = Y0, g = Cb, b = Y1, a = Cr).
//
// The host (ColourConversion::convertRGBToYCrCb422) loads the matrices for
// the destination's range and colourimetry and binds the source twice: at
// each target texel gSourceImage reads the centre of the pair's left pixel
// and gSourceImage2 the centre of its right pixel, so their distance is one
// source pixel whatever the width. Every read is at a pixel's centre, so the
// point sampler gives that pixel, and its clamping repeats the edge pixels.
// Chroma is sited with the left pixel; the techniques are the Filter values:
// 0 takes the left pixel's colour, 1 the [1 2 1] / 4 average around it, 2
// the half-band [-1 0 9 16 9 0 -1] / 32.
// The filters work on RGB, which is the same as filtering chroma: the matrix
// is linear.
DeclareQuillframeEffect( "RGB to Y'CrCb 4:2:2", "Internal", "Conversion", kNoNotes, kNoFlags )

DeclareInput( gSourceImage, Point, ClampToEdge )
DeclareInput( gSourceImage2, Point, ClampToEdge )

DeclareFloat3x3Param( coefsMul )
DeclareFloat4Param( coefsAdd )
DeclareFloat4Param( coefsMulY )
DeclareFloatParam( coefsAddY )

float LumaOf( float3 rgb )
{
   return dot( rgb, coefsMulY.xyz ) + coefsAddY;
}

// The pair's texel from its two pixels and the (filtered) colour of its chroma.
float4 PackPair( float3 left, float3 right, float3 chromaColour )
{
   float3 ycrcb = mul( chromaColour, coefsMul ) + coefsAdd.xyz;
   return float4( LumaOf( left ), ycrcb.z, LumaOf( right ), ycrcb.y );
}

// The source pixel `n` pixels right of the pair's left pixel.
float3 Neighbour( float2 uvLeft, float step, float n )
{
   return tex2D( gSourceImage, float2( uvLeft.x + n * step, uvLeft.y ) ).rgb;
}

DeclareEntryPoint( PointChroma )
{
   float3 p0 = tex2D( gSourceImage, uv1 ).rgb;
   float3 p1 = tex2D( gSourceImage2, uv2 ).rgb;
   return PackPair( p0, p1, p0 );
}

DeclareEntryPoint( LinearChroma )
{
   float step = uv2.x - uv1.x;
   float3 p0 = tex2D( gSourceImage, uv1 ).rgb;
   float3 p1 = tex2D( gSourceImage2, uv2 ).rgb;
   float3 m1 = Neighbour( uv1, step, -1.0 );
   return PackPair( p0, p1, ( m1 + 2.0 * p0 + p1 ) * 0.25 );
}

DeclareEntryPoint( LowPassChroma )
{
   float step = uv2.x - uv1.x;
   float3 p0 = tex2D( gSourceImage, uv1 ).rgb;
   float3 p1 = tex2D( gSourceImage2, uv2 ).rgb;
   float3 m1 = Neighbour( uv1, step, -1.0 );
   float3 m3 = Neighbour( uv1, step, -3.0 );
   float3 p3 = Neighbour( uv1, step, 3.0 );
   return PackPair( p0, p1, ( 16.0 * p0 + 9.0 * ( m1 + p1 ) - ( m3 + p3 ) ) / 32.0 );
}
