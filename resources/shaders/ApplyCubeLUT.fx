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
//
// A table may come with a shaper, one curve per channel applied before the
// lattice (ShaperSize points each, 0 for none). Its curves lie in the table's
// alpha channel, one after another in memory order, so that the shaper costs
// no second texture; InScale and InOffset then place colours on the curves,
// and LatticeScale and LatticeOffset place the curves' values in the lattice.
DeclareQuillframeEffect( "Apply Cube LUT", "Colour", "LUT", kNoNotes, kNoFlags )

DeclareInput( Input, Point )
Declare3DInput( Lut, Point, ClampToEdge )

DeclareFloatParam( LutSize, "LUT size", kNoGroup, Hidden, 33, 2, 256 )
DeclareFloat3Param( InScale )
DeclareFloat3Param( InOffset )
DeclareFloatParam( OutScale, "Output scale", kNoGroup, Hidden, 1, -1000, 1000 )
DeclareFloatParam( OutOffset, "Output offset", kNoGroup, Hidden, 0, -1000, 1000 )
DeclareFloatParam( ShaperSize, "Shaper size", kNoGroup, Hidden, 0, 0, 16777216 )
DeclareFloat3Param( LatticeScale )
DeclareFloat3Param( LatticeOffset )

// The table entry at whole lattice indices.
float3 LatticePoint( float3 index )
{
   return tex3D( Lut, ( index + 0.5 ) / LutSize ).rgb;
}

// Shaper point k, counted over the three curves, from the alpha channel.
// The texel's indices come from whole-number divisions done in float; a
// quotient that the division rounded across a whole number is put right by
// the remainder's sign or size.
float ShaperPoint( float k )
{
   float n = LutSize;
   float slice = n * n;
   float z = floor( ( k + 0.5 ) / slice );
   float rest = k - z * slice;
   if ( rest < 0.0 ) { z = z - 1.0; rest = rest + slice; }
   if ( rest >= slice ) { z = z + 1.0; rest = rest - slice; }
   float y = floor( ( rest + 0.5 ) / n );
   float x = rest - y * n;
   if ( x < 0.0 ) { y = y - 1.0; x = x + n; }
   if ( x >= n ) { y = y + 1.0; x = x - n; }
   return tex3D( Lut, ( float3( x, y, z ) + 0.5 ) / n ).a;
}

// One channel's shaper curve, starting at point `first`, at v (0..1 spans it).
float ShaperCurve( float v, float first )
{
   float p = saturate( v ) * ( ShaperSize - 1.0 );
   float i = min( floor( p ), ShaperSize - 2.0 );
   return lerp( ShaperPoint( first + i ), ShaperPoint( first + i + 1.0 ), p - i );
}

// A colour's place in the lattice, in lattice steps (0 .. LutSize - 1).
float3 LatticePosition( float3 rgb )
{
   float3 c = rgb * InScale + InOffset;
   if ( ShaperSize >= 2.0 )
   {
      float3 shaped = float3( ShaperCurve( c.r, 0.0 ), ShaperCurve( c.g, ShaperSize ), ShaperCurve( c.b, 2.0 * ShaperSize ) );
      c = shaped * LatticeScale + LatticeOffset;
   }
   return saturate( c ) * ( LutSize - 1.0 );
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
