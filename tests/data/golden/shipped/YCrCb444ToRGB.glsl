






out vec4 FragColor;

uniform sampler2D gSourceImage;

uniform vec4 ccCoefsAdd1;
uniform mat3 ccCoefsMul2;
uniform vec4 ccCoefsAdd3;
uniform float gIterHelp2Step=0;
uniform bool includeAlpha=false;

vec4 ToRGB444()
{
   float4 c = tex2D( gSourceImage, uv1 ) + ccCoefsAdd1;
   float3 rgb = mul( c.xyz, ccCoefsMul2 ) + ccCoefsAdd3.xyz;
   return float4( rgb, includeAlpha ? c.w + ccCoefsAdd3.w : 1.0 );
}
void main()
{
   FragColor = ToRGB444();}
