

out vec4 FragColor;

uniform sampler2D Input;

uniform float Radius=2;


uniform sampler2D Horizontal;vec4 Horizontal_pass()
{
   float weights[5] = float[]( 0.2270270, 0.1945946, 0.1216216, 0.0540541, 0.0162162  );
   float2 delta = float2( Radius / ( 4.0 * _OUTPUTWIDTH ), 0.0 );
   float4 sum = tex2D( Input, uv1 ) * weights[0];
   for ( int i = 1; i < 5; i++ )
   {
      sum += tex2D( Input, uv1 + delta * float( i ) ) * weights[i];
      sum += tex2D( Input, uv1 - delta * float( i ) ) * weights[i];
   }
   return sum;
}


vec4 Vertical()
{
   float weights[5] = float[]( 0.2270270, 0.1945946, 0.1216216, 0.0540541, 0.0162162  );
   float2 delta = float2( 0.0, Radius / ( 4.0 * _OUTPUTHEIGHT ) );
   float4 sum = tex2D( Horizontal, uv0 ) * weights[0];
   for ( int i = 1; i < 5; i++ )
   {
      sum += tex2D( Horizontal, uv0 + delta * float( i ) ) * weights[i];
      sum += tex2D( Horizontal, uv0 - delta * float( i ) ) * weights[i];
   }
   return sum;
}
uniform int _passCount0=2;uniform int _entryPoint=0;
void main()
{
   switch ( _entryPoint )
   {
      case 0: FragColor = Horizontal_pass(); break;
      case 1: FragColor = Vertical(); break;
   }
}
