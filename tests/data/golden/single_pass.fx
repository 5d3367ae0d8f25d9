// Single pass: one input and parameters of every kind.
#include "_utils.fx"
DeclareQuillframeEffect( "Grade", "Colour", "Correct", kNoNotes, ScaleAware|HasMaxOutputSize )

DeclareInput( Input )

DeclareFloatParamAnimated( Amount, "Amount", "Basic", DisplayAsPercentage, 0.5, 0, 1 )
DeclareFloatParam( Angle, "Angle", kNoGroup, SpecifiesAngle|Hidden, 12.345678, -180, 180 )
DeclareIntParam( Mode, "Mode", kNoGroup, 2, "Luma|Chroma|Both" )
DeclareBoolParam( Invert, "Invert", kNoGroup, TRUE )
DeclareColourParam( Lift, "Lift", "Wheels", SpecifiesColourOffset, 0.1, 0.2, 0.3 )
DeclareFloat4Param( Gain, "Gain", "Wheels", SupportsAlpha, 1, 0.9, 0.8, 0.5 )
DeclareFloat3Param( Weights )
DeclareFloat3x3Param( Matrix )
DeclareFloatParam( _scratch )

float taps[3] = { 0.25, 0.5, 0.25 };

DeclareEntryPoint( Grade )
{
   float4 src = tex2D( Input, uv1 );
   float3 rgb = mul( src.rgb, Matrix ) * Gain.rgb + Lift.rgb;
   if ( Invert ) rgb = 1.0 - rgb;
   return float4( lerp( src.rgb, rgb, Amount ), src.a );
}
