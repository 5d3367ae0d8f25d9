









out vec4 FragColor;

uniform sampler2D gSourceImage;

uniform float pSourceImageTotalWidthInDWORDs=0;


float4 WordBytes( float word, float v )
{
   return floor( ReadPixel( gSourceImage, float2( ( word + 0.5 ) / pSourceImageTotalWidthInDWORDs, v ) ) * 255.0 + 0.5 );
}

vec4 UnpackBase()
{
   float pair = floor( uv1.x * pSourceImageTotalWidthInDWORDs );
   float group = floor( pair * 0.25 );
   float4 high = WordBytes( 5.0 * group + pair - 4.0 * group, uv1.y );
   return float4( high.y, high.x, high.w, high.z ) / 255.0;
}
void main()
{
   FragColor = UnpackBase();}
