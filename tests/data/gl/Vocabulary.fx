// Uses the HLSL-style words that _utils.glsl maps onto GLSL, with results
// that are exact in floating point.
DeclareQuillframeEffect( "Vocabulary", "Test", "Test", kNoNotes, kNoFlags )
DeclareInput( Input )

DeclareEntryPoint( Words )
{
   half h = 0.5;
   float2 a = float2( frac( 2.75 ), saturate( 1.5 ) );
   float3 b = float3( lerp( 0.0, 4.0, 0.25 ), rsqrt( 4.0 ), atan2( 0.0, 1.0 ) );
   int2 i = int2( 3, 4 );
   return float4( a.x + h, a.y, b.x + b.y + b.z, float( i.x * i.y ) );
}

// ReadPixel takes the texel under the coordinate, without filtering.
DeclareEntryPoint( Pixel )
{
   return ReadPixel( Input, uv1 );
}

DeclareEntryPoint( Filtered )
{
   return tex2D( Input, uv1 );
}
