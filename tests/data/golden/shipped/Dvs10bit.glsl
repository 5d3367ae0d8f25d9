








out vec4 FragColor;

uniform sampler2D gSourceImage;

uniform float pSourceImageTotalWidthInDWORDs=0;

float Low( float value, float bits )
{
   float m = exp2( bits );
   return value - m * floor( value / m );
}


float Sample( float i, float v )
{
   float word = floor( i / 3.0 );
   float slot = i - 3.0 * word;
   float4 b = floor( ReadPixel( gSourceImage, float2( ( word + 0.5 ) / pSourceImageTotalWidthInDWORDs, v ) ) * 255.0 + 0.5 );
   if ( slot < 0.5 ) return floor( b.z / 64.0 ) + 4.0 * b.w;
   if ( slot < 1.5 ) return floor( b.y / 16.0 ) + 16.0 * Low( b.z, 6.0 );
   return floor( b.x / 4.0 ) + 64.0 * Low( b.y, 4.0 );
}

vec4 Unpack()
{
   float first = 4.0 * floor( uv0.x * _OUTPUTWIDTH );
   float cb = Sample( first, uv1.y );
   float y0 = Sample( first + 1.0, uv1.y );
   float cr = Sample( first + 2.0, uv1.y );
   float y1 = Sample( first + 3.0, uv1.y );
   return float4( y0, cb, y1, cr ) / 1023.0;
}
void main()
{
   FragColor = Unpack();}
