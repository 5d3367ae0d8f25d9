// Qf::Image::GPU's surface helpers on the real GPU service, each against a
// CPU reference of the same picture. Tolerances: one 8-bit code where the GPU
// rounds a computed value into an 8-bit texel, small ones for float pictures,
// none for pure copies.
#include "ImageTestFrames.h"

#include "image/GPU.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

using Qf::Image::GPU;
using namespace ImageTestFrames;

namespace {

using GPUOperationsTest = ImageGPUTest;

float worstDifference(const HostImage& got, const std::function<RGBAf(int, int)>& want) {
    float worst = 0;
    for (int y = 0; y < got.getHeight(); ++y)
        for (int x = 0; x < got.getWidth(); ++x)
            for (size_t c = 0; c < 4; ++c) worst = std::max(worst, std::fabs(got.getTexel(x, y)[c] - want(x, y)[c]));
    return worst;
}

TEST_F(GPUOperationsTest, SolidSurfacesFillEveryPixelAndReuseAMatchingDestination) {
    Surface black;
    ASSERT_TRUE(GPU::createBlackSurface(black, {37, 5}));
    EXPECT_EQ(black.getDataFormat(), Format::eRGBA);
    EXPECT_EQ(black.getRange(), uint32_t(Data::Video::eFullRange));
    EXPECT_EQ(worstDifference(*readBack(black), [](int, int) { return RGBAf{0, 0, 0, 1}; }), 0.0f);

    // Float formats keep values outside 0..1 (a superwhite test colour).
    Surface colour;
    ASSERT_TRUE(GPU::createColourSurface(colour, {16, 9}, {2.0f, 0.25f, -0.5f, 0.5f}, iGPUImage::eRGBA32F));
    EXPECT_EQ(colour.getDataFormat(), Format::eRGBAFloat);
    EXPECT_LT(worstDifference(*readBack(colour), [](int, int) { return RGBAf{2.0f, 0.25f, -0.5f, 0.5f}; }), 1e-6f);

    // Same size and format: drawn into the image the destination already has.
    const Ptr<iGPUImage> image = colour.getGPUSurface();
    ASSERT_TRUE(GPU::createColourSurface(colour, {16, 9}, {0, 1, 0, 1}, iGPUImage::eRGBA32F));
    EXPECT_EQ(colour.getGPUSurface(), image);
    EXPECT_EQ(worstDifference(*readBack(colour), [](int, int) { return RGBAf{0, 1, 0, 1}; }), 0.0f);

    Surface untouched = black;
    EXPECT_FALSE(GPU::createBlackSurface(untouched, {0, 4}));
    EXPECT_FALSE(GPU::createBlackSurface(untouched, {4, m_gpu ? m_gpu->maxImageSide() + 1 : 1}));
    EXPECT_EQ(untouched.getGPUSurface(), black.getGPUSurface());
}

TEST_F(GPUOperationsTest, GreyscaleUsesTheLumaWeightsOfTheSourcesColourimetry) {
    Surface src = frame(m_gpu, 61, 17);
    const struct {
        uint32_t colourimetry;
        float kr, kg, kb;
    } cases[] = {{Data::Video::eBT601, 0.299f, 0.587f, 0.114f},
                 {Data::Video::eBT709, 0.2126f, 0.7152f, 0.0722f},
                 {Data::Video::eBT2100HLG, 0.2627f, 0.6780f, 0.0593f}};
    for (const auto& c : cases) {
        src.setVideoData({.colourimetry = c.colourimetry});
        Surface grey;
        ASSERT_TRUE(GPU::createGreyscaleImage(src, grey));
        EXPECT_EQ(grey.getColourimetry(), c.colourimetry);
        const float worst = worstDifference(*readBack(grey), [&](int x, int y) {
            const RGBAf p = at(src, uint32_t(x), uint32_t(y));
            const float l = c.kr * p[0] + c.kg * p[1] + c.kb * p[2];
            return RGBAf{l, l, l, p[3]};
        });
        EXPECT_LE(worst, 1.0f / 255) << "colourimetry " << c.colourimetry;
    }
}

TEST_F(GPUOperationsTest, OpaqueMaskMarksOnlyFullyOpaquePixels) {
    Surface src = frame(nullptr, 4, 1, Format::eRGBA, 16);
    const uint16_t alphas[4] = {65535, 65535 - 100, 65535 - 200, 0}; // 255, about 254.6, 254.2, 0 in 8-bit codes
    for (uint32_t x = 0; x < 4; ++x) reinterpret_cast<uint16_t*>(src.getRow(0))[4 * x + 3] = alphas[x];
    ASSERT_TRUE(src.createGPUSurface(*m_gpu));
    Surface mask;
    ASSERT_TRUE(GPU::createOpaqueMask(src, mask));
    EXPECT_EQ(mask.getGPUSurface()->getFormat(), iGPUImage::eRGBA8);
    EXPECT_EQ(worstDifference(*readBack(mask), [](int x, int) { return x < 2 ? RGBAf{1, 1, 1, 1} : RGBAf{0, 0, 0, 0}; }), 0.0f);
}

// Bilinear sampling with texel centres at half-integers and edges repeated.
RGBAf bilinear(const Surface& s, float fx, float fy) {
    const int x0 = int(std::floor(fx - 0.5f)), y0 = int(std::floor(fy - 0.5f));
    const float ax = fx - 0.5f - float(x0), ay = fy - 0.5f - float(y0);
    RGBAf out{};
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 2; ++i) {
            const RGBAf t = at(s, uint32_t(std::clamp(x0 + i, 0, int(s.getWidth()) - 1)),
                               uint32_t(std::clamp(y0 + j, 0, int(s.getHeight()) - 1)));
            for (size_t c = 0; c < 4; ++c) out[c] += (i ? ax : 1 - ax) * (j ? ay : 1 - ay) * t[c];
        }
    return out;
}

