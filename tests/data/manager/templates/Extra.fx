// Lifts the picture.
DeclareQuillframeEffect( "Extra", "Colour", "Extra", kNoNotes, kNoFlags )
DeclareInput( Input )
DeclareFloatParam( Lift, "Lift", kNoGroup, kNoFlags, 0.1, 0, 1 )
DeclareEntryPoint( Extra )
{
   return tex2D( Input, uv1 ) + Lift;
}
