


out vec4 FragColor;

uniform sampler2D Input;
uniform sampler3D Lut;

uniform float LutSize=33;
uniform float Amount=1;

vec4 ApplyLUT()
{
   float4 src = tex2D( Input, uv1 );

   float3 coord = saturate( src.rgb ) * ( ( LutSize - 1.0 ) / LutSize ) + 0.5 / LutSize;
   float3 mapped = tex3D( Lut, coord ).rgb;
   return float4( lerp( src.rgb, mapped, Amount ), src.a );
}
void main()
{
   FragColor = ApplyLUT();}
