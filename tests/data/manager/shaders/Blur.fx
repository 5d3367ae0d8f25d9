// A box blur of three taps.
DeclareQuillframeEffect( "Blur", "Blurs", "Box", kNoNotes, kNoFlags )
DeclareInput( Input )
DeclareEntryPoint( Blur )
{
   float4 a = tex2D( Input, uv1 );
   return a;
}
