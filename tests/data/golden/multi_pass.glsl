
out vec4 FragColor;

uniform sampler2D Input;
uniform float Radius=2;

uniform sampler2D Horizontal;vec4 Horizontal_pass()
{
   return tex2D( Input, uv1 + float2( Radius / _OUTPUTWIDTH, 0 ) );
}

uniform sampler2D Vertical;vec4 Vertical_pass()
{
   return tex2D( Horizontal, uv0 + float2( 0, Radius / _OUTPUTHEIGHT ) );
}

vec4 Blurred()
{
   return tex2D( Vertical, uv0 );
}

vec4 Copy()
{
   return tex2D( Input, uv1 );
}
uniform int _passCount0=3;uniform int _passCount1=1;uniform int _entryPoint=0;
void main()
{
   switch ( _entryPoint )
   {
      case 0: FragColor = Horizontal_pass(); break;
      case 1: FragColor = Vertical_pass(); break;
      case 2: FragColor = Blurred(); break;
      case 3: FragColor = Copy(); break;
   }
}
