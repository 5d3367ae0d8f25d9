// The catalogue of pixel formats: for every format the library knows, its
// four-character code, the depths it comes in, the GPU texels it is stored
// in and the rule that turns a row's width in pixels into texels. Surface,
// the image operations and qffx's frame codecs all read these facts here;
// docs/formats.md describes the byte layouts behind them.
//
// Formats are four-character codes stored with the first character in the
// lowest byte ("M101" is 0x3130314d, "UYVY" 0x59565955). The format together
// with the bits per component decides the layout (8-bit "UYVY" keeps a pixel
// pair in one RGBA8 texel, 16-bit "UYVY" in one RGBA16 texel).
#pragma once

#include "host/os/GPUImage.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

constexpr uint32_t fourCC(const char (&code)[5]) {
    return uint32_t(uint8_t(code[0])) | uint32_t(uint8_t(code[1])) << 8 | uint32_t(uint8_t(code[2])) << 16 |
           uint32_t(uint8_t(code[3])) << 24;
}

enum class Format : uint32_t {
    eNone = 0,
    // Interleaved RGB with alpha; 8 or 16 bits per component, unsigned normalised.
    eRGBA = fourCC("RGBA"),
    eBGRA = fourCC("BGRA"),
    eARGB = fourCC("ARGB"),
    // Interleaved RGBA, 16-bit half float and 32-bit float components.
    eRGBAHalf = fourCC("RGBh"),
    eRGBAFloat = fourCC("RGBf"),
    // Y'CbCr 4:2:2, two pixels to a texel; 8, 10 (in 16-bit words) or 16 bits.
    eUYVY = fourCC("UYVY"),
    eYUY2 = fourCC("YUY2"),
    // Y'CbCr 4:2:2, 10-bit samples packed into 32-bit words.
    eV210 = fourCC("v210"),
    eM101 = fourCC("M101"),
    eDVS1 = fourCC("DVS1"),
    // Planar 4:4:4, 8 bits: three full-size planes one after another.
    ePlanarRGB = fourCC("RGBP"),
    ePlanarYCbCr = fourCC("444P"),
};

constexpr Format formatFromFourCC(const char (&code)[5]) { return Format(fourCC(code)); }
// "UYVY" from Format::eUYVY; characters outside printable ASCII become '?'.
std::string formatName(Format format);
// The format of a four-character name; eNone unless the text has four characters.
Format formatFromName(std::string_view name);

// How a format arranges its pixels.
enum class ePixelPacking : uint8_t {
    eUnknown = 0,
    eInterleaved, // one pixel in one texel
    ePacked422,   // two pixels (a Y' pair with one Cb and one Cr) in one texel
    ePacked10Bit, // 10-bit samples packed into 32-bit words (texels of four bytes)
    ePlanar,      // one 8-bit plane per component; four samples in one texel
};

struct FormatDescription {
    Format format = Format::eNone;
    ePixelPacking packing = ePixelPacking::eUnknown;
    bool isYCbCr = false;
    bool isFloat = false;
    // The depth a surface gets when none is asked for.
    uint16_t defaultBitsPerComponent = 0;
};
// The library's description of a known format; null for other codes.
const FormatDescription* describeFormat(Format format);
// Every known format, in the catalogue's order.
std::span<const FormatDescription> knownFormats();

// Bits per pixel of a known format at a depth; 0 when the format does not
// come in that depth (or is unknown). The 10-bit packed formats give a
// nominal 20 (v210 and DVS1 pad beyond it).
uint16_t bitsPerPixelFor(Format format, unsigned bitsPerComponent);

// Width in texels of one row of `widthInPixels` pixels (of one plane, for
// the planar formats); the same at every depth. 0 for an unknown format.
// The packed formats each have their own rule: v210 rows are whole 48-pixel
// blocks, M101 rows are (W x 10) >> 4 words in 32-bit arithmetic (a last
// group of fewer than eight pixels is cut), DVS1 rows are whole words of
// three samples.
uint32_t texelsPerRowFor(Format format, uint32_t widthInPixels);

// Whole pixels in one texel, as the conversion framework counts them: texel
// bits / bits per pixel in integer division, 0 when bits per pixel is 0.
// That is 1 for the interleaved formats, 2 for 4:2:2 at every depth, and 1
// for the packed and planar formats (whose texels are words or plane
// samples, not pixels).
constexpr unsigned pixelsPerTexel(unsigned bitsPerTexel, unsigned bitsPerPixel) {
    return bitsPerPixel == 0 ? 0 : bitsPerTexel / bitsPerPixel;
}
// The same for a format at a depth; 0 when it has no layout there.
unsigned pixelsPerTexel(Format format, unsigned bitsPerComponent);

// Where a surface's pixels go on the GPU.
struct TexelLayout {
    iGPUImage::eFormat texelFormat = iGPUImage::eRGBA8;
    uint32_t texelBytes = 0;
    // Size of the GPU image in texels.
    uint32_t texelsPerRow = 0;
    uint32_t rows = 0;
    // Smallest host row stride in bytes: whole texels (and, for v210, whole
    // 48-pixel blocks). Host rows and texture rows hold the same bytes.
    uint32_t minStride = 0;
};
// The GPU layout of a width x height picture; nothing for an unknown format
// or an unsupported depth.
std::optional<TexelLayout> texelLayoutFor(Format format, unsigned bitsPerComponent, uint32_t width, uint32_t height);
