










out vec4 FragColor;

uniform sampler2D gSourceImage;

uniform float pSourceImageTotalWidthInDWORDs=0;
uniform float DestImageWidth=0;


float4 PairSamples( float pair, float v )
{
   float4 t = ReadPixel( gSourceImage, float2( ( pair + 0.5 ) / pSourceImageTotalWidthInDWORDs, v ) );
   return floor( float4( t.g, t.r, t.a, t.b ) * 1023.0 + 0.5 );
}


float LowBitsByte( float pair, float v )
{
   float4 s = PairSamples( pair, v );
   float4 low = s - 4.0 * floor( s * 0.25 );
   return dot( low, float4( 1.0, 4.0, 16.0, 64.0 ) );
}

vec4 Pack()
{
   float word = floor( uv0.x * DestImageWidth );
   float group = floor( word / 5.0 );
   float index = word - 5.0 * group;
   float firstPair = 4.0 * group;
   float4 bytes;
   if ( index < 3.5 )
      bytes = floor( PairSamples( firstPair + index, uv1.y ) * 0.25 );
   else
      bytes = float4( LowBitsByte( firstPair, uv1.y ), LowBitsByte( firstPair + 1.0, uv1.y ),
                      LowBitsByte( firstPair + 2.0, uv1.y ), LowBitsByte( firstPair + 3.0, uv1.y ) );
   return bytes / 255.0;
}
void main()
{
   FragColor = Pack();}
