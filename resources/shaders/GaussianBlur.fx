// GaussianBlur: a separable Gaussian blur in two passes, first across the
// rows into an intermediate texture, then down the columns of that texture.
DeclareQuillframeEffect( "Gaussian Blur", "Blurs", "Blur", kNoNotes, ScaleAware )

DeclareInput( Input, Linear, ClampToEdge )

DeclareFloatParamAnimated( Radius, "Radius", kNoGroup, kNoFlags, 2, 0, 20 )

// Nine taps, the centre and four each side; the weights add up to 1.
DeclarePass( Horizontal )
{
   float weights[5] = { 0.2270270, 0.1945946, 0.1216216, 0.0540541, 0.0162162 };
   float2 delta = float2( Radius / ( 4.0 * _OUTPUTWIDTH ), 0.0 );
   float4 sum = tex2D( Input, uv1 ) * weights[0];
   for ( int i = 1; i < 5; i++ )
   {
      sum += tex2D( Input, uv1 + delta * float( i ) ) * weights[i];
      sum += tex2D( Input, uv1 - delta * float( i ) ) * weights[i];
   }
   return sum;
}

// The intermediate texture spans the output, so it is read through uv0.
DeclareEntryPoint( Vertical )
{
   float weights[5] = { 0.2270270, 0.1945946, 0.1216216, 0.0540541, 0.0162162 };
   float2 delta = float2( 0.0, Radius / ( 4.0 * _OUTPUTHEIGHT ) );
   float4 sum = tex2D( Horizontal, uv0 ) * weights[0];
   for ( int i = 1; i < 5; i++ )
   {
      sum += tex2D( Horizontal, uv0 + delta * float( i ) ) * weights[i];
      sum += tex2D( Horizontal, uv0 - delta * float( i ) ) * weights[i];
   }
   return sum;
}
