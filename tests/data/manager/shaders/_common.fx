// An include file: never an effect of its own.
float3 common_luma( float3 c ) { return c; }
