// YCrCb444ToRGB: Y'CrCb 4:4:4 (r = Y', g = Cr, b = Cb, a = alpha) into RGB.
// Alpha goes through with the offsets' alpha terms when the host asks to
// keep it ("Behaviour : ExportAlpha"), and is 1 otherwise.
//
// The host (ColourConversion::convertYCrCb444ToRGB) loads the inverse
// matrices for the source's range and colourimetry; gIterHelp2Step (the
// source's width in texels) is set for symmetry with the 4:2:2 effects.
DeclareQuillframeEffect( "Y'CrCb 4:4:4 to RGB", "Internal", "Conversion", kNoNotes, kNoFlags )

DeclareInput( gSourceImage, Point, ClampToEdge )

DeclareFloat4Param( ccCoefsAdd1 )
DeclareFloat3x3Param( ccCoefsMul2 )
DeclareFloat4Param( ccCoefsAdd3 )
DeclareFloatParam( gIterHelp2Step )
DeclareBoolParam( includeAlpha, "Include alpha", kNoGroup, FALSE )

DeclareEntryPoint( ToRGB444 )
{
   float4 c = tex2D( gSourceImage, uv1 ) + ccCoefsAdd1;
   float3 rgb = mul( c.xyz, ccCoefsMul2 ) + ccCoefsAdd3.xyz;
   return float4( rgb, includeAlpha ? c.w + ccCoefsAdd3.w : 1.0 );
}
