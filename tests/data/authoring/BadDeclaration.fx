// A declaration with an argument too many. The line to fix says "error here".
DeclareQuillframeEffect( "Bad declaration", "Test", "Errors", kNoNotes, kNoFlags )
DeclareInput( Input )
DeclarePass( First, Second ) // error here
{
   return tex2D( Input, uv1 );
}
DeclareEntryPoint( Main )
{
   return tex2D( Input, uv1 );
}
