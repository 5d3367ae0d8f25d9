













out vec4 FragColor;

uniform sampler2D gSourceImage;
uniform sampler2D gSourceImage2;
uniform sampler2D gSourceImage3;
uniform sampler2D gSourceImage4;

uniform vec4 ccCoefsAdd1;
uniform mat3 ccCoefsMul2;
uniform vec4 ccCoefsAdd3;
uniform float gIterHelp2Step=0;

float2 CrCbOf( float4 t )
{
   return float2( t.a, t.g );
}

float LumaOf( float4 t, bool right )
{
   return right ? t.b : t.r;
}

bool IsRightPixel( float2 uv )
{
   return frac( uv.x * gIterHelp2Step ) >= 0.5;
}

float4 ToRGB( float luma, float2 crcb )
{
   float3 c = float3( luma, crcb.x, crcb.y ) + ccCoefsAdd1.xyz;
   return float4( mul( c, ccCoefsMul2 ) + ccCoefsAdd3.xyz, 1.0 );
}






vec4 PointChroma()
{
   float4 t = tex2D( gSourceImage, uv1 );
   return ToRGB( LumaOf( t, IsRightPixel( uv1 ) ), CrCbOf( t ) );
}

vec4 LinearChroma()
{
   float4 t = tex2D( gSourceImage, uv1 );
   bool right = IsRightPixel( uv1 );
   float2 c = CrCbOf( t );
   float2 between = ( c + CrCbOf( tex2D( gSourceImage3, uv3 ) ) ) * 0.5;
   return ToRGB( LumaOf( t, right ), right ? between : c );
}

vec4 LowPassChroma()
{
   float4 t = tex2D( gSourceImage, uv1 );
   bool right = IsRightPixel( uv1 );
   float2 c = CrCbOf( t );
   float2 before = CrCbOf( tex2D( gSourceImage2, uv2 ) );
   float2 next = CrCbOf( tex2D( gSourceImage3, uv3 ) );
   float2 after = CrCbOf( tex2D( gSourceImage4, uv4 ) );
   float2 between = ( 9.0 * ( c + next ) - ( before + after ) ) / 16.0;
   return ToRGB( LumaOf( t, right ), right ? between : c );
}
uniform int _passCount0=1;uniform int _passCount1=1;uniform int _passCount2=1;uniform int _entryPoint=0;
void main()
{
   switch ( _entryPoint )
   {
      case 0: FragColor = PointChroma(); break;
      case 1: FragColor = LinearChroma(); break;
      case 2: FragColor = LowPassChroma(); break;
   }
}
