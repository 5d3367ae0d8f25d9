// The largest images the host makes, in CPU or GPU memory. A size read from
// a file header or given by a caller is checked against these before any
// pixel memory is taken, so that a lying header cannot make us allocate
// gigabytes. 32768 is twice the texture size of most GPUs' 2D limit and
// covers any video frame; 2 GiB bounds one buffer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ImageLimits {
inline constexpr int kMaxDimension = 32768;
inline constexpr size_t kMaxBytes = size_t(1) << 31;
} // namespace ImageLimits
