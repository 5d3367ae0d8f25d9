// Host images: half floats, texel encoding, and the trips of 2D and 3D
// images to and from GPU images.
#include "host/HostImage.h"
#include "host/SurfaceTestGPU.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

using SurfaceTests::MemoryGPUService;
using SurfaceTests::memory;

namespace {

TEST(HalfFloat, EveryHalfSurvivesTheTripThroughFloat) {
    for (uint32_t h = 0; h < 0x10000; ++h) {
        const float f = floatFromHalf(uint16_t(h));
        if (std::isnan(f)) {
            EXPECT_EQ((h & 0x7c00u), 0x7c00u);
            EXPECT_TRUE(std::isnan(floatFromHalf(halfFromFloat(f))));
            continue;
        }
        ASSERT_EQ(halfFromFloat(f), h) << std::hex << h;
    }
}

TEST(HalfFloat, RoundsToNearestEven) {
    EXPECT_EQ(halfFromFloat(1.0f), 0x3c00);
    EXPECT_EQ(halfFromFloat(-2.0f), 0xc000);
    EXPECT_EQ(halfFromFloat(0.1f), 0x2e66);
    EXPECT_EQ(halfFromFloat(65504.0f), 0x7bff);
    EXPECT_EQ(halfFromFloat(65519.0f), 0x7bff);
    EXPECT_EQ(halfFromFloat(65520.0f), 0x7c00);
    EXPECT_EQ(halfFromFloat(1e10f), 0x7c00);
    EXPECT_EQ(halfFromFloat(-std::numeric_limits<float>::infinity()), 0xfc00);
    EXPECT_EQ(halfFromFloat(1.0f + 1.0f / 2048), 0x3c00);     // halfway, to even
    EXPECT_EQ(halfFromFloat(1.0f + 3.0f / 2048), 0x3c02);     // halfway, to even (up)
    EXPECT_EQ(halfFromFloat(std::ldexp(1.0f, -24)), 0x0001);  // smallest subnormal
    EXPECT_EQ(halfFromFloat(std::ldexp(1.0f, -25)), 0x0000);  // halfway to it: even is zero
    EXPECT_EQ(halfFromFloat(std::ldexp(3.0f, -25)), 0x0002);  // 1.5 units: even is two
    EXPECT_EQ(halfFromFloat(std::ldexp(1.0f, -14) * (1.0f - 1.0f / 4096)), 0x0400); // rounds up into the normals
    EXPECT_EQ(halfFromFloat(1e-30f), 0x0000);
    EXPECT_EQ(halfFromFloat(-1e-30f), 0x8000);
}

TEST(HostImage, TexelsClampAndRoundInNormalisedFormats) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    uint8_t b[4];
    writeTexel(iGPUImage::eRGBA8, {0.5f, -1.0f, 2.0f, nan}, b);
    EXPECT_EQ(std::vector<uint8_t>(b, b + 4), (std::vector<uint8_t>{128, 0, 255, 0}));
    uint16_t w[4];
    writeTexel(iGPUImage::eRGBA16, {1.0f / 65535, 0.5f, 1.0f, 0.0f}, w);
    EXPECT_EQ(std::vector<uint16_t>(w, w + 4), (std::vector<uint16_t>{1, 32768, 65535, 0}));
    // Float formats keep what they are given.
    float f[4];
    writeTexel(iGPUImage::eRGBA32F, {-1.5f, 2.0f, nan, 0.25f}, f);
    const RGBAf back = readTexel(iGPUImage::eRGBA32F, f);
    EXPECT_EQ(back[0], -1.5f);
    EXPECT_TRUE(std::isnan(back[2]));
    const uint16_t halves[4] = {0x3c00, 0xc000, 0, 0x3800};
    EXPECT_EQ(readTexel(iGPUImage::eRGBA16F, halves)[1], -2.0f);
    const uint8_t bytes[4] = {255, 0, 51, 1};
    EXPECT_EQ(readTexel(iGPUImage::eRGBA8, bytes)[2], 0.2f);
}

TEST(HostImage, RefusesSizesItWillNotAllocate) {
    EXPECT_FALSE(HostImage::create({0, 5}, iGPUImage::eRGBA8));
    EXPECT_FALSE(HostImage::create({5, -1}, iGPUImage::eRGBA8));
    EXPECT_FALSE(HostImage::create({HostImage::kMaxDimension + 1, 1}, iGPUImage::eRGBA8));
    EXPECT_FALSE(HostImage::create({HostImage::kMaxDimension, HostImage::kMaxDimension}, iGPUImage::eRGBA8));
    Ptr<HostImage> image = HostImage::create({3, 2}, iGPUImage::eRGBA16F);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->getStride(), 24u);
    EXPECT_EQ(image->getByteSize(), 48u);
    EXPECT_TRUE(std::all_of(image->data(), image->data() + 48, [](uint8_t v) { return v == 0; }));
}

