


















out vec4 FragColor;

uniform sampler2D Input;
uniform sampler3D Lut;

uniform float LutSize=33;
uniform vec3 InScale;
uniform vec3 InOffset;
uniform float OutScale=1;
uniform float OutOffset=0;
uniform float ShaperSize=0;
uniform vec3 LatticeScale;
uniform vec3 LatticeOffset;


float3 LatticePoint( float3 index )
{
   return tex3D( Lut, ( index + 0.5 ) / LutSize ).rgb;
}





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


float ShaperCurve( float v, float first )
{
   float p = saturate( v ) * ( ShaperSize - 1.0 );
   float i = min( floor( p ), ShaperSize - 2.0 );
   return lerp( ShaperPoint( first + i ), ShaperPoint( first + i + 1.0 ), p - i );
}


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


float3 CellOrigin( float3 p )
{
   float last = LutSize - 2.0;
   return min( floor( p ), float3( last, last, last ) );
}

vec4 Trilinear()
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

vec4 Tetrahedral()
{
   float4 src = tex2D( Input, uv1 );
   float3 p = LatticePosition( src.rgb );
   float3 o = CellOrigin( p );
   float3 f = p - o;



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

   float3 mapped = ( 1.0 - w.x ) * LatticePoint( o )
                 + ( w.x - w.y ) * LatticePoint( o + first )
                 + ( w.y - w.z ) * LatticePoint( o + second )
                 + w.z * LatticePoint( o + float3( 1.0, 1.0, 1.0 ) );
   return float4( mapped * OutScale + OutOffset, src.a );
}
uniform int _passCount0=1;uniform int _passCount1=1;uniform int _entryPoint=0;
void main()
{
   switch ( _entryPoint )
   {
      case 0: FragColor = Trilinear(); break;
      case 1: FragColor = Tetrahedral(); break;
   }
}
