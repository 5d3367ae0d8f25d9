#include "host/image/PixelFormats.h"

#include <array>

namespace {

constexpr uint32_t divUp(uint32_t a, uint32_t b) { return (a + b - 1) / b; }

// The packed-width rules: texels in a row of w pixels.
constexpr uint32_t onePerPixel(uint32_t w) { return w; }
constexpr uint32_t onePerPair(uint32_t w) { return divUp(w, 2); }
constexpr uint32_t fourSamplesPerTexel(uint32_t w) { return divUp(w, 4); }
// v210: blocks of 6 pixels in 4 words; rows padded to 48 pixels (128 bytes).
constexpr uint32_t v210Words(uint32_t w) { return divUp(w, 48) * 32; }
// M101: 8 pixels in 5 words; the packer's size rule, (W x 10) >> 4, in
// 32-bit arithmetic.
constexpr uint32_t m101Words(uint32_t w) { return (w * 10u) >> 4; }
// DVS1: three samples a word, a pixel pair has four samples.
constexpr uint32_t dvsWords(uint32_t w) { return divUp(divUp(w, 2) * 4, 3); }

// One depth a format comes in.
struct Depth {
    uint16_t bitsPerComponent = 0; // 0: no more depths
    uint16_t bitsPerPixel = 0;
    iGPUImage::eFormat texel = iGPUImage::eRGBA8;
};

struct Entry {
    FormatDescription description;
    std::array<Depth, 3> depths;
    uint32_t (*texelsPerRow)(uint32_t widthInPixels);
};

using P = ePixelPacking;
using G = iGPUImage;
constexpr Depth k8x4{8, 32, G::eRGBA8}, k16x4{16, 64, G::eRGBA16};
// 4:2:2 pairs: a pixel is one Y' and half a Cb/Cr pair; 10-bit samples sit in 16-bit words.
constexpr Depth kPair8{8, 16, G::eRGBA8}, kPair10{10, 32, G::eRGBA16}, kPair16{16, 32, G::eRGBA16};
constexpr Depth kWord10{10, 20, G::eRGBA8};
constexpr Depth kPlane8{8, 24, G::eRGBA8};

// The catalogue. The first depth of a format is its default.
constexpr Entry kFormats[] = {
    {{Format::eRGBA, P::eInterleaved, false, false, 8}, {k8x4, k16x4}, onePerPixel},
    {{Format::eBGRA, P::eInterleaved, false, false, 8}, {k8x4, k16x4}, onePerPixel},
    {{Format::eARGB, P::eInterleaved, false, false, 8}, {k8x4, k16x4}, onePerPixel},
    {{Format::eRGBAHalf, P::eInterleaved, false, true, 16}, {Depth{16, 64, G::eRGBA16F}}, onePerPixel},
    {{Format::eRGBAFloat, P::eInterleaved, false, true, 32}, {Depth{32, 128, G::eRGBA32F}}, onePerPixel},
    {{Format::eUYVY, P::ePacked422, true, false, 8}, {kPair8, kPair10, kPair16}, onePerPair},
    {{Format::eYUY2, P::ePacked422, true, false, 8}, {kPair8, kPair10, kPair16}, onePerPair},
    {{Format::eV210, P::ePacked10Bit, true, false, 10}, {kWord10}, v210Words},
    {{Format::eM101, P::ePacked10Bit, true, false, 10}, {kWord10}, m101Words},
    {{Format::eDVS1, P::ePacked10Bit, true, false, 10}, {kWord10}, dvsWords},
    {{Format::ePlanarRGB, P::ePlanar, false, false, 8}, {kPlane8}, fourSamplesPerTexel},
    {{Format::ePlanarYCbCr, P::ePlanar, true, false, 8}, {kPlane8}, fourSamplesPerTexel},
};

// The descriptions alone, for knownFormats(); describeFormat() points into it too.
constexpr std::array<FormatDescription, std::size(kFormats)> descriptions() {
    std::array<FormatDescription, std::size(kFormats)> out{};
    for (size_t i = 0; i < out.size(); ++i) out[i] = kFormats[i].description;
    return out;
}
constexpr std::array<FormatDescription, std::size(kFormats)> kDescriptions = descriptions();

constexpr size_t kNotFound = std::size(kFormats);
size_t indexOf(Format format) {
    for (size_t i = 0; i < std::size(kFormats); ++i)
        if (kFormats[i].description.format == format) return i;
    return kNotFound;
}

const Entry* entryOf(Format format) {
    const size_t i = indexOf(format);
    return i == kNotFound ? nullptr : &kFormats[i];
}

const Depth* depthOf(Format format, unsigned bitsPerComponent) {
    const Entry* e = entryOf(format);
    if (!e || bitsPerComponent == 0) return nullptr;
    for (const Depth& d : e->depths)
        if (d.bitsPerComponent == bitsPerComponent) return &d;
    return nullptr;
}

} // namespace

std::string formatName(Format format) {
    std::string name(4, '?');
    for (int i = 0; i < 4; ++i) {
        char c = char((uint32_t(format) >> (8 * i)) & 0xff);
        if (c >= 0x20 && c < 0x7f) name[size_t(i)] = c;
    }
    return name;
}

Format formatFromName(std::string_view name) {
    if (name.size() != 4) return Format::eNone;
    uint32_t code = 0;
    for (size_t i = 0; i < 4; ++i) code |= uint32_t(uint8_t(name[i])) << (8 * i);
    return Format(code);
}

const FormatDescription* describeFormat(Format format) {
    const size_t i = indexOf(format);
    return i == kNotFound ? nullptr : &kDescriptions[i];
}

std::span<const FormatDescription> knownFormats() { return kDescriptions; }

uint16_t bitsPerPixelFor(Format format, unsigned bitsPerComponent) {
    const Depth* d = depthOf(format, bitsPerComponent);
    return d ? d->bitsPerPixel : 0;
}

uint32_t texelsPerRowFor(Format format, uint32_t widthInPixels) {
    const Entry* e = entryOf(format);
    return e ? e->texelsPerRow(widthInPixels) : 0;
}

unsigned pixelsPerTexel(Format format, unsigned bitsPerComponent) {
    const Depth* d = depthOf(format, bitsPerComponent);
    return d ? pixelsPerTexel(bitsPerTexel(d->texel), d->bitsPerPixel) : 0;
}

std::optional<TexelLayout> texelLayoutFor(Format format, unsigned bitsPerComponent, uint32_t width, uint32_t height) {
    const Entry* e = entryOf(format);
    const Depth* d = depthOf(format, bitsPerComponent);
    if (!e || !d) return std::nullopt;
    TexelLayout t;
    t.texelFormat = d->texel;
    t.texelBytes = bitsPerTexel(d->texel) / 8;
    t.texelsPerRow = e->texelsPerRow(width);
    t.rows = e->description.packing == ePixelPacking::ePlanar ? height * 3 : height;
    t.minStride = t.texelsPerRow * t.texelBytes;
    return t;
}
