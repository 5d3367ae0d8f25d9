// Inputs of every kind: sampling and edge words, a 3D table, a list, a mask.
DeclareQuillframeEffect( "Mix", "Key", kNoSubcategory, kNoNotes, RotationAware|HasMinOutputSize )

DeclareInput( Fg )
DeclareInput( Bg, POINT )
DeclareInput( Tile, Linear, Wrap )
DeclareInput( Edge, point, border )
DeclareInput( Fold, Point, Mirror )
Declare3DInput( Lut )
DeclareInputs( Extra1, _Internal, Extra2 )
DeclareMask

DeclareEntryPoint()
{
   float4 a = tex2D( Fg, uv1 ) + tex2D( Bg, uv2 ) + tex2D( Tile, uv3 ) + tex2D( Edge, uv4 ) + tex2D( Fold, uv5 );
   float4 b = tex3D( Lut, a.rgb ) + tex2D( Extra1, uv6 ) + tex2D( Extra2, uv7 );
   return lerp( a, b, tex2D( Mask, uv8 ).a );
}
