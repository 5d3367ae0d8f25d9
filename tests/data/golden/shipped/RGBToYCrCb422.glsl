













out vec4 FragColor;

uniform sampler2D gSourceImage;
uniform sampler2D gSourceImage2;

uniform mat3 coefsMul;
uniform vec4 coefsAdd;
uniform vec4 coefsMulY;
uniform float coefsAddY=0;

float LumaOf( float3 rgb )
{
   return dot( rgb, coefsMulY.xyz ) + coefsAddY;
}


float4 PackPair( float3 left, float3 right, float3 chromaColour )
{
   float3 ycrcb = mul( chromaColour, coefsMul ) + coefsAdd.xyz;
   return float4( LumaOf( left ), ycrcb.z, LumaOf( right ), ycrcb.y );
}


float3 Neighbour( float2 uvLeft, float step, float n )
{
   return tex2D( gSourceImage, float2( uvLeft.x + n * step, uvLeft.y ) ).rgb;
}

vec4 PointChroma()
{
   float3 p0 = tex2D( gSourceImage, uv1 ).rgb;
   float3 p1 = tex2D( gSourceImage2, uv2 ).rgb;
   return PackPair( p0, p1, p0 );
}

vec4 LinearChroma()
{
   float step = uv2.x - uv1.x;
   float3 p0 = tex2D( gSourceImage, uv1 ).rgb;
   float3 p1 = tex2D( gSourceImage2, uv2 ).rgb;
   float3 m1 = Neighbour( uv1, step, -1.0 );
   return PackPair( p0, p1, ( m1 + 2.0 * p0 + p1 ) * 0.25 );
}

vec4 LowPassChroma()
{
   float step = uv2.x - uv1.x;
   float3 p0 = tex2D( gSourceImage, uv1 ).rgb;
   float3 p1 = tex2D( gSourceImage2, uv2 ).rgb;
   float3 m1 = Neighbour( uv1, step, -1.0 );
   float3 m3 = Neighbour( uv1, step, -3.0 );
   float3 p3 = Neighbour( uv1, step, 3.0 );
   return PackPair( p0, p1, ( 16.0 * p0 + 9.0 * ( m1 + p1 ) - ( m3 + p3 ) ) / 32.0 );
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
