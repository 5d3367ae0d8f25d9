// RGBToYCrCb444: full-range RGB into Y'CrCb 4:4:4, one pixel a texel:
// r = Y', g = Cr, b = Cb, a = alpha (1 unless the host asks to keep alpha,
// from the preference "Behaviour : ExportAlpha").
//
// The host (ColourConversion::convertRGBToYCrCb444) loads the matrix and
// offsets for the destination's range and colourimetry.
DeclareQuillframeEffect( "RGB to Y'CrCb 4:4:4", "Internal", "Conversion", kNoNotes, kNoFlags )

DeclareInput( gSourceImage, Point, ClampToEdge )

DeclareFloat3x3Param( coefsMul )
DeclareFloat4Param( coefsAdd )
DeclareFloat4Param( coefsMulY )
DeclareFloatParam( coefsAddY )
DeclareFloatParam( Width )
DeclareBoolParam( includeAlpha, "Include alpha", kNoGroup, FALSE )

DeclareEntryPoint( ToYCrCb444 )
{
   float4 src = tex2D( gSourceImage, uv1 );
   float3 ycrcb = mul( src.rgb, coefsMul ) + coefsAdd.xyz;
   return float4( ycrcb, includeAlpha ? src.a + coefsAdd.w : 1.0 );
}
