// CPU reference packers and unpackers for the 4:2:2 surface formats, written
// straight from the byte tables of docs/formats.md. The GPU conversion tests
// compare the effects' output with these.
//
// A row of 4:2:2 samples is given as pixel pairs, Cb Y0 Cr Y1 for each pair
// (4 ceil(W/2) values), at the surface's depth: 0..255 for 8 bits, 0..1023
// for 10 bits, 0..65535 for 16 bits.
#pragma once

#include "host/Surface.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace FormatReference {

inline uint32_t loadWord(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline void storeWord(uint8_t* p, uint32_t w) {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(w >> (8 * i));
}

// The position of the samples of one pair inside a 4:2:2 texel.
inline std::vector<int> pairOrder(Format format) {
    if (format == Format::eYUY2) return {1, 0, 3, 2}; // Cb goes to slot 1, Y0 to 0, Cr to 3, Y1 to 2
    return {0, 1, 2, 3};
}

// One row's bytes (minimum stride long).
inline std::vector<uint8_t> pack422(Format format, unsigned bits, uint32_t width, const std::vector<uint16_t>& s) {
    const TexelLayout layout = *texelLayoutFor(format, bits, width, 1);
    std::vector<uint8_t> row(layout.minStride, 0);
    const uint32_t pairs = (width + 1) / 2;
    if (format == Format::eUYVY || format == Format::eYUY2) {
        const std::vector<int> slot = pairOrder(format);
        for (uint32_t p = 0; p < pairs; ++p)
            for (int i = 0; i < 4; ++i) {
                const uint16_t v = s[p * 4 + uint32_t(i)];
                if (bits == 8) {
                    row[p * 4 + uint32_t(slot[size_t(i)])] = uint8_t(v);
                } else {
                    const uint16_t word = bits == 10 ? uint16_t(v << 6 | v >> 4) : v;
                    uint8_t* at = &row[p * 8 + uint32_t(slot[size_t(i)]) * 2];
                    at[0] = uint8_t(word);
                    at[1] = uint8_t(word >> 8);
                }
            }
    } else if (format == Format::eV210) {
        // Pixel-pair samples in stream order already match v210's word order.
        const uint32_t groups = (width + 5) / 6;
        for (uint32_t g = 0; g < groups; ++g)
            for (uint32_t w = 0; w < 4; ++w) {
                uint32_t word = 0;
                for (uint32_t k = 0; k < 3; ++k) {
                    const size_t i = g * 12 + w * 3 + k;
                    word |= uint32_t(i < s.size() ? s[i] : 0) << (10 * k);
                }
                storeWord(&row[(g * 4 + w) * 4], word);
            }
    } else if (format == Format::eM101) {
        const uint32_t groups = (width + 7) / 8;
        std::vector<uint8_t> full(groups * 20, 0);
        for (uint32_t g = 0; g < groups; ++g) {
            uint32_t low = 0;
            for (uint32_t i = 0; i < 16; ++i) {
                const size_t at = g * 16 + i;
                const uint16_t v = at < s.size() ? s[at] : 0;
                full[g * 20 + i] = uint8_t(v >> 2);
                low |= uint32_t(v & 3) << (2 * i);
            }
            storeWord(&full[g * 20 + 16], low);
        }
        std::memcpy(row.data(), full.data(), row.size());
    } else if (format == Format::eDVS1) {
        for (uint32_t w = 0; w < layout.texelsPerRow; ++w) {
            uint32_t word = 0;
            for (uint32_t k = 0; k < 3; ++k) {
                const size_t i = w * 3 + k;
                word |= uint32_t(i < s.size() ? s[i] : 0) << (22 - 10 * k);
            }
            storeWord(&row[w * 4], word);
        }
    }
    return row;
}

// The pairs' samples of one row (4 ceil(W/2) values); bytes missing from a
// cut M101 row read as zero.
inline std::vector<uint16_t> unpack422(Format format, unsigned bits, uint32_t width, const uint8_t* row) {
    const TexelLayout layout = *texelLayoutFor(format, bits, width, 1);
    const uint32_t pairs = (width + 1) / 2;
    std::vector<uint16_t> s(pairs * 4, 0);
    if (format == Format::eUYVY || format == Format::eYUY2) {
        const std::vector<int> slot = pairOrder(format);
        for (uint32_t p = 0; p < pairs; ++p)
            for (int i = 0; i < 4; ++i) {
                if (bits == 8) {
                    s[p * 4 + uint32_t(i)] = row[p * 4 + uint32_t(slot[size_t(i)])];
                } else {
                    const uint8_t* at = &row[p * 8 + uint32_t(slot[size_t(i)]) * 2];
                    const uint16_t word = uint16_t(at[0] | at[1] << 8);
                    s[p * 4 + uint32_t(i)] = bits == 10 ? uint16_t(word >> 6) : word;
                }
            }
    } else if (format == Format::eV210) {
        for (size_t i = 0; i < s.size(); ++i)
            s[i] = uint16_t((loadWord(&row[(i / 3) * 4]) >> (10 * (i % 3))) & 0x3ff);
    } else if (format == Format::eM101) {
        const uint32_t groups = (width + 7) / 8;
        std::vector<uint8_t> full(groups * 20, 0);
        std::memcpy(full.data(), row, layout.minStride);
        for (size_t i = 0; i < s.size(); ++i) {
            const size_t g = i / 16, k = i % 16;
            const uint32_t low = loadWord(&full[g * 20 + 16]);
            s[i] = uint16_t(full[g * 20 + k] << 2 | ((low >> (2 * k)) & 3));
        }
    } else if (format == Format::eDVS1) {
        for (size_t i = 0; i < s.size(); ++i)
            s[i] = uint16_t((loadWord(&row[(i / 3) * 4]) >> (22 - 10 * (i % 3))) & 0x3ff);
    }
    return s;
}

} // namespace FormatReference
