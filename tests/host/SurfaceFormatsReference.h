// CPU reference packer and unpacker for the 4:2:2 surface formats, written
// straight from the byte tables of docs/formats.md; the GPU conversion tests
// compare the effects' output with these. A row's samples are given as pixel
// pairs, Cb Y0 Cr Y1 for each (4 ceil(W/2) values), at the surface's depth.
// Every format stores little-endian units, so a row is read as one stream of
// bits, the lowest bit of byte 0 first.
#pragma once

#include "host/image/PixelFormats.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace FormatReference {

inline uint32_t loadWord(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// Bits [shift, shift + count) of a sample lie at bit `at` of the row.
struct Piece {
    uint32_t at, count, shift;
};
// Where sample i goes; unpacking reads pieces until it has all `bits` bits.
inline std::vector<Piece> piecesOf(Format format, unsigned bits, uint32_t i) {
    const uint32_t e = i / 4 * 4 + (format == Format::eYUY2 ? (i % 4) ^ 1 : i % 4), at = e * (bits == 8 ? 8 : 16);
    if (format == Format::eV210) return {{i / 3 * 32 + 10 * (i % 3), 10, 0}};
    if (format == Format::eDVS1) return {{i / 3 * 32 + 22 - 10 * (i % 3), 10, 0}}; // bits 0-1 stay clear
    if (format == Format::eM101) return {{i / 16 * 160 + i % 16 * 8, 8, 2}, {i / 16 * 160 + 128 + i % 16 * 2, 2, 0}};
    if (bits != 10) return {{at, bits, 0}};
    return {{at + 6, 10, 0}, {at, 6, 4}}; // 10 bits in 16: left-aligned, top bits repeated below
}

// Bytes that the samples of a 4:2:2 row of `width` pixels reach.
inline uint32_t bytesReached(Format format, unsigned bits, uint32_t width) {
    uint32_t end = 0;
    for (uint32_t i = 0; i < (width + 1) / 2 * 4; ++i)
        for (const Piece& p : piecesOf(format, bits, i)) end = std::max(end, p.at + p.count);
    return (end + 7) / 8;
}

// The minimum stride of a row of `width` pixels, from the layouts rather
// than from the library's rules: the bytes the samples reach, in whole GPU
// texels of the format (words for the 10-bit packed formats), v210 rows in
// whole 128-byte (48-pixel) blocks. M101 is cut instead: twenty bits a pixel
// in whole words only, so a last group of fewer than eight pixels loses
// bytes. Interleaved formats take four components a pixel, planar ones a
// plane's row of one byte a pixel in whole four-byte texels. 0 for other
// formats and depths.
inline uint32_t rowBytes(Format format, unsigned bits, uint32_t width) {
    const auto whole = [](uint32_t bytes, uint32_t unit) { return (bytes + unit - 1) / unit * unit; };
    switch (format) {
    case Format::eRGBA:
    case Format::eBGRA:
    case Format::eARGB: return bits == 8 || bits == 16 ? width * 4 * bits / 8 : 0;
    case Format::eRGBAHalf: return bits == 16 ? width * 8 : 0;
    case Format::eRGBAFloat: return bits == 32 ? width * 16 : 0;
    case Format::eUYVY:
    case Format::eYUY2:
        if (bits != 8 && bits != 10 && bits != 16) return 0;
        return whole(bytesReached(format, bits, width), bits == 8 ? 4 : 8);
    case Format::eV210: return bits == 10 ? whole(bytesReached(format, bits, width), 128) : 0;
    case Format::eDVS1: return bits == 10 ? whole(bytesReached(format, bits, width), 4) : 0;
    case Format::eM101: return bits == 10 ? uint32_t(uint64_t(width) * 20 / 32 * 4) : 0;
    case Format::ePlanarRGB:
    case Format::ePlanarYCbCr: return bits == 8 ? whole(width, 4) : 0;
    default: return 0;
    }
}

// A zeroed row with room for whole M101 groups.
inline std::vector<uint8_t> scratchRow(uint32_t stride, uint32_t width) {
    return std::vector<uint8_t>(std::max<size_t>(stride, (width + 7) / 8 * 20), 0);
}

// One row's bytes, minimum stride long; an M101 row whose width is not a
// multiple of 8 is cut there, losing the partial group's low bits.
inline std::vector<uint8_t> pack422(Format format, unsigned bits, uint32_t width, const std::vector<uint16_t>& s) {
    const uint32_t stride = rowBytes(format, bits, width);
    std::vector<uint8_t> row = scratchRow(stride, width);
    for (uint32_t i = 0; i < s.size(); ++i)
        for (const Piece& p : piecesOf(format, bits, i))
            for (uint32_t b = 0; b < p.count; ++b)
                row[(p.at + b) / 8] |= uint8_t((s[i] >> (p.shift + b) & 1) << ((p.at + b) % 8));
    row.resize(stride);
    return row;
}

// The samples of one row; bytes missing from a cut M101 row read as zero.
inline std::vector<uint16_t> unpack422(Format format, unsigned bits, uint32_t width, const uint8_t* bytes) {
    const uint32_t stride = rowBytes(format, bits, width);
    std::vector<uint8_t> row = scratchRow(stride, width);
    std::copy(bytes, bytes + stride, row.begin());
    std::vector<uint16_t> s((width + 1) / 2 * 4, 0);
    for (uint32_t i = 0; i < s.size(); ++i) {
        uint32_t got = 0;
        for (const Piece& p : piecesOf(format, bits, i))
            for (uint32_t b = 0; b < p.count && got < bits; ++b, ++got)
                s[i] = uint16_t(s[i] | (row[(p.at + b) / 8] >> ((p.at + b) % 8) & 1) << (p.shift + b));
    }
    return s;
}

} // namespace FormatReference
