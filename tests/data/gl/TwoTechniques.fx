// Technique T1 has two passes: Swap reverses the components, Finish inverts
// Swap's result. Technique T2 copies the input in one pass.
DeclareQuillframeEffect( "Two techniques", "Test", "Test", kNoNotes, kNoFlags )
DeclareInput( Input, Point )

DeclarePass( Swap )
{
   return tex2D( Input, uv1 ).abgr;
}

DeclareEntryPoint( Finish )
{
   return 1.0 - tex2D( Swap, uv0 );
}

DeclareEntryPoint( Copy )
{
   return tex2D( Input, uv1 );
}
