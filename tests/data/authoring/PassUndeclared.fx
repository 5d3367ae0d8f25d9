// A multi-pass effect whose first pass uses a name that nothing declares.
// The line to fix says "error here".
DeclareQuillframeEffect( "Pass undeclared", "Test", "Errors", kNoNotes, kNoFlags )
DeclareInput( Input )
DeclareFloatParam( Radius, "Radius", kNoGroup, kNoFlags, 2, 0, 20 )

DeclarePass( Horizontal )
{
   float2 step = float2( Radius / _OUTPUTWIDTH, 0 );
   return ( tex2D( Input, uv1 - step ) + tex2D( Input, uv1 + step ) ) * weigth; // error here
}

DeclareEntryPoint( Vertical )
{
   return tex2D( Horizontal, uv0 ) * 0.5;
}