TEST_F(GPUOperationsTest, ResizeMatchesBilinearFilteringUpAndDown) {
    const Surface src = frame(m_gpu, 40, 24, Format::eRGBAFloat, 32);
    for (const XY<int> size : {XY<int>{40, 24}, XY<int>{97, 31}, XY<int>{23, 13}, XY<int>{1, 1}}) {
        Surface dst;
        ASSERT_TRUE(GPU::resize(src, dst, size));
        ASSERT_EQ(dst.getSize(), size);
        EXPECT_EQ(dst.getDataFormat(), Format::eRGBAFloat);
        const float worst = worstDifference(*readBack(dst), [&](int x, int y) {
            return bilinear(src, (x + 0.5f) * 40.0f / float(size.x), (y + 0.5f) * 24.0f / float(size.y));
        });
        // The hardware's weights have 8 fractional bits: 1/256 of a neighbour difference.
        EXPECT_LE(worst, 2e-3f) << size.x << "x" << size.y;
    }
    Surface dst;
    EXPECT_FALSE(GPU::resize(src, dst, {0, 10}));
    EXPECT_FALSE(GPU::resize(frame(m_gpu, 8, 8, Format::eUYVY, 8), dst, {4, 4})); // Y'CbCr needs converting first
    EXPECT_TRUE(dst.isEmpty());
}

