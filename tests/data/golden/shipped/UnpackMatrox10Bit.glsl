








out vec4 FragColor;

uniform sampler2D gSourceImage;

uniform float pSourceImageTotalWidthInDWORDs=0;


float4 WordBytes( float word, float v )
{
   return floor( ReadPixel( gSourceImage, float2( ( word + 0.5 ) / pSourceImageTotalWidthInDWORDs, v ) ) * 255.0 + 0.5 );
}

vec4 Unpack()
{
   float pair = floor( uv1.x * pSourceImageTotalWidthInDWORDs );
   float group = floor( pair * 0.25 );
   float index = pair - 4.0 * group;
   float4 high = WordBytes( 5.0 * group + index, uv1.y );

   float lowWord = 5.0 * group + 4.0;
   float4 lowBytes = lowWord < pSourceImageTotalWidthInDWORDs ? WordBytes( lowWord, uv1.y ) : float4( 0.0, 0.0, 0.0, 0.0 );
   float low = dot( lowBytes, float4( index == 0.0, index == 1.0, index == 2.0, index == 3.0 ) );
   float4 lowBits = floor( low / float4( 1.0, 4.0, 16.0, 64.0 ) );
   lowBits = lowBits - 4.0 * floor( lowBits * 0.25 );
   float4 s = high * 4.0 + lowBits; // Cb, Y0, Cr, Y1
   return float4( s.y, s.x, s.w, s.z ) / 1023.0;
}
void main()
{
   FragColor = Unpack();}
