// One pass: the complement of the input's colour, alpha kept.
DeclareQuillframeEffect( "Invert", "Test", "Test", kNoNotes, kNoFlags )
DeclareInput( Input, Point )

DeclareEntryPoint( Invert )
{
   float4 c = tex2D( Input, uv1 );
   return float4( 1.0 - c.rgb, c.a );
}