TEST(HostImage, GoesToTheGPUAndBackUnchanged) {
    MemoryGPUService gpu;
    for (iGPUImage::eFormat format : {iGPUImage::eRGBA8, iGPUImage::eRGBA16, iGPUImage::eRGBA16F, iGPUImage::eRGBA32F}) {
        Ptr<HostImage> image = HostImage::create({5, 3}, format);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 5; ++x) image->setTexel(x, y, {x / 4.0f, y / 2.0f, 0.5f, 1.0f});
        Ptr<iGPUImage> gpuImage = image->createGPUImage(gpu);
        ASSERT_TRUE(gpuImage) << format;
        EXPECT_EQ(gpuImage->getFormat(), format);
        EXPECT_EQ(memory(gpuImage).lastStride, image->getStride());
        Ptr<HostImage> back = HostImage::fromGPUImage(*gpuImage);
        ASSERT_TRUE(back);
        EXPECT_EQ(0, std::memcmp(back->data(), image->data(), image->getByteSize())) << format;

        // Another size or format is refused.
        Ptr<iGPUImage> other = gpu.createImage({5, 4}, format);
        EXPECT_FALSE(image->uploadTo(*other));
        EXPECT_FALSE(back->readBackFrom(*other));
        EXPECT_FALSE(image->uploadTo(*gpu.createImage({5, 3}, format == iGPUImage::eRGBA8 ? iGPUImage::eRGBA16 : iGPUImage::eRGBA8)));
    }
}

TEST(HostImage, ConvertsBetweenFormats) {
    Ptr<HostImage> image = HostImage::create({256, 1}, iGPUImage::eRGBA8);
    for (int x = 0; x < 256; ++x) std::memset(image->data() + x * 4, x, 4);
    // 8 -> half -> 8 and 8 -> 16 -> 8 keep every value.
    for (iGPUImage::eFormat via : {iGPUImage::eRGBA16, iGPUImage::eRGBA16F, iGPUImage::eRGBA32F}) {
        Ptr<HostImage> back = image->convertedTo(via)->convertedTo(iGPUImage::eRGBA8);
        EXPECT_EQ(0, std::memcmp(back->data(), image->data(), image->getByteSize())) << via;
    }
    Ptr<HostImage> wide = image->convertedTo(iGPUImage::eRGBA16);
    EXPECT_EQ(reinterpret_cast<const uint16_t*>(wide->data())[4 * 255], 65535);
    EXPECT_EQ(reinterpret_cast<const uint16_t*>(wide->data())[4 * 1], 257);
}

TEST(HostImage3D, RGBLUTsGainOpaqueAlphaOnTheGPU) {
    MemoryGPUService gpu;
    Ptr<HostImage3D> lut = HostImage3D::create(2, 3, 4, 3);
    ASSERT_TRUE(lut);
    for (int z = 0; z < 4; ++z)
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 2; ++x) {
                float* t = lut->texel(x, y, z);
                t[0] = x * 1.0f;
                t[1] = y * 0.5f;
                t[2] = z * 0.25f;
            }
    Ptr<iGPUImage> image = lut->createGPUImage(gpu);
    ASSERT_TRUE(image);
    ASSERT_TRUE(image->is3D());
    EXPECT_EQ(image->getDepth(), 4);
    // Red varies fastest, then green, then blue slices.
    const auto* texels = reinterpret_cast<const float*>(memory(image).texels().data());
    EXPECT_EQ(std::vector<float>(texels, texels + 8), (std::vector<float>{0, 0, 0, 1, 1, 0, 0, 1}));
    EXPECT_EQ(std::vector<float>(texels + 4 * 6, texels + 4 * 6 + 4), (std::vector<float>{0, 0, 0.25f, 1}));

    Ptr<HostImage3D> back = HostImage3D::fromGPUImage(*image, 3);
    ASSERT_TRUE(back);
    EXPECT_EQ(0, std::memcmp(back->data(), lut->data(), lut->getNumTexels() * 3 * sizeof(float)));

    // Half-float LUTs keep these values exactly too.
    Ptr<iGPUImage> half = lut->createGPUImage(gpu, iGPUImage::eRGBA16F);
    ASSERT_TRUE(half);
    EXPECT_EQ(reinterpret_cast<const uint16_t*>(memory(half).texels().data())[3], 0x3c00);
    Ptr<HostImage3D> rgba = HostImage3D::fromGPUImage(*half, 4);
    EXPECT_EQ(rgba->texel(1, 2, 3)[0], 1.0f);
    EXPECT_EQ(rgba->texel(1, 2, 3)[2], 0.75f);
    EXPECT_EQ(rgba->texel(1, 2, 3)[3], 1.0f);
}

TEST(HostImage3D, RefusesBadShapesAndMismatchedImages) {
    EXPECT_FALSE(HostImage3D::create(4, 4, 4, 2));
    EXPECT_FALSE(HostImage3D::create(4, 0, 4, 4));
    EXPECT_FALSE(HostImage3D::create(HostImage3D::kMaxDimension + 1, 1, 1, 4));
    EXPECT_FALSE(HostImage3D::create(1024, 1024, 1024, 4)); // too many texels
    MemoryGPUService gpu;
    Ptr<HostImage3D> lut = HostImage3D::create(4, 4, 4, 4);
    EXPECT_FALSE(lut->uploadTo(*gpu.create3DImage(4, 4, 5, iGPUImage::eRGBA32F)));
    EXPECT_FALSE(lut->uploadTo(*gpu.createImage({4, 4}, iGPUImage::eRGBA32F)));
    EXPECT_FALSE(HostImage3D::fromGPUImage(*gpu.createImage({4, 4}, iGPUImage::eRGBA32F)));
}

} // namespace
