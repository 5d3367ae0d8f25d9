// Helpers shared by every effect compiled as GLSL.
//
// The GPU service places this text after "#version 450 core" and before the
// texture coordinates and the generated effect text, so that effect code
// written in the HLSL-style vocabulary of the effect language compiles as
// GLSL too. _utils.fx holds the same helpers for Cg effect text; keep the two
// in step.

// The special parameters, written by the host at every draw.
uniform float _OUTPUTWIDTH;
uniform float _OUTPUTHEIGHT;
uniform float _OUTPUTASPECTRATIO;
uniform float _PROGRESS;
uniform float _OUTPUTFPS;
uniform float _LENGTH;
uniform float _LENGTHFRAMES;

// Types. Note that a float3x3(...) constructor takes columns in GLSL where
// HLSL takes rows: build matrices as parameters rather than in effect code.
#define float2 vec2
#define float3 vec3
#define float4 vec4
#define float2x2 mat2
#define float3x3 mat3
#define float4x4 mat4
#define int2 ivec2
#define int3 ivec3
#define int4 ivec4
#define half float
#define half2 vec2
#define half3 vec3
#define half4 vec4

// Sampling. Every sampler is a sampler2D, or a sampler3D for 3D inputs.
#define tex2D texture
#define tex3D texture

// Functions named differently.
#define lerp mix
#define frac fract
#define rsqrt inversesqrt
#define atan2 atan
#define ddx dFdx
#define ddy dFdy
#define saturate(x) clamp((x), 0.0, 1.0)

// Row vector times matrix (and matrix times column vector) as in HLSL: the
// host uploads each matrix so that v * M here is the v^T M of its rows.
#define mul(a, b) ((a) * (b))

// The texel of a sampler at a texture coordinate, without filtering: the
// texel that contains the coordinate, the nearest edge texel outside.
vec4 ReadPixel(sampler2D s, vec2 uv)
{
   ivec2 size = textureSize(s, 0);
   ivec2 texel = clamp(ivec2(floor(uv * vec2(size))), ivec2(0), size - ivec2(1));
   return texelFetch(s, texel, 0);
}

// Rec. 709 luma of a gamma-encoded RGB colour.
float luma709(vec3 rgb)
{
   return dot(rgb, vec3(0.2126, 0.7152, 0.0722));
}
