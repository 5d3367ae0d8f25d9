// Qf::Image::ColourConversion: pixel-format and colour conversions of GPU
// surfaces, each one draw of a named effect over the whole target.
//
// The effects (resources/shaders/) hold only the per-pixel arithmetic. Every
// colour decision is taken here: the coefficient setters load the matrices and
// offsets that a surface's range and colourimetry call for into the effect's
// parameters before it draws. The byte layouts of the formats, the siting of
// 4:2:2 chroma and what each Filter does are written down in docs/formats.md.
//
// Each operation is one GPUPass (image/GPUPass.h), under the manager's
// shader-usage lock; any thread may call. It returns true once its pass has
// been drawn, and otherwise logs why and returns false (a missing effect:
// nothing drawn, the destination untouched). Nothing here keeps state of its
// own except the process-wide full-range override.
#pragma once

#include "host/base/LightweightString.h"
#include "host/base/Ptr.h"
#include "host/image/Surface.h"
#include "host/os/ShaderEffect.h"

#include <cstdint>

namespace Qf::Image {

class ColourConversion {
public:
    // The chroma filter of the 4:2:2 conversions; it selects the technique of
    // the 4:2:2 effects (the technique index is the value).
    enum Filter : int32_t {
        eFilterPoint = 0,   // decimation keeps the co-sited pixel; interpolation repeats the left sample
        eFilterLinear = 1,  // [1 2 1] / 4 before decimation; halfway average when interpolating
        eFilterLowPass = 2, // half-band [-1 0 9 16 9 0 -1] / 32; 4-tap [-1 9 9 -1] / 16 interpolation
    };
    // How Y'CrCb becomes RGB: eGamutFull (1) expands legal levels to full-range
    // RGB; any other value keeps legal levels (16/256..235/256).
    enum GamutScaling : int32_t { eGamutLegal = 0, eGamutFull = 1 };

    // --- the framework ---

    // The compiled shader of the effect named `name`, or null.
    static Ptr<iShaderEffect> getShader(const LightweightString<char>& name);
    // One pass of `effect` from `src` into `dst`'s GPU image. Writes "_Width"
    // and "_Height" (the source's size) and binds the source three times:
    // "Input", and its left and right neighbours "Input2" and "Input3", one
    // pixel apart even where a texel packs several pixels. The float is ignored.
    static bool applyShader(Ptr<iShaderEffect>& effect, const Surface& src, Surface& dst, float = 0);
    static bool applyShader(const LightweightString<char>& name, const Surface& src, Surface& dst, float = 0);

    // --- RGB and Y'CrCb ---
    //
    // RGB surfaces are "RGBA" (8 or 16 bits), "RGBh" or "RGBf". A 4:2:2
    // Y'CrCb surface is "YUY2" (8 bits, or 10/16 bits in 16-bit words); the
    // 4:2:2-to-RGB conversion also reads "UYVY". A 4:4:4 Y'CrCb surface is an
    // RGBA-texel surface whose components hold Y', Cr, Cb and alpha. A
    // destination without a GPU image gets one of its described layout.
    // Coefficients: forward from the source's range and the destination's
    // range and colourimetry; inverse from the source's colourimetry and range.

    static bool convertRGBToYCrCb422(const Surface& src, Surface& dst, Filter filter);
    static bool convertRGBToYCrCb444(const Surface& src, Surface& dst, Filter filter);
    static bool convertYCrCb422ToRGB(const Surface& src, Surface& dst, GamutScaling gamutScaling, Filter filter);
    static bool convertYCrCb444ToRGB(const Surface& src, Surface& dst, GamutScaling gamutScaling, Filter filter);

    // The coefficient setters. Forward (RGB to Y'CrCb) sets "coefsMul",
    // "coefsAdd", "coefsMulY" and "coefsAddY"; inverse sets "ccCoefsAdd1",
    // "ccCoefsMul2" and "ccCoefsAdd3". A combination that the tables do not
    // hold sets nothing, and the effect keeps what the previous conversion left.
    static void setForwardCoefficients(iShaderEffect& effect, uint32_t srcRange, uint32_t dstRange, uint32_t dstColourimetry);
    static void setInverseCoefficients(iShaderEffect& effect, uint32_t srcColourimetry, uint32_t srcRange, int32_t gamutScaling);

    // When set, the Y'CrCb side of every conversion is taken as full range
    // (range code 1) whatever its surface says. Process-wide; off by default.
    static void setFullRangeOverride(bool on);
    static bool getFullRangeOverride();

    // --- ten-bit packed formats ---

    // "YUY2" 4:2:2 (10 bits in 16-bit words, or 8 bits) into a new "M101"
    // GPU image of ((W x 10) >> 4) x H texels; `dst` becomes its description.
    static bool packMatrox10BitFormat(const Surface& src, Surface& dst);
    // "M101" into the destination's GPU image as "YUY2": its 8 most
    // significant bits into an 8-bit destination, all 10 otherwise.
    static bool unpackMatrox10BitFormat(const Surface& src, Surface& dst);
    // "DVS1" into the destination's GPU image as "YUY2" at the destination's
    // depth; the destination's description is left as the caller set it.
    static bool unpackDvs10BitFormat(const Surface& src, Surface& dst);

    // --- other conversions ---

    // Copies the source's components `from` into the destination's `to`
    // ("bgra" -> "rgba" swaps red and blue), flipping vertically when `flip`;
    // through the manager's cached reorder effects. The destination keeps
    // its description (given one) or takes the source's.
    static bool reorderComponents(const Surface& src, Surface& dst, const LightweightString<char>& from,
                                  const LightweightString<char>& to, bool flip = false);
    // One component ('r', 'g', 'b' or 'a') of the source into all four of the destination's.
    static bool channelExpand(const Surface& src, Surface& dst, char component);
    // "BGRA" or "ARGB" into "RGBA" of the same depth (an "RGBA" source is copied).
    static bool convertToRGBA(const Surface& src, Surface& dst);
    // Planar "RGBP" into "RGBA" (alpha 1).
    static bool planarRGBToARGB(const Surface& src, Surface& dst);
    // Planar "444P" Y'CbCr into "RGBA", with the inverse coefficients of the
    // source's colourimetry and range and `gamutScaling`.
    static bool planarYUVToARGB(const Surface& src, Surface& dst, GamutScaling gamutScaling = eGamutFull);
    // The source's GPU image into host memory of `dst`, described as the
    // source is ("RGBA"-family and 4:2:2 Y'CbCr surfaces respectively).
    static bool copyToHostRGBSurface(const Surface& src, Surface& dst);
    static bool copyToHostYUVSurface(const Surface& src, Surface& dst);
};

} // namespace Qf::Image