TEST_F(GPUOperationsTest, ShrinkAveragesWholeAndCutBlocks) {
    const Surface src = frame(m_gpu, 23, 10, Format::eRGBAFloat, 32);
    for (const int factor : {1, 2, 3, 16}) {
        Surface dst;
        ASSERT_TRUE(GPU::shrink(src, dst, factor));
        const int w = (23 + factor - 1) / factor, h = (10 + factor - 1) / factor;
        ASSERT_EQ(dst.getSize(), (XY<int>{w, h}));
        const float worst = worstDifference(*readBack(dst), [&](int x, int y) {
            RGBAf sum{};
            int n = 0;
            for (int j = y * factor; j < std::min(10, (y + 1) * factor); ++j)
                for (int i = x * factor; i < std::min(23, (x + 1) * factor); ++i, ++n)
                    for (int c = 0; c < 4; ++c) sum[size_t(c)] += at(src, uint32_t(i), uint32_t(j))[size_t(c)];
            for (float& v : sum) v /= float(n);
            return sum;
        });
        EXPECT_LE(worst, 1e-5f) << "factor " << factor;
    }
    Surface dst;
    EXPECT_FALSE(GPU::shrink(src, dst, 0));
    EXPECT_FALSE(GPU::shrink(src, dst, 17));
}

TEST_F(GPUOperationsTest, CopyFieldWeavesOneFieldAndKeepsTheOther) {
    // Rows are texel rows: packed 4:2:2 at 10 bits weaves as well.
    for (const auto& [format, bits, field] : {std::tuple{Format::eRGBA, 8, GPU::eUpperField},
                                              {Format::eRGBA, 8, GPU::eLowerField},
                                              {Format::eYUY2, 10, GPU::eLowerField}}) {
        SCOPED_TRACE(formatName(format) + " field " + std::to_string(field));
        const Surface a = frame(m_gpu, 19, 11, format, uint16_t(bits), 1);
        Surface b = frame(m_gpu, 19, 11, format, uint16_t(bits), 2);
        const Ptr<iGPUImage> before = b.getGPUSurface();
        ASSERT_TRUE(GPU::copyField(a, b, field));
        EXPECT_NE(b.getGPUSurface(), before); // holders of the old image do not see the weave
        EXPECT_EQ(b.getDataFormat(), format);
        const Ptr<HostImage> got = readBack(b); // b's host pixels still hold its own picture
        for (int y = 0; y < 11; ++y)
            EXPECT_EQ(std::memcmp(got->row(y), (y % 2 == int(field) ? a : b).getRow(uint32_t(y)), got->getStride()), 0) << y;
    }
    // Different sizes, texel formats or an unknown field: nothing changes.
    Surface other = frame(m_gpu, 16, 7, Format::eYUY2, 10);
    const Ptr<iGPUImage> kept = other.getGPUSurface();
    EXPECT_FALSE(GPU::copyField(frame(m_gpu, 16, 6, Format::eYUY2, 10), other, GPU::eUpperField));
    EXPECT_FALSE(GPU::copyField(frame(m_gpu, 16, 7, Format::eYUY2, 8), other, GPU::eUpperField));
    EXPECT_FALSE(GPU::copyField(frame(m_gpu, 16, 7, Format::eYUY2, 10), other, GPU::eField(2)));
    EXPECT_EQ(other.getGPUSurface(), kept);
}

TEST_F(GPUOperationsTest, OperationsWithoutASourceImageLeaveTheDestination) {
    const Surface hostOnly = frame(nullptr, 8, 8);
    Surface dst = frame(m_gpu, 8, 8);
    const Ptr<iGPUImage> kept = dst.getGPUSurface();
    EXPECT_FALSE(GPU::createGreyscaleImage(hostOnly, dst));
    EXPECT_FALSE(GPU::createOpaqueMask(hostOnly, dst));
    EXPECT_FALSE(GPU::resize(hostOnly, dst, {4, 4}));
    EXPECT_FALSE(GPU::shrink(hostOnly, dst, 2));
    EXPECT_FALSE(GPU::copyField(hostOnly, dst, GPU::eUpperField));
    EXPECT_EQ(dst.getGPUSurface(), kept);
}

TEST(GPUActivity, DescribesBothSurfaces) {
    const Surface host(1920, 1080, Format::eYUY2, 10);
    EXPECT_EQ(GPU::describeActivity("resize", host, Surface()).c_str(),
              std::string("resize 1920x1080 YUY2 10-bit (host) -> empty"));
}

} // namespace
