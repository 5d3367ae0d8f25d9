





out vec4 FragColor;

uniform sampler2D gSourceImage;

uniform mat3 coefsMul;
uniform vec4 coefsAdd;
uniform vec4 coefsMulY;
uniform float coefsAddY=0;
uniform float Width=0;
uniform bool includeAlpha=false;

vec4 ToYCrCb444()
{
   float4 src = tex2D( gSourceImage, uv1 );
   float3 ycrcb = mul( src.rgb, coefsMul ) + coefsAdd.xyz;
   return float4( ycrcb, includeAlpha ? src.a + coefsAdd.w : 1.0 );
}
void main()
{
   FragColor = ToYCrCb444();}
