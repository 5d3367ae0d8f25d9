// ColourConversion's component, planar and host-copy conversions on the real
// GPU service against CPU references: swizzles and flips exactly, the planar
// Y'CbCr conversion within one 8-bit code of ColourReference::toRGB.
#include "../ColourReference.h"
#include "ImageTestFrames.h"

#include "image/ColourConversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>

using Qf::Image::ColourConversion;
using namespace ColourReference;
using namespace ImageTestFrames;

namespace {

using CC = ColourConversion;
using ComponentConversionsTest = ImageGPUTest;

// Component c of a swizzle string ("rgba", "bgra", ...) as an index.
size_t index(char c) { return std::string("rgba").find(c); }

// Every texel of `got` against the source texel at (x, flip ? H-1-y : y)
// with `from` read into `to`, and the rest of `to` left at `keep`.
void expectSwizzled(const HostImage& got, const Surface& src, const std::string& from, const std::string& to, bool flip) {
    for (int y = 0; y < got.getHeight(); ++y)
        for (int x = 0; x < got.getWidth(); ++x) {
            const RGBAf s = at(src, uint32_t(x), uint32_t(flip ? got.getHeight() - 1 - y : y));
            const RGBAf g = got.getTexel(x, y);
            for (size_t k = 0; k < from.size(); ++k)
                ASSERT_EQ(g[index(to[k])], s[index(from[k])]) << from << "->" << to << " at " << x << "," << y;
        }
}

TEST_F(ComponentConversionsTest, ReorderMovesComponentsExactlyWithAndWithoutFlip) {
    const Surface src = frame(m_gpu, 33, 7, Format::eRGBA, 16);
    for (const auto& [from, to, flip] : {std::tuple{"bgra", "rgba", false},
                                         {"argb", "rgba", true},
                                         {"rgba", "rgba", true},
                                         {"rgba", "rgba", false},
                                         {"rg", "ba", false}}) {
        Surface dst;
        ASSERT_TRUE(CC::reorderComponents(src, dst, from, to, flip)) << from << "->" << to;
        EXPECT_EQ(dst.getDataFormat(), Format::eRGBA);
        EXPECT_EQ(dst.getBitsPerComponent(), 16);
        expectSwizzled(*readBack(dst), src, from, to, flip);
    }
    Surface dst;
    EXPECT_FALSE(CC::reorderComponents(src, dst, "rgb", "rg"));
    EXPECT_FALSE(CC::reorderComponents(src, dst, "", ""));
    EXPECT_FALSE(CC::reorderComponents(frame(nullptr, 4, 4), dst, "bgra", "rgba"));
    EXPECT_TRUE(dst.isEmpty());
}

TEST_F(ComponentConversionsTest, ChannelExpandAndConvertToRGBAFollowTheSourceLayout) {
    const Surface src = frame(m_gpu, 21, 5);
    for (const char c : {'r', 'g', 'b', 'a'}) {
        Surface dst;
        ASSERT_TRUE(CC::channelExpand(src, dst, c));
        expectSwizzled(*readBack(dst), src, std::string(4, c), "rgba", false);
    }
    Surface dst;
    EXPECT_FALSE(CC::channelExpand(src, dst, 'x'));

    // The same colours stored as BGRA and ARGB bytes come out as the RGBA bytes.
    for (const auto& [format, order] : {std::pair{Format::eBGRA, "bgra"}, {Format::eARGB, "argb"}, {Format::eRGBA, "rgba"}}) {
        Surface stored(21, 5, format, 8);
        for (uint32_t y = 0; y < 5; ++y)
            for (uint32_t x = 0; x < 21; ++x)
                for (size_t k = 0; k < 4; ++k) stored.getRow(y)[4 * x + k] = src.getRow(y)[4 * x + index(order[k])];
        ASSERT_TRUE(stored.createGPUSurface(*m_gpu));
        Surface rgba;
        ASSERT_TRUE(CC::convertToRGBA(stored, rgba)) << formatName(format);
        EXPECT_EQ(rgba.getDataFormat(), Format::eRGBA);
        const Ptr<HostImage> got = readBack(rgba);
        for (uint32_t y = 0; y < 5; ++y) EXPECT_EQ(std::memcmp(got->row(int(y)), src.getRow(y), 21 * 4), 0) << formatName(format);
    }
    EXPECT_FALSE(CC::convertToRGBA(frame(m_gpu, 8, 2, Format::eUYVY, 8), dst));
}

// A planar picture (three 8-bit planes) of random samples; Y'CbCr samples
// stay in the legal range when `legal`.
Surface planarPicture(iGPUService& gpu, Format format, uint32_t width, uint32_t height, bool legal) {
    Surface s(width, height, format, 8);
    std::mt19937 rng(9);
    std::uniform_int_distribution<int> any(0, 255), luma(16, 235), chroma(16, 240);
    for (unsigned p = 0; p < 3; ++p)
        for (uint32_t y = 0; y < height; ++y)
            for (uint32_t x = 0; x < width; ++x)
                s.getRow(y, p)[x] = uint8_t(!legal ? any(rng) : p == 0 ? luma(rng) : chroma(rng));
    s.createGPUSurface(gpu);
    return s;
}

TEST_F(ComponentConversionsTest, PlanarRGBBecomesInterleavedRGBA) {
    const Surface src = planarPicture(*m_gpu, Format::ePlanarRGB, 13, 6, false); // 13: the last texel holds one sample
    Surface dst;
    ASSERT_TRUE(CC::planarRGBToARGB(src, dst));
    ASSERT_EQ(dst.getSize(), (XY<int>{13, 6}));
    const Ptr<HostImage> got = readBack(dst);
    for (uint32_t y = 0; y < 6; ++y)
        for (uint32_t x = 0; x < 13; ++x) {
            const uint8_t want[4] = {src.getRow(y, 0)[x], src.getRow(y, 1)[x], src.getRow(y, 2)[x], 255};
            ASSERT_EQ(std::memcmp(got->row(int(y)) + 4 * x, want, 4), 0) << x << "," << y;
        }
    EXPECT_FALSE(CC::planarRGBToARGB(frame(m_gpu, 8, 2), dst)); // not planar
}

TEST_F(ComponentConversionsTest, PlanarYCbCrMatchesTheReferenceMatrices) {
    Surface src = planarPicture(*m_gpu, Format::ePlanarYCbCr, 29, 4, true);
    for (const auto& [colourimetry, gamut] : {std::pair{Data::Video::eBT601, CC::eGamutFull},
                                              {Data::Video::eBT709, CC::eGamutFull},
                                              {Data::Video::eBT709, CC::eGamutLegal}}) {
        src.setVideoData({.colourimetry = colourimetry, .range = Data::Video::eLegalRange});
        Surface dst;
        ASSERT_TRUE(CC::planarYUVToARGB(src, dst, gamut));
        const Ptr<HostImage> got = readBack(dst);
        double worst = 0;
        for (uint32_t y = 0; y < 4; ++y)
            for (uint32_t x = 0; x < 29; ++x) {
                // The planes are Y', Cb, Cr; the reference takes (Y', Cr, Cb).
                const Vec3 ycrcb = {src.getRow(y, 0)[x] / 255.0, src.getRow(y, 2)[x] / 255.0, src.getRow(y, 1)[x] / 255.0};
                const Vec3 rgb = toRGB(ycrcb, colourimetry, true, gamut == CC::eGamutFull);
                for (size_t c = 0; c < 3; ++c)
                    worst = std::max(worst, std::abs(got->getTexel(int(x), int(y))[c] - clamp01(rgb[c])) * 255);
            }
        EXPECT_LE(worst, 1.0) << "colourimetry " << colourimetry << " gamut " << gamut;
    }
}

TEST_F(ComponentConversionsTest, HostCopiesReturnTheUploadedBytesOfTheirFamilyOnly) {
    for (const auto& [format, bits, yuv] : {std::tuple{Format::eRGBA, 16, false},
                                            {Format::eRGBAHalf, 16, false},
                                            {Format::eUYVY, 8, true},
                                            {Format::eYUY2, 10, true}}) {
        Surface src = frame(m_gpu, 18, 5, format, uint16_t(bits));
        src.setVideoSampleData({.frameNumber = 41});
        Surface host;
        ASSERT_TRUE(yuv ? CC::copyToHostYUVSurface(src, host) : CC::copyToHostRGBSurface(src, host)) << formatName(format);
        EXPECT_FALSE(host.getGPUSurface());
        EXPECT_EQ(host.getDataFormat(), format);
        EXPECT_EQ(host.getVideoSampleData().frameNumber, 41);
        ASSERT_EQ(host.getByteSize(), src.getByteSize());
        EXPECT_EQ(std::memcmp(host.getPixels(), src.getPixels(), src.getByteSize()), 0) << formatName(format);

        Surface wrong;
        EXPECT_FALSE(yuv ? CC::copyToHostRGBSurface(src, wrong) : CC::copyToHostYUVSurface(src, wrong));
        EXPECT_TRUE(wrong.isEmpty());
    }
}

} // namespace
