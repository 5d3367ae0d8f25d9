// Same name as the shaders directory's Blur.fx (other case): that one wins.
DeclareQuillframeEffect( "blur", "Blurs", "Box", kNoNotes, kNoFlags )
DeclareInput( Input )
DeclareEntryPoint( Blur )
{
   return tex2D( Input, uv1 );
}
