// Helpers of the LUT tests: .cube text written independently of the reader,
// CPU reference interpolations, and temporary directories.
#pragma once

#include "host/image/HostImage.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>

namespace QfLUTTest {

using RGB = std::array<float, 3>;

inline std::string number(float v) {
    char buffer[32];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, v).ptr;
    return std::string(buffer, end);
}

// A 3D table of side n whose entry at (r, g, b) indices is f(r, g, b), red fastest.
inline std::string cube3D(int n, const std::function<RGB(int, int, int)>& f) {
    std::string text = "LUT_3D_SIZE " + std::to_string(n) + "\n";
    for (int b = 0; b < n; ++b)
        for (int g = 0; g < n; ++g)
            for (int r = 0; r < n; ++r) {
                const RGB v = f(r, g, b);
                text += number(v[0]) + " " + number(v[1]) + " " + number(v[2]) + "\n";
            }
    return text;
}

inline std::string identity3D(int n) {
    const float s = 1.0f / float(n - 1);
    return cube3D(n, [s](int r, int g, int b) { return RGB{r * s, g * s, b * s}; });
}

// Random entries: the steepest table there is, where interpolation methods differ most.
inline std::string noise3D(int n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> value(0.0f, 1.0f);
    return cube3D(n, [&](int, int, int) { return RGB{value(rng), value(rng), value(rng)}; });
}

inline RGB entry(const HostImage3D& lut, int r, int g, int b) {
    const float* t = lut.texel(r, g, b);
    return {t[0], t[1], t[2]};
}

// The lattice cell of a colour as the mapping places it: the cell's lowest
// corner `at` and the fractions `f` across it.
inline void cell(const HostImage3D& lut, const LUTMapping& m, const RGB& rgb, int at[3], float f[3]) {
    for (size_t c = 0; c < 3; ++c) {
        const float p = std::clamp(rgb[c] * m.inScale[c] + m.inOffset[c], 0.0f, 1.0f) * float(lut.getWidth() - 1);
        at[c] = std::min(int(p), lut.getWidth() - 2);
        f[c] = p - float(at[c]);
    }
}

inline RGB output(const LUTMapping& m, RGB v) {
    for (float& c : v) c = c * m.outScale + m.outOffset;
    return v;
}

// Trilinear: the eight corners of the cell, each weighted by the product of
// its fractions.
inline RGB trilinear(const HostImage3D& lut, const LUTMapping& m, const RGB& rgb) {
    int at[3];
    float f[3];
    cell(lut, m, rgb, at, f);
    RGB out{};
    for (int corner = 0; corner < 8; ++corner) {
        const int up[3] = {corner & 1, (corner >> 1) & 1, (corner >> 2) & 1};
        const float w = (up[0] ? f[0] : 1 - f[0]) * (up[1] ? f[1] : 1 - f[1]) * (up[2] ? f[2] : 1 - f[2]);
        const RGB e = entry(lut, at[0] + up[0], at[1] + up[1], at[2] + up[2]);
        for (size_t c = 0; c < 3; ++c) out[c] += w * e[c];
    }
    return output(m, out);
}

// Tetrahedral: from the cell's 000 corner, step along the axes in order of
// decreasing fraction; the weights are the differences of the sorted fractions.
inline RGB tetrahedral(const HostImage3D& lut, const LUTMapping& m, const RGB& rgb) {
    int at[3];
    float f[3];
    cell(lut, m, rgb, at, f);
    int order[3] = {0, 1, 2};
    std::stable_sort(order, order + 3, [&](int a, int b) { return f[a] > f[b]; });
    RGB out{};
    float previous = 1;
    auto add = [&](float w) {
        const RGB e = entry(lut, at[0], at[1], at[2]);
        for (size_t c = 0; c < 3; ++c) out[c] += w * e[c];
    };
    for (int k = 0; k < 3; ++k) {
        add(previous - f[order[k]]);
        previous = f[order[k]];
        ++at[order[k]];
    }
    add(previous);
    return output(m, out);
}

// A fresh directory under the system's temporary directory, removed at the end.
class TempDir {
public:
    TempDir() {
        static std::mt19937_64 rng(std::random_device{}());
        m_path = std::filesystem::temp_directory_path() / ("qffx-luts-" + std::to_string(rng()));
        std::filesystem::create_directories(m_path);
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(m_path, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string path() const { return m_path.string() + "/"; }
    std::string write(const std::string& name, const std::string& text) const {
        const std::string file = path() + name;
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file, std::ios::binary) << text;
        return file;
    }

private:
    std::filesystem::path m_path;
};

} // namespace QfLUTTest
