// Writes its parameters and the special parameters out as colours; each
// technique shows a different group.
DeclareQuillframeEffect( "Params", "Test", "Test", kNoNotes, kNoFlags )

DeclareFloatParam( F, "F", kNoGroup, kNoFlags, 0.25, 0, 1 )
DeclareBoolParam( B, "B", kNoGroup, false )
DeclareIntParam( I, "I", kNoGroup, 3, "a|b|c|d|e" )
DeclareFloat3Param( V3 )
DeclareFloat4Param( V4, "V4", kNoGroup, kNoFlags, 0, 0, 0, 1 )
DeclareFloat3x3Param( M )

DeclareEntryPoint( Scalars )
{
   return float4( F, B ? 1.0 : 0.0, float( I ), 0.0 );
}

DeclareEntryPoint( Vector3 )
{
   return float4( V3, 0.0 );
}

DeclareEntryPoint( Vector4 )
{
   return V4;
}

DeclareEntryPoint( Matrix )
{
   return float4( mul( V3, M ), 0.0 );
}

DeclareEntryPoint( Target )
{
   return float4( _OUTPUTWIDTH, _OUTPUTHEIGHT, _OUTPUTASPECTRATIO, 0.0 );
}

DeclareEntryPoint( Context )
{
   return float4( _PROGRESS, _OUTPUTFPS, _LENGTH, _LENGTHFRAMES );
}
