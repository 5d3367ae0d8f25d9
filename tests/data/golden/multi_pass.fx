// Two techniques: a two-pass blur, and a plain copy.
DeclareQuillframeEffect( "Soft", "Blur", kNoSubcategory, "Two techniques", CanSize )

DeclareInput( Input, Linear, Mirror )
DeclareFloatParam( Radius, "Radius", kNoGroup, kNoFlags, 2, 0, 10 )

DeclarePass( Horizontal )
{
   return tex2D( Input, uv1 + float2( Radius / _OUTPUTWIDTH, 0 ) );
}

DeclarePass( Vertical )
{
   return tex2D( Horizontal, uv0 + float2( 0, Radius / _OUTPUTHEIGHT ) );
}

DeclareEntryPoint( Blurred )
{
   return tex2D( Vertical, uv0 );
}

DeclareEntryPoint( Copy )
{
   return tex2D( Input, uv1 );
}
