
out vec4 FragColor;

uniform sampler2D Input;

uniform float Amount=0.5;
uniform float Angle=12.345678;
uniform int Mode=2;
uniform bool Invert=true;
uniform vec4 Lift;
uniform vec4 Gain;
uniform vec3 Weights;
uniform mat3 Matrix;
uniform float _scratch=0;

float taps[3] = float[]( 0.25, 0.5, 0.25  );

vec4 Grade()
{
   float4 src = tex2D( Input, uv1 );
   float3 rgb = mul( src.rgb, Matrix ) * Gain.rgb + Lift.rgb;
   if ( Invert ) rgb = 1.0 - rgb;
   return float4( lerp( src.rgb, rgb, Amount ), src.a );
}
void main()
{
   FragColor = Grade();}
