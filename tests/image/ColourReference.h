// CPU reference of the colour conversions, derived from the luma weights and
// the code ranges rather than from the library's tables: full-range RGB in
// 0..1 to Y'CrCb as fractions of 10-bit codes and back, and the 4:2:2 chroma
// filters as docs/formats.md defines them. The GPU tests compare the shipped
// effects with it to within one 10-bit code.
#pragma once

#include "host/image/VideoData.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace ColourReference {

using Vec3 = std::array<double, 3>;

struct Weights {
    double kr, kb;
};
// Kr and Kb of a colourimetry code; BT.709's for codes that name none.
inline Weights weightsOf(uint32_t colourimetry) {
    switch (colourimetry) {
    case Data::Video::eBT601: return {0.299, 0.114};
    case Data::Video::eBT2020:
    case Data::Video::eBT2100HLG:
    case Data::Video::eBT2100PQ: return {0.2627, 0.0593};
    case Data::Video::eDCIP3: return {0.2095, 0.0689};
    case Data::Video::eP3D65: return {0.2290, 0.0793};
    default: return {0.2126, 0.0722};
    }
}

// Legal range on 10-bit codes: luma 64..940 (an excursion of 876/1023 with a
// 1/16 offset on the way in), chroma an excursion of 29/33 around one half.
constexpr double kLumaScale = 876.0 / 1023.0, kChromaScale = 29.0 / 33.0;

// (Y', Cr, Cb) of a full-range RGB colour; `legal` picks the destination range.
inline Vec3 toYCrCb(const Vec3& rgb, uint32_t colourimetry, bool legal) {
    const Weights w = weightsOf(colourimetry);
    const double y = w.kr * rgb[0] + (1 - w.kr - w.kb) * rgb[1] + w.kb * rgb[2];
    const double cr = (rgb[0] - y) / (2 * (1 - w.kr)), cb = (rgb[2] - y) / (2 * (1 - w.kb));
    if (!legal) return {y, cr + 0.5, cb + 0.5};
    return {y * kLumaScale + 0.0625, cr * kChromaScale + 0.5, cb * kChromaScale + 0.5};
}

// Full-range RGB of (Y', Cr, Cb); `legal` is the source's range. With
// `expand` false the result stays at legal levels (876/1023 of the range, 1/16 up).
inline Vec3 toRGB(const Vec3& ycrcb, uint32_t colourimetry, bool legal, bool expand) {
    const Weights w = weightsOf(colourimetry);
    double y = ycrcb[0], cr = ycrcb[1] - 512.0 / 1023, cb = ycrcb[2] - 512.0 / 1023;
    if (legal) {
        y = (y - 64.0 / 1023) / kLumaScale;
        cr /= kChromaScale;
        cb /= kChromaScale;
    }
    const double r = y + 2 * (1 - w.kr) * cr, b = y + 2 * (1 - w.kb) * cb;
    const double g = (y - w.kr * r - w.kb * b) / (1 - w.kr - w.kb);
    if (expand) return {r, g, b};
    return {r * kLumaScale + 0.0625, g * kLumaScale + 0.0625, b * kLumaScale + 0.0625};
}

inline Vec3 mix(const std::vector<Vec3>& px, std::initializer_list<std::pair<int, double>> taps, int at) {
    Vec3 out{0, 0, 0};
    const int last = int(px.size()) - 1;
    for (const auto& [offset, weight] : taps)
        for (int c = 0; c < 3; ++c) out[size_t(c)] += weight * px[size_t(std::clamp(at + offset, 0, last))][size_t(c)];
    return out;
}

// The colour whose chroma pixel `at` (a pair's left pixel) carries, by filter 0, 1, 2.
inline Vec3 decimated(const std::vector<Vec3>& row, int at, int filter) {
    if (filter == 1) return mix(row, {{-1, 0.25}, {0, 0.5}, {1, 0.25}}, at);
    if (filter == 2) return mix(row, {{-3, -1 / 32.0}, {-1, 9 / 32.0}, {0, 16 / 32.0}, {1, 9 / 32.0}, {3, -1 / 32.0}}, at);
    return row[size_t(at)];
}

// The chroma (Cr, Cb in [1], [2]) of pixel x from the pairs' chroma, by filter.
inline Vec3 interpolated(const std::vector<Vec3>& pairs, int x, int filter) {
    const int j = x / 2;
    if (x % 2 == 0 || filter == 0) return pairs[size_t(j)];
    if (filter == 1) return mix(pairs, {{0, 0.5}, {1, 0.5}}, j);
    return mix(pairs, {{-1, -1 / 16.0}, {0, 9 / 16.0}, {1, 9 / 16.0}, {2, -1 / 16.0}}, j);
}

inline double clamp01(double v) { return std::clamp(v, 0.0, 1.0); }

} // namespace ColourReference
