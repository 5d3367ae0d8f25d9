// Qf::Image::Scopes: the video scopes of a frame, computed by the compute
// kernels of the kernel file Scopes.cl in the shaders directory.
//
// For an RGBA frame it gives the luma histogram (256 levels of BT.709 Y'),
// the red, green and blue histograms, the waveform (per column, the count of
// each Y' level) and the vectorscope (the density of Cb/Cr pairs on a
// 256 x 256 grid). Every pixel is reduced to 8-bit codes first (v * 255,
// rounded to nearest, ties to even, clamped) and Y', Cb and Cr are then
// integer functions of those codes; Scopes.cl writes the exact rules, which
// tests and any CPU reference follow.
//
// The frame is an RGBA surface ("RGBA" at 8 or 16 bits, "RGBh", "RGBf"). Its
// GPU image is used when it has one, else its host pixels; either way the
// texels are copied into a device buffer (a GPU image is read back through
// host memory first). The kernels are built once through the effect manager
// (Manager::getGPUProgram) and kept there.
//
// Errors are values: compute returns false and logs one line saying why (no
// compute context, the kernels do not build, an unsuitable surface). Any
// thread may call; each call uses device memory of its own.
#pragma once

#include "host/base/LightweightString.h"
#include "host/image/Surface.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace Qf::Image {

struct ScopesData {
    static constexpr int kLevels = 256;
    using Histogram = std::array<uint32_t, kLevels>;

    LightweightString<char> device; // the compute device, as iGPUComputeContext describes it
    int width = 0, height = 0;
    Histogram luma{}, red{}, green{}, blue{};
    // width x kLevels: waveform[x * kLevels + level].
    std::vector<uint32_t> waveform;
    // kLevels x kLevels: vectorscope[cr * kLevels + cb].
    std::vector<uint32_t> vectorscope;

    uint32_t waveformAt(int x, int level) const { return waveform[size_t(x) * kLevels + size_t(level)]; }
    uint32_t vectorscopeAt(int cb, int cr) const { return vectorscope[size_t(cr) * kLevels + size_t(cb)]; }
};

class Scopes {
public:
    // The kernel file, read from the shaders directory.
    static constexpr const wchar_t* kKernelFile = L"Scopes.cl";

    // The rules of Scopes.cl on 8-bit component codes, for host code that
    // draws targets or counts on the CPU: Y', Cb and Cr levels.
    static constexpr int lumaOf(int r, int g, int b) { return (2126 * r + 7152 * g + 722 * b + 5000) / 10000; }
    static constexpr int cbOf(int r, int g, int b) {
        return std::min((5000 * b - 1146 * r - 3854 * g + 1285000) / 10000, ScopesData::kLevels - 1);
    }
    static constexpr int crOf(int r, int g, int b) {
        return std::min((5000 * r - 4542 * g - 458 * b + 1285000) / 10000, ScopesData::kLevels - 1);
    }

    // The scopes of `frame` into `out` (replaced whole); false, with a log
    // line, when they cannot be computed (`out` is then left as it was).
    static bool compute(const Surface& frame, ScopesData& out);
};

} // namespace Qf::Image
