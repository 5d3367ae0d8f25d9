// cc3: the three-way colour corrector. Per channel, lift raises the blacks
// (leaving white where it is), gain scales towards white, and gamma bends
// the mid-tones:  out = pow(saturate(gain * (x + lift * (1 - x))), 1 / gamma).
// The GPU diagnostics time this effect as a typical one-pass colour effect.
DeclareQuillframeEffect( "cc3", "Colour", "Correction", kNoNotes, CanSize )

DeclareInput( Input )

DeclareColourParam( Lift, "Lift", kNoGroup, SpecifiesColourOffset, 0, 0, 0, 1 )
DeclareColourParam( Gamma, "Gamma", kNoGroup, kNoFlags, 1, 1, 1, 1 )
DeclareColourParam( Gain, "Gain", kNoGroup, kNoFlags, 1, 1, 1, 1 )

DeclareEntryPoint( ThreeWay )
{
   float4 src = tex2D( Input, uv1 );
   float3 lifted = src.rgb + Lift.rgb * ( float3( 1.0, 1.0, 1.0 ) - src.rgb );
   float3 graded = saturate( Gain.rgb * lifted );
   float3 g = max( Gamma.rgb, float3( 0.01, 0.01, 0.01 ) );
   return float4( pow( graded, float3( 1.0, 1.0, 1.0 ) / g ), src.a );
}
