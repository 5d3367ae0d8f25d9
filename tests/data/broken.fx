// An effect whose code uses an undeclared name: the compile must fail.
DeclareQuillframeEffect( "Bad", "Test", kNoSub, kNoNotes, kNoFlags )
DeclareInput( Input )
DeclareEntryPoint( Main )
{
   float4 c = tex2D( Input, uv1 );
   return c * undefinedThing;
}
