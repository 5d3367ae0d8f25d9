// Vignette: darkens the picture towards its corners. A template to copy and
// adapt: one input, two parameters, one pass.
DeclareQuillframeEffect( "Vignette", "Colour", "Stylise", kNoNotes, kNoFlags )

DeclareInput( Input )

DeclareFloatParam( Strength, "Strength", kNoGroup, DisplayAsPercentage, 0.5, 0, 1 )
DeclareFloatParam( Radius, "Radius", kNoGroup, kNoFlags, 0.75, 0.1, 1.5 )

DeclareEntryPoint( Vignette )
{
   float4 src = tex2D( Input, uv1 );
   float2 d = uv0 - float2( 0.5, 0.5 );
   float fall = saturate( ( length( d ) * 1.41421 - Radius ) / ( 1.5 - Radius + 0.0001 ) );
   return float4( src.rgb * ( 1.0 - Strength * fall ), src.a );
}
