

out vec4 FragColor;

uniform sampler2D Input;

uniform float Strength=0.5;
uniform float Radius=0.75;

vec4 Vignette()
{
   float4 src = tex2D( Input, uv1 );
   float2 d = uv0 - float2( 0.5, 0.5 );
   float fall = saturate( ( length( d ) * 1.41421 - Radius ) / ( 1.5 - Radius + 0.0001 ) );
   return float4( src.rgb * ( 1.0 - Strength * fall ), src.a );
}
void main()
{
   FragColor = Vignette();}
