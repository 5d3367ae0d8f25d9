// libFuzzer target: arbitrary bytes through the .cube reader. It must never
// crash, never allocate by a size it has not seen rows for, and either give
// a well-formed image of finite values or an error with a line number.
#include "host/image/CubeLUT.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const CubeLUT::Result r = CubeLUT::read(text);
    if (!r.image) {
        if (r.error.empty() || r.line == 0) __builtin_trap();
        return 0;
    }
    const HostImage3D& image = *r.image;
    const LUTMapping& m = image.getLUTMapping();
    const int n = image.getWidth();
    // A shaper before a 3D table makes the image RGBA, its curves in alpha.
    const int channels = m.shaperSize ? 4 : 3;
    if (n < 2 || n > CubeLUT::kMax3DSize || image.getHeight() != n || image.getDepth() != n || image.getChannels() != channels)
        __builtin_trap();
    if (m.shaperSize &&
        (r.is1D || m.shaperSize < 2 || m.shaperSize > r.shaperSize || size_t(m.shaperSize) * 3 > image.getNumTexels()))
        __builtin_trap();
    // Every row of a table takes at least "0 0 0" and a line break.
    if (!r.is1D && image.getNumTexels() * 6 > size + 6) __builtin_trap();
    for (size_t i = 0; i < image.getNumTexels() * size_t(channels); ++i)
        if (!std::isfinite(image.data()[i])) __builtin_trap();
    for (size_t c = 0; c < 3; ++c)
        if (!std::isfinite(m.inScale[c]) || !std::isfinite(m.inOffset[c]) || !std::isfinite(m.latticeScale[c]) ||
            !std::isfinite(m.latticeOffset[c]))
            __builtin_trap();
    return 0;
}
