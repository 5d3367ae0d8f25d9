// Samples its input at the first binding's coordinates; the sampler state
// is set by the test.
DeclareQuillframeEffect( "Sample", "Test", "Test", kNoNotes, kNoFlags )
DeclareInput( Input )

DeclareEntryPoint( Sample )
{
   return tex2D( Input, uv1 );
}
