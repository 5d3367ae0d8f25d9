// Uses an identifier that nothing declares: the GLSL compiler refuses it.
DeclareQuillframeEffect( "Broken", "Test", "Broken", kNoNotes, kNoFlags )
DeclareInput( Input )
DeclareEntryPoint( Main )
{
   return tex2D( Input, uv1 ) * notDeclared;
}
