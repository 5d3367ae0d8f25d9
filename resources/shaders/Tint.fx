// Tint: blends the picture towards a colour, keeping its luminance.
DeclareQuillframeEffect( "Tint", "Colour", "Stylise", kNoNotes, CanSize )

DeclareInput( Input )

DeclareFloatParamAnimated( Amount, "Amount", kNoGroup, DisplayAsPercentage, 0.5, 0, 1 )
DeclareColourParam( TintColour, "Colour", kNoGroup, kNoFlags, 0.9, 0.7, 0.4 )

DeclareEntryPoint( Tint )
{
   float4 src = tex2D( Input, uv1 );
   float y = luma709( src.rgb );
   float3 tinted = TintColour.rgb * y * 2.0;
   return float4( lerp( src.rgb, saturate( tinted ), Amount ), src.a );
}
