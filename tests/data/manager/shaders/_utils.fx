// Helpers shared by every effect compiled as Cg-style effect text.
// Included by the generated header line of each effect.

#ifndef QFFX_UTILS_FX
#define QFFX_UTILS_FX

float _OUTPUTWIDTH;
float _OUTPUTHEIGHT;
float _OUTPUTASPECTRATIO;
float _PROGRESS;
float _OUTPUTFPS;
float _LENGTH;
float _LENGTHFRAMES;

// The pixel of a sampler at a texture coordinate. Cg effect text cannot ask a
// sampler for its size, so this reads through the sampler's own filtering:
// an effect that needs exact texels on both paths declares its input Point
// (the GLSL version fetches the texel itself).
#define ReadPixel(s, uv) tex2D(s, uv)

float luma709(float3 rgb)
{
   return dot(rgb, float3(0.2126, 0.7152, 0.0722));
}

#endif
