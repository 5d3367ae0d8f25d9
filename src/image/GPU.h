// Qf::Image::GPU: image operations that run effects on surfaces' GPU images.
//
// Each operation is static and one GPUPass (image/GPUPass.h), under the
// manager's shader-usage lock; any thread may call. When it cannot run (no
// GPU service, a missing effect, an unsuitable surface) it logs why, returns
// false and leaves the destination as it was.
//
// "RGBA surfaces" below are "RGBA" (8 or 16 bits), "RGBh" and "RGBf"
// surfaces with a GPU image. Unless an operation says otherwise, its result
// goes into the destination's GPU image when that has the result's size and
// texel format (and is not the source's image); otherwise the destination
// becomes a new GPU surface (Surface::forGPUImage) holding the result. The
// effects other than "ApplyCubeLUT" are written here and compiled at their
// first use (Manager::createShaderFromCode), under names beginning with "_".
#pragma once

#include "host/base/Ptr.h"
#include "host/image/HostImage.h"
#include "host/image/Surface.h"
#include "host/os/GPUImage.h"

#include "host/base/LightweightString.h"

#include <cstdint>

namespace Qf::Image {

class GPU {
public:
    enum eLUTInterpolation : int32_t { eTrilinear = 0, eTetrahedral = 1 };
    // The field of a frame by its rows: the upper field holds rows 0, 2,
    // 4, ... counted from the top, the lower field rows 1, 3, 5, ...
    enum eField : int32_t { eUpperField = 0, eLowerField = 1 };

    // --- solid surfaces ---

    // A `size` picture of opaque black (0, 0, 0, 1), or of `colour` (straight
    // RGBA, 0..1; float formats keep values outside it), in `format`. The
    // result is full-range RGB with default metadata otherwise.
    static bool createBlackSurface(Surface& destination, XY<int> size, iGPUImage::eFormat format = iGPUImage::eRGBA8);
    static bool createColourSurface(Surface& destination, XY<int> size, const RGBAf& colour,
                                    iGPUImage::eFormat format = iGPUImage::eRGBA8);

    // --- derived pictures of an RGBA surface ---

    // Luma of each pixel into R, G and B, alpha kept: Y' = Kr R + Kg G + Kb B
    // with the weights of the source's colourimetry (BT.601, BT.709, BT.2020
    // for the three BT.2020/2100 codes, DCI-P3, P3-D65; BT.709 for unknown
    // codes), computed on the gamma-encoded values as Y'CbCr encoding does.
    static bool createGreyscaleImage(const Surface& source, Surface& destination);
    // A mask of the pixels that hide what lies beneath: opaque white where
    // the source's alpha is at least 1 less half an 8-bit code, transparent
    // black elsewhere. Always an RGBA8 image of the source's size.
    static bool createOpaqueMask(const Surface& source, Surface& destination);

    // --- scaling ---

    // The source stretched to `size` (each side 1 to the service's limit)
    // with bilinear filtering and edge texels repeated past the border.
    // Meant for changes of up to 2:1 down; shrink() reduces further without
    // aliasing.
    static bool resize(const Surface& source, Surface& destination, XY<int> size);
    // Box-filter reduction: each destination pixel is the plain average of a
    // `factor` x `factor` block of source pixels (factor 1 to 16). The result
    // is ceil(W / factor) x ceil(H / factor); blocks cut by the right or
    // bottom edge average the pixels they hold.
    static bool shrink(const Surface& source, Surface& destination, int factor);

    // --- interlaced pictures ---

    // Replaces the rows of `field` in the destination with the source's rows
    // of that field, keeping the destination's other field: how two frames
    // are woven into one interlaced frame. Rows are the GPU images' rows, so
    // any surface format works, but the two GPU images must have the same
    // size and texel format. The destination's GPU image is replaced by a new
    // one (others sharing the old image do not see the change); its
    // description and metadata are kept.
    static bool copyField(const Surface& source, Surface& destination, eField field);

    // --- activity ---

    // One line saying what an operation does to which surfaces, for the
    // editor's activity log and GPU timing labels, for example
    // "resize 1920x1080 RGBA 8-bit (GPU) -> 960x540 RGBA 8-bit (GPU)". A
    // surface without a GPU image says "(host)", an empty one "empty". No
    // GPU work is done.
    static LightweightString<char> describeActivity(const char* operation, const Surface& source, const Surface& destination);

    // Maps each pixel of `source` through `lut` (a cube-shaped 3D image, as
    // LUTManager::load gives) into `destination`, addressed as `mapping`
    // says (LUTManager::loadWithMapping gives both). The source must be an
    // RGBA surface ("RGBA", "RGBh" or "RGBf") with a GPU image. The result
    // goes into the destination's GPU image when it has one of the source's
    // size (and is not the source's); otherwise the destination becomes a
    // new GPU surface of the source's size and format. Alpha is kept; video
    // metadata is copied from the source. Uses the effect "ApplyCubeLUT".
    static bool applyLUT(const Surface& source, Surface& destination, const Ptr<iGPUImage>& lut, const LUTMapping& mapping = {},
                         eLUTInterpolation interpolation = eTrilinear);
};

} // namespace Qf::Image
