// A typo in the effect's own code. The line to fix says "error here".
DeclareQuillframeEffect( "Code typo", "Test", "Errors", kNoNotes, kNoFlags )
DeclareInput( Input )
DeclareFloatParam( Amount, "Amount", kNoGroup, kNoFlags, 0.5, 0, 1 )

DeclareEntryPoint( Main )
{
   float4 c = tex2D( Input, uv1 );
   return c * Amuont; // error here
}
