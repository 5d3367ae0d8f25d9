
out vec4 FragColor;

uniform sampler2D Fg;
uniform sampler2D Bg;
uniform sampler2D Tile;
uniform sampler2D Edge;
uniform sampler2D Fold;
uniform sampler3D Lut;
uniform sampler2D Extra1;uniform sampler2D Extra2;
uniform sampler2D Mask;

vec4 QfMain()
{
   float4 a = tex2D( Fg, uv1 ) + tex2D( Bg, uv2 ) + tex2D( Tile, uv3 ) + tex2D( Edge, uv4 ) + tex2D( Fold, uv5 );
   float4 b = tex3D( Lut, a.rgb ) + tex2D( Extra1, uv6 ) + tex2D( Extra2, uv7 );
   return lerp( a, b, tex2D( Mask, uv8 ).a );
}
void main()
{
   FragColor = QfMain();}
