// MaskedExposure: brightens or darkens the picture by whole stops, only
// where the mask is opaque. The mask is bound after the input, so it is read
// through the second binding's coordinates.
DeclareQuillframeEffect( "Masked Exposure", "Colour", "Exposure", kNoNotes, kNoFlags )

DeclareInput( Input )
DeclareMask

DeclareFloatParamAnimated( Stops, "Exposure (stops)", kNoGroup, kNoFlags, 0, -4, 4 )

DeclareEntryPoint( MaskedExposure )
{
   float4 src = tex2D( Input, uv1 );
   float amount = tex2D( Mask, uv2 ).a;
   float3 exposed = src.rgb * exp2( Stops );
   return float4( lerp( src.rgb, exposed, amount ), src.a );
}
