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

// The pixel of a sampler at a texture coordinate, without filtering effects.
#define ReadPixel(s, uv) tex2D(s, uv)

float luma709(float3 rgb)
{
   return dot(rgb, float3(0.2126, 0.7152, 0.0722));
}

#endif
