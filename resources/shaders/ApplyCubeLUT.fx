// ApplyCubeLUT: maps each colour through a 3D look-up table loaded from a
// .cube file. Technique T1 interpolates trilinearly, T2 tetrahedrally
// (smoother on steep tables, where trilinear shows bands along the cube's
// diagonals).
//
// The lattice points are read with point sampling at texel centres and the
// weights are computed here in float precision: the texture unit's own
// filtering keeps as few as 8 bits of the weights on many GPUs.
//
// The host sets every parameter (Qf::Image::GPU::applyLUT): the side of the
// table, how colours reach lattice coordinates (InScale, InOffset: the
// table's domain and input range) and what a table value stands for
// (OutScale, OutOffset: its output range).
DeclareQuillframeEffect( "Apply Cube LUT", "Colour", "LUT", kNoNotes, kNoFlags )

DeclareInput( Input, Point )
Declare3DInput( Lut, Point, ClampToEdge )

DeclareFloatParam( LutSize, "LUT size", kNoGroup, Hidden, 33, 2, 256 )
DeclareFloat3Param( InScale )
DeclareFloat3Param( InOffset )
DeclareFloatParam( OutScale, "Output scale", kNoGroup, Hidden, 1, -1000, 1000 )
DeclareFloatParam( OutOffset, "Output offset", kNoGroup, Hidden, 0, -1000, 1000 )

// The table entry at whole lattice indices.
float3 LatticePoint( float3 index )
{
   return tex3D( Lut, ( index + 0.5 ) / LutSize ).rgb;
}

// A colour's place in the lattice, in lattice steps (0 .. LutSize - 1).
float3 LatticePosition( float3 rgb )
{
   return saturate( rgb * InScale + InOffset ) * ( LutSize - 1.0 );
}

// The lower corner of the cell holding a position; the last cell for the top edge.
float3 CellOrigin( float3 p )
{
   float last = LutSize - 2.0;
   return min( floor( p ), float3( last, last, last ) );
}

DeclareEntryPoint( Trilinear )
{
   float4 src = tex2D( Input, uv1 );
   float3 p = LatticePosition( src.rgb );
   float3 o = CellOrigin( p );
   float3 f = p - o;
   float3 c00 = lerp( LatticePoint( o ), LatticePoint( o + float3( 1.0, 0.0, 0.0 ) ), f.r );
   float3 c10 = lerp( LatticePoint( o + float3( 0.0, 1.0, 0.0 ) ), LatticePoint( o + float3( 1.0, 1.0, 0.0 ) ), f.r );
   float3 c01 = lerp( LatticePoint( o + float3( 0.0, 0.0, 1.0 ) ), LatticePoint( o + float3( 1.0, 0.0, 1.0 ) ), f.r );
   float3 c11 = lerp( LatticePoint( o + float3( 0.0, 1.0, 1.0 ) ), LatticePoint( o + float3( 1.0, 1.0, 1.0 ) ), f.r );
   float3 mapped = lerp( lerp( c00, c10, f.g ), lerp( c01, c11, f.g ), f.b );
   return float4( mapped * OutScale + OutOffset, src.a );
}

DeclareEntryPoint( Tetrahedral )
{
   float4 src = tex2D( Input, uv1 );
   float3 p = LatticePosition( src.rgb );
   float3 o = CellOrigin( p );
   float3 f = p - o;
   // The cell splits into six tetrahedra along its black-white diagonal; the
   // order of the fractions picks one, and the walk from corner 000 to 111
   // goes through the two corners that the larger fractions point to.
   float3 first, second;
   float3 w;
   if ( f.r >= f.g )
   {
      if ( f.g >= f.b )      { first = float3( 1.0, 0.0, 0.0 ); second = float3( 1.0, 1.0, 0.0 ); w = f.rgb; }
      else if ( f.r >= f.b ) { first = float3( 1.0, 0.0, 0.0 ); second = float3( 1.0, 0.0, 1.0 ); w = f.rbg; }
      else                   { first = float3( 0.0, 0.0, 1.0 ); second = float3( 1.0, 0.0, 1.0 ); w = f.brg; }
   }
   else
   {
      if ( f.b >= f.g )      { first = float3( 0.0, 0.0, 1.0 ); second = float3( 0.0, 1.0, 1.0 ); w = f.bgr; }
      else if ( f.b >= f.r ) { first = float3( 0.0, 1.0, 0.0 ); second = float3( 0.0, 1.0, 1.0 ); w = f.gbr; }
      else                   { first = float3( 0.0, 1.0, 0.0 ); second = float3( 1.0, 1.0, 0.0 ); w = f.grb; }
   }
   // w holds the fractions from largest to smallest.
   float3 mapped = ( 1.0 - w.x ) * LatticePoint( o )
                 + ( w.x - w.y ) * LatticePoint( o + first )
                 + ( w.y - w.z ) * LatticePoint( o + second )
                 + w.z * LatticePoint( o + float3( 1.0, 1.0, 1.0 ) );
   return float4( mapped * OutScale + OutOffset, src.a );
}
