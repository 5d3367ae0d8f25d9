


out vec4 FragColor;

uniform sampler2D Input;
uniform sampler2D Mask;

uniform float Stops=0;

vec4 MaskedExposure()
{
   float4 src = tex2D( Input, uv1 );
   float amount = tex2D( Mask, uv2 ).a;
   float3 exposed = src.rgb * exp2( Stops );
   return float4( lerp( src.rgb, exposed, amount ), src.a );
}
void main()
{
   FragColor = MaskedExposure();}
