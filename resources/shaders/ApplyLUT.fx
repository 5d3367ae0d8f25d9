// ApplyLUT: maps each colour through a 3D look-up table (a cube of
// LutSize x LutSize x LutSize colours, red varying fastest), blended with
// the original by Amount.
DeclareQuillframeEffect( "Apply LUT", "Colour", "LUT", kNoNotes, kNoFlags )

DeclareInput( Input )
Declare3DInput( Lut, Linear, ClampToEdge )

DeclareFloatParam( LutSize, "LUT size", kNoGroup, Hidden, 33, 2, 256 )
DeclareFloatParamAnimated( Amount, "Amount", kNoGroup, DisplayAsPercentage, 1, 0, 1 )

DeclareEntryPoint( ApplyLUT )
{
   float4 src = tex2D( Input, uv1 );
   // Colour 0 and colour 1 fall on the centres of the first and last entries.
   float3 coord = saturate( src.rgb ) * ( ( LutSize - 1.0 ) / LutSize ) + 0.5 / LutSize;
   float3 mapped = tex3D( Lut, coord ).rgb;
   return float4( lerp( src.rgb, mapped, Amount ), src.a );
}
