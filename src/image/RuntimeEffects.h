// Helpers shared by the image operations' .cpp files (not exported): input
// bindings with explicit corner coordinates, and run-time effects compiled
// from text at their first use.
#pragma once

#include "host/base/LightweightString.h"
#include "host/base/Ptr.h"
#include "host/image/Surface.h"
#include "host/os/ShaderEffect.h"

#include <vector>

namespace Qf::Image::detail {

// A binding whose u runs from `left` to `right` (texels of the image) across
// the target and whose v runs from 0 at the top to 1 at the bottom.
ShaderInputBinding spanBinding(const char* name, const Ptr<iGPUImage>& image, float left, float right);

// The shader of the run-time effect `name`: the one the manager already
// files under that name, or `lines` compiled and filed under it now. Null
// when it does not compile (the next call tries again). The caller holds the
// manager's shader-usage lock, which also keeps two threads from compiling
// the same name at once.
Ptr<iShaderEffect> runtimeShader(const char* name, const std::vector<LightweightString<char>>& lines);

// An "RGBA" (8 or 16 bits), "RGBh" or "RGBf" surface: one pixel in one RGBA texel.
bool isRGBASurface(const Surface& surface);

// Parameter writes; false when the effect has no such parameter or the
// value does not fit its type.
bool setFloatParam(iShaderEffect& effect, const char* name, float value);
bool setFloat3Param(iShaderEffect& effect, const char* name, const float* xyz);
bool setFloat4Param(iShaderEffect& effect, const char* name, const float* xyzw);

// Where an operation's result of `size` and `format` goes: the destination's
// GPU image when it is an RGBA surface whose image has that size and format
// and is not `avoid` (the
// source's image: a pass cannot read and write one image), else a new image.
struct DrawTarget {
    Ptr<iGPUImage> image; // null when no image could be made
    bool reused = false;
};
DrawTarget drawTargetFor(const Surface& destination, XY<int> size, iGPUImage::eFormat format, const Ptr<iGPUImage>& avoid);
// After a successful draw: a destination whose image was not reused becomes
// a surface describing the new image.
void adoptDrawTarget(Surface& destination, const DrawTarget& target);

} // namespace Qf::Image::detail
