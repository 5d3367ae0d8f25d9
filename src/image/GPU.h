// Qf::Image::GPU: image operations that run effects on surfaces' GPU images.
//
// Each operation is static, returns false when it cannot run (no GPU
// service, a missing effect, an unsuitable surface), and leaves the
// destination as it was then. Effects are shared, so each operation holds
// one lock while it sets the effect's parameters and draws.
#pragma once

#include "host/GPUImage.h"
#include "host/HostImage.h"
#include "host/Ptr.h"
#include "host/Surface.h"

#include <cstdint>

namespace Qf::Image {

class GPU {
public:
    enum eLUTInterpolation : int32_t { eTrilinear = 0, eTetrahedral = 1 };

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
