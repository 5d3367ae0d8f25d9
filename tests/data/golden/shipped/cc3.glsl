



out vec4 FragColor;

uniform sampler2D Input;

uniform vec4 Lift;
uniform vec4 Gamma;
uniform vec4 Gain;

vec4 ThreeWay()
{
   float4 src = tex2D( Input, uv1 );
   float3 lifted = src.rgb + Lift.rgb * ( float3( 1.0, 1.0, 1.0 ) - src.rgb );
   float3 graded = saturate( Gain.rgb * lifted );
   float3 g = max( Gamma.rgb, float3( 0.01, 0.01, 0.01 ) );
   return float4( pow( graded, float3( 1.0, 1.0, 1.0 ) / g ), src.a );
}
void main()
{
   FragColor = ThreeWay();}
