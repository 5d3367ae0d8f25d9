
out vec4 FragColor;

uniform sampler2D Input;

uniform float Amount=0.5;
uniform vec4 TintColour;

vec4 Tint()
{
   float4 src = tex2D( Input, uv1 );
   float y = luma709( src.rgb );
   float3 tinted = TintColour.rgb * y * 2.0;
   return float4( lerp( src.rgb, saturate( tinted ), Amount ), src.a );
}
void main()
{
   FragColor = Tint();}
