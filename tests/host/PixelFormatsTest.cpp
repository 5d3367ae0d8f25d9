// The pixel-format catalogue against the layouts of docs/formats.md: the
// formats it knows and their names, row widths against the bytes the
// reference packer places, and pixels per texel as the conversions count them.
#include "host/image/PixelFormats.h"
#include "host/SurfaceFormatsReference.h"
#include "host/image/Surface.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The formats docs/formats.md describes, in its order.
const char* const kDocumented[] = {"RGBA", "BGRA", "ARGB", "RGBh", "RGBf", "UYVY",
                                   "YUY2", "v210", "M101", "DVS1", "RGBP", "444P"};

TEST(PixelFormats, KnowsExactlyTheDocumentedFormatsByName) {
    std::vector<std::string> known;
    for (const FormatDescription& d : knownFormats()) {
        known.push_back(formatName(d.format));
        EXPECT_EQ(formatFromName(formatName(d.format)), d.format);
        EXPECT_EQ(describeFormat(d.format), &d) << formatName(d.format);
        // The default depth is one the format comes in.
        EXPECT_NE(bitsPerPixelFor(d.format, d.defaultBitsPerComponent), 0) << formatName(d.format);
    }
    EXPECT_EQ(known, std::vector<std::string>(std::begin(kDocumented), std::end(kDocumented)));
    // Codes the catalogue does not know still have names, but no description or layout.
    for (const char* other : {"NV12", "r210", "uyvy"}) {
        EXPECT_FALSE(describeFormat(formatFromName(other))) << other;
        EXPECT_EQ(texelsPerRowFor(formatFromName(other), 16), 0u) << other;
        EXPECT_EQ(formatName(formatFromName(other)), other);
    }
    EXPECT_EQ(formatFromName("M10"), Format::eNone);
    EXPECT_EQ(formatFromName("M1011"), Format::eNone);
}

TEST(PixelFormats, RowsHoldWhatTheReferenceLayoutsPlace) {
    std::vector<uint32_t> widths = {4095, 4096, 7680, 8191, Surface::kMaxDimension};
    for (uint32_t w = 1; w <= 200; ++w) widths.push_back(w);
    for (const FormatDescription& d : knownFormats())
        for (unsigned bits : {8u, 10u, 16u, 32u}) {
            const uint16_t bitsPerPixel = bitsPerPixelFor(d.format, bits);
            for (uint32_t width : widths) {
                SCOPED_TRACE(formatName(d.format) + " " + std::to_string(bits) + " bits, width " + std::to_string(width));
                const std::optional<TexelLayout> t = texelLayoutFor(d.format, bits, width, 3);
                ASSERT_EQ(t.has_value(), bitsPerPixel != 0);
                if (!t) {
                    EXPECT_EQ(FormatReference::rowBytes(d.format, bits, width), 0u); // nor in the reference
                    continue;
                }
                EXPECT_EQ(t->minStride, FormatReference::rowBytes(d.format, bits, width));
                EXPECT_EQ(t->texelsPerRow, texelsPerRowFor(d.format, width)); // the same at every depth
                EXPECT_EQ(t->minStride, t->texelsPerRow * t->texelBytes);
                EXPECT_EQ(t->rows, d.packing == ePixelPacking::ePlanar ? 9u : 3u);
            }
        }
}

TEST(PixelFormats, PixelsPerTexelAreWholePixelsOfTheTexel) {
    // As docs/formats.md counts them: 2 for 4:2:2 at every depth, 1 for the
    // rest (the 10-bit packed texels are words, the planar ones plane samples).
    const std::pair<Format, unsigned> twos[] = {{Format::eUYVY, 8}, {Format::eUYVY, 10}, {Format::eUYVY, 16},
                                                {Format::eYUY2, 8}, {Format::eYUY2, 10}, {Format::eYUY2, 16}};
    for (const FormatDescription& d : knownFormats())
        for (unsigned bits : {8u, 10u, 16u, 32u}) {
            if (!bitsPerPixelFor(d.format, bits)) {
                EXPECT_EQ(pixelsPerTexel(d.format, bits), 0u);
                continue;
            }
            bool two = false;
            for (auto [format, depth] : twos) two = two || (format == d.format && depth == bits);
            EXPECT_EQ(pixelsPerTexel(d.format, bits), two ? 2u : 1u) << formatName(d.format) << " " << bits;
        }
    EXPECT_EQ(pixelsPerTexel(32, 0), 0u);
    EXPECT_EQ(pixelsPerTexel(32, 48), 0u); // a texel smaller than a pixel
    EXPECT_EQ(pixelsPerTexel(128, 32), 4u);
    EXPECT_EQ(Surface(8, 2, Format::eUYVY).getPixelsPerTexel(), 0u); // no GPU image yet
}

} // namespace
