// Surface descriptions: every format's depths, texel layout and strides, the
// checks of init, shallow copies, metadata, and the trip to a GPU image.
#include "host/Surface.h"
#include "host/SurfaceFormatsReference.h"
#include "host/SurfaceTestGPU.h"

#include <gtest/gtest.h>

#include <random>

using SurfaceTests::MemoryGPUService;
using SurfaceTests::memory;

namespace {

TEST(SurfaceFormat, CodesAreLittleEndianFourCharacterCodes) {
    EXPECT_EQ(uint32_t(Format::eM101), 0x3130314du);
    EXPECT_EQ(uint32_t(Format::eUYVY), 0x59565955u);
    EXPECT_EQ(uint32_t(Format::eYUY2), 0x32595559u);
    EXPECT_EQ(formatName(Format::eV210), "v210");
    EXPECT_EQ(formatFromName("DVS1"), Format::eDVS1);
    EXPECT_EQ(formatFromName("RGB"), Format::eNone);
    EXPECT_EQ(formatName(Format(0x4100ff52u)), "R??A");
}

struct LayoutCase {
    Format format;
    unsigned bits;
    uint32_t width;
    uint16_t bitsPerPixel;
    iGPUImage::eFormat texel;
    uint32_t texelsPerRow;
    uint32_t rowsPerHeight; // texture rows for a height of one
    uint32_t minStride;
    unsigned pixelsPerTexel;
};

TEST(SurfaceFormat, EveryFormatHasItsTexelLayout) {
    const LayoutCase cases[] = {
        {Format::eRGBA, 8, 1920, 32, iGPUImage::eRGBA8, 1920, 1, 7680, 1},
        {Format::eRGBA, 16, 1920, 64, iGPUImage::eRGBA16, 1920, 1, 15360, 1},
        {Format::eBGRA, 8, 5, 32, iGPUImage::eRGBA8, 5, 1, 20, 1},
        {Format::eARGB, 16, 5, 64, iGPUImage::eRGBA16, 5, 1, 40, 1},
        {Format::eRGBAHalf, 16, 100, 64, iGPUImage::eRGBA16F, 100, 1, 800, 1},
        {Format::eRGBAFloat, 32, 100, 128, iGPUImage::eRGBA32F, 100, 1, 1600, 1},
        {Format::eUYVY, 8, 1920, 16, iGPUImage::eRGBA8, 960, 1, 3840, 2},
        {Format::eUYVY, 8, 7, 16, iGPUImage::eRGBA8, 4, 1, 16, 2},
        {Format::eYUY2, 8, 1920, 16, iGPUImage::eRGBA8, 960, 1, 3840, 2},
        {Format::eUYVY, 10, 1920, 32, iGPUImage::eRGBA16, 960, 1, 7680, 2},
        {Format::eYUY2, 16, 1920, 32, iGPUImage::eRGBA16, 960, 1, 7680, 2},
        {Format::eV210, 10, 1920, 20, iGPUImage::eRGBA8, 1280, 1, 5120, 1},
        {Format::eV210, 10, 1280, 20, iGPUImage::eRGBA8, 864, 1, 3456, 1},
        {Format::eV210, 10, 1, 20, iGPUImage::eRGBA8, 32, 1, 128, 1},
        {Format::eM101, 10, 1920, 20, iGPUImage::eRGBA8, 1200, 1, 4800, 1},
        {Format::eM101, 10, 1, 20, iGPUImage::eRGBA8, 0, 1, 0, 1},
        {Format::eDVS1, 10, 1920, 20, iGPUImage::eRGBA8, 1280, 1, 5120, 1},
        {Format::eDVS1, 10, 7, 20, iGPUImage::eRGBA8, 6, 1, 24, 1},
        {Format::ePlanarRGB, 8, 1920, 24, iGPUImage::eRGBA8, 480, 3, 1920, 1},
        {Format::ePlanarYCbCr, 8, 7, 24, iGPUImage::eRGBA8, 2, 3, 8, 1},
    };
    MemoryGPUService gpu;
    for (const LayoutCase& c : cases) {
        SCOPED_TRACE(formatName(c.format) + " " + std::to_string(c.bits) + " bits, width " + std::to_string(c.width));
        EXPECT_EQ(bitsPerPixelFor(c.format, c.bits), c.bitsPerPixel);
        const std::optional<TexelLayout> t = texelLayoutFor(c.format, c.bits, c.width, 10);
        ASSERT_TRUE(t);
        EXPECT_EQ(t->texelFormat, c.texel);
        EXPECT_EQ(t->texelBytes, bitsPerTexel(c.texel) / 8);
        EXPECT_EQ(t->texelsPerRow, c.texelsPerRow);
        EXPECT_EQ(t->rows, 10 * c.rowsPerHeight);
        EXPECT_EQ(t->minStride, c.minStride);

        // A surface of the format describes itself the same way, and its GPU
        // image has the layout's size and holds the pixels the conversions expect.
        Surface s(c.width, 10, c.format, uint16_t(c.bits));
        ASSERT_FALSE(s.isEmpty());
        EXPECT_EQ(s.getBitsPerComponent(), c.bits);
        EXPECT_EQ(s.getBitsPerPixel(), c.bitsPerPixel);
        EXPECT_EQ(s.getStride(), c.minStride);
        EXPECT_EQ(s.getByteSize(), size_t(c.minStride) * 10 * c.rowsPerHeight);
        EXPECT_EQ(s.getLayout(), c.rowsPerHeight == 3 ? Surface::ePlanar : Surface::ePacked);
        EXPECT_EQ(s.getTexelSize(), 0u);
        if (c.texelsPerRow == 0) continue;
        Ptr<iGPUImage> image = s.createGPUSurface(gpu);
        ASSERT_TRUE(image);
        EXPECT_EQ(s.getGPUSurface(), image);
        EXPECT_EQ(image->getSize(), XY<int>(int(c.texelsPerRow), int(10 * c.rowsPerHeight)));
        EXPECT_EQ(s.getTexelSize(), bitsPerTexel(c.texel) / 8);
        EXPECT_EQ(s.getPixelsPerTexel(), c.pixelsPerTexel);
    }
}

TEST(SurfaceFormat, DepthsAFormatDoesNotComeInHaveNoLayout) {
    const std::pair<Format, unsigned> unsupported[] = {
        {Format::eRGBA, 10}, {Format::eRGBA, 32},     {Format::eRGBAHalf, 32}, {Format::eRGBAFloat, 16},
        {Format::eUYVY, 12}, {Format::eV210, 8},      {Format::eM101, 16},     {Format::ePlanarRGB, 16},
        {formatFromName("NV12"), 8},
    };
    for (auto [format, bits] : unsupported) {
        EXPECT_EQ(bitsPerPixelFor(format, bits), 0) << formatName(format) << " " << bits;
        EXPECT_FALSE(texelLayoutFor(format, bits, 16, 16)) << formatName(format) << " " << bits;
        Surface s;
        EXPECT_FALSE(s.init(16, 16, format, uint16_t(bits), 0)) << formatName(format) << " " << bits;
    }
}

TEST(Surface, InitDescribesMatroxPackedTargetsWithoutHostMemory) {
    // The description the Matrox packer writes: M101, 10, 20, layout 0, allocation 1, 0.
    Surface s;
    ASSERT_TRUE(s.init(1920, 1080, Format::eM101, 10, 20, Surface::ePacked, Surface::eAllocNone, 0));
    EXPECT_EQ(s.getSize(), XY<int>(1920, 1080));
    EXPECT_FALSE(s.hasHostMemory());
    EXPECT_EQ(s.getStride(), 4800u);
    EXPECT_EQ(s.getTexelLayout()->texelsPerRow, 1200u);
    EXPECT_FALSE(s.getRow(0));
}

TEST(Surface, InitRejectsInconsistentDescriptionsAndKeepsThePreviousOne) {
    Surface s(64, 2, Format::eRGBA);
    uint8_t* pixels = s.getPixels();
    ASSERT_TRUE(pixels);
    Data::Video video;
    video.colourimetry = Data::Video::eBT2020;
    s.setVideoData(video);

    EXPECT_FALSE(s.init(64, 2, Format::eUYVY, 8, 32));                                  // wrong bits per pixel
    EXPECT_FALSE(s.init(64, 2, Format::eRGBA, 8, 0, Surface::ePlanar));                 // wrong layout
    EXPECT_FALSE(s.init(64, 2, Format::eRGBA, 8, 0, Surface::ePacked, Surface::eAllocHost, 255)); // stride too small
    EXPECT_FALSE(s.init(64, 2, Format::eRGBA, 8, 0, Surface::ePacked, Surface::eAllocHost, 258)); // not whole texels
    EXPECT_FALSE(s.init(0, 2, Format::eRGBA, 8, 0));
    EXPECT_FALSE(s.init(Surface::kMaxDimension + 1, 2, Format::eRGBA, 8, 0));
    EXPECT_FALSE(s.init(64, 2, formatFromName("abcd"), 8, 0)); // unknown code needs bits per pixel

    EXPECT_EQ(s.getDataFormat(), Format::eRGBA);
    EXPECT_EQ(s.getWidth(), 64u);
    EXPECT_EQ(s.getPixels(), pixels);
    EXPECT_EQ(s.getVideoData(), video);

    // Success replaces everything, metadata included.
    ASSERT_TRUE(s.init(10, 3, Format::eRGBA, 0, 0, Surface::ePacked, Surface::eAllocHost, 64));
    EXPECT_EQ(s.getStride(), 64u);
    EXPECT_EQ(s.getByteSize(), 192u);
    EXPECT_EQ(s.getRow(2), s.getPixels() + 128);
    EXPECT_FALSE(s.getRow(3));
    EXPECT_EQ(s.getVideoData(), Data::Video{});
}

TEST(Surface, UnknownCodesAreDescribedAsGiven) {
    Surface s;
    ASSERT_TRUE(s.init(5, 4, formatFromName("r210"), 10, 30, Surface::ePacked));
    EXPECT_EQ(s.getStride(), 19u); // 150 bits round up to 19 bytes
    EXPECT_EQ(s.getByteSize(), 76u);
    EXPECT_FALSE(s.getTexelLayout());
    MemoryGPUService gpu;
    EXPECT_FALSE(s.createGPUSurface(gpu));
}

TEST(Surface, PlanesFollowEachOther) {
    Surface s(6, 4, Format::ePlanarYCbCr);
    ASSERT_EQ(s.getNumPlanes(), 3u);
    EXPECT_EQ(s.getStride(), 8u);
    EXPECT_EQ(s.getRow(0, 1), s.getPixels() + 4 * 8);
    EXPECT_EQ(s.getRow(3, 2), s.getPixels() + (2 * 4 + 3) * 8);
    EXPECT_FALSE(s.getRow(0, 3));
}

TEST(Surface, CopiesSharePixelsAndCloneCopiesThem) {
    Surface a(4, 4, Format::eUYVY);
    a.getPixels()[0] = 7;
    Surface shared = a;
    Surface cloned = a.clone();
    shared.getPixels()[0] = 9;
    EXPECT_EQ(a.getPixels()[0], 9);
    EXPECT_EQ(cloned.getPixels()[0], 7);
    // Descriptions are each copy's own.
    shared.setBitsPerComponent(16);
    EXPECT_EQ(a.getBitsPerComponent(), 8);
}

TEST(Surface, MetadataTravelsWithCopiesAndConversions) {
    Surface src(8, 8, Format::eYUY2);
    Data::Video video;
    video.colourimetry = Data::Video::eBT601;
    video.range = Data::Video::eFullRange;
    video.pixelAspectNum = 16;
    video.pixelAspectDen = 15;
    Data::VideoSample sample;
    sample.time = 1.04;
    sample.duration = 0.04;
    sample.fieldOrder = Data::VideoSample::eUpperFieldFirst;
    sample.frameNumber = 26;
    src.setVideoData(video);
    src.setVideoSampleData(sample);
    EXPECT_EQ(src.getColourimetry(), 1u);
    EXPECT_EQ(src.getRange(), 1u);

    Surface dst(8, 8, Format::eRGBA);
    EXPECT_NE(dst.getVideoData(), video);
    dst.setVideoData(src.getVideoData());
    dst.setVideoSampleData(src.getVideoSampleData());
    EXPECT_EQ(dst.getVideoData(), video);
    EXPECT_EQ(dst.getVideoSampleData(), sample);

    Surface other(2, 2, Format::eRGBA);
    other.copyMetadataFrom(src);
    EXPECT_EQ(other.getVideoData(), video);
    EXPECT_EQ(other.getVideoSampleData(), sample);
    EXPECT_EQ(Surface(src).getVideoSampleData(), sample);
}

TEST(Surface, GPUTripKeepsTheBytesOfEveryRowWithPaddedStrides) {
    MemoryGPUService gpu;
    std::mt19937 random(3);
    Surface s;
    ASSERT_TRUE(s.init(11, 5, Format::eUYVY, 10, 0, Surface::ePacked, Surface::eAllocHost, 64));
    for (size_t i = 0; i < s.getByteSize(); ++i) s.getPixels()[i] = uint8_t(random());
    const Surface original = s.clone();

    Ptr<iGPUImage> image = s.createGPUSurface(gpu);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->getFormat(), iGPUImage::eRGBA16);
    EXPECT_EQ(memory(image).lastStride, 64u);
    EXPECT_EQ(memory(image).uploads, 1);

    std::memset(s.getPixels(), 0, s.getByteSize());
    ASSERT_TRUE(s.readBackFromGPU());
    for (uint32_t y = 0; y < 5; ++y) EXPECT_EQ(0, std::memcmp(s.getRow(y), original.getRow(y), 48)) << y;

    // A GPU-only surface gets host memory on read-back.
    Surface gpuOnly;
    ASSERT_TRUE(gpuOnly.init(11, 5, Format::eUYVY, 10, 0, Surface::ePacked, Surface::eAllocNone));
    gpuOnly.setGPUSurface(image);
    EXPECT_FALSE(gpuOnly.uploadToGPU());
    ASSERT_TRUE(gpuOnly.readBackFromGPU());
    EXPECT_EQ(0, std::memcmp(gpuOnly.getRow(4), original.getRow(4), 48));
}

TEST(Surface, GPUImageMustMatchTheDescription) {
    MemoryGPUService gpu;
    Surface s(16, 4, Format::eUYVY);
    s.setGPUSurface(gpu.createImage({16, 4}, iGPUImage::eRGBA8)); // one texel a pixel: wrong
    EXPECT_FALSE(s.uploadToGPU());
    EXPECT_FALSE(s.readBackFromGPU());
    s.setGPUSurface(gpu.createImage({8, 4}, iGPUImage::eRGBA16)); // wrong depth
    EXPECT_FALSE(s.uploadToGPU());
    s.setGPUSurface(gpu.createImage({8, 4}, iGPUImage::eRGBA8));
    EXPECT_TRUE(s.uploadToGPU());

    // Re-describing a 16-bit 4:2:2 picture as the Matrox unpacker does
    // (YUY2, T / 4 and T / 2 bits, stride width x bits per pixel / 8) fits its image.
    Surface unpacked;
    ASSERT_TRUE(unpacked.init(1920, 2, Format::eRGBA, 16, 0, Surface::ePacked, Surface::eAllocNone));
    unpacked.setGPUSurface(gpu.createImage({960, 2}, iGPUImage::eRGBA16));
    const unsigned texelBits = unpacked.getGPUSurface()->getBitsPerTexel();
    unpacked.setDataFormat(Format::eYUY2);
    unpacked.setBitsPerComponent(uint16_t(texelBits / 4));
    unpacked.setBitsPerPixel(uint16_t(texelBits / 2));
    unpacked.setStride(unpacked.getWidth() * unpacked.getBitsPerPixel() / 8);
    EXPECT_EQ(unpacked.getStride(), 7680u);
    EXPECT_TRUE(unpacked.readBackFromGPU());
}

TEST(Surface, DescribesGPUImagesOfEachTexelFormat) {
    MemoryGPUService gpu;
    const std::tuple<iGPUImage::eFormat, Format, unsigned> cases[] = {
        {iGPUImage::eRGBA8, Format::eRGBA, 8},
        {iGPUImage::eRGBA16, Format::eRGBA, 16},
        {iGPUImage::eRGBA16F, Format::eRGBAHalf, 16},
        {iGPUImage::eRGBA32F, Format::eRGBAFloat, 32},
    };
    for (auto [texel, format, bits] : cases) {
        Surface s = Surface::forGPUImage(gpu.createImage({33, 7}, texel));
        EXPECT_EQ(s.getDataFormat(), format);
        EXPECT_EQ(s.getBitsPerComponent(), bits);
        EXPECT_EQ(s.getSize(), XY<int>(33, 7));
        EXPECT_FALSE(s.hasHostMemory());
        EXPECT_EQ(s.getPixelsPerTexel(), 1u);
    }
    EXPECT_TRUE(Surface::forGPUImage(nullptr).isEmpty());
    EXPECT_TRUE(Surface::forGPUImage(gpu.create3DImage(4, 4, 4, iGPUImage::eRGBA32F)).isEmpty());
}

// --- the reference packers against the byte tables ---

std::vector<uint16_t> randomSamples(uint32_t width, unsigned bits, uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<uint16_t> s(((width + 1) / 2) * 4);
    for (uint16_t& v : s) v = uint16_t(random() & ((1u << bits) - 1));
    return s;
}

TEST(SurfaceFormatReference, PackedRowsRoundTrip) {
    const std::tuple<Format, unsigned, uint32_t> cases[] = {
        {Format::eUYVY, 8, 7},   {Format::eYUY2, 8, 8},   {Format::eUYVY, 10, 6}, {Format::eYUY2, 16, 5},
        {Format::eV210, 10, 48}, {Format::eV210, 10, 50}, {Format::eM101, 10, 16}, {Format::eDVS1, 10, 9},
        {Format::eDVS1, 10, 1920},
    };
    for (auto [format, bits, width] : cases) {
        SCOPED_TRACE(formatName(format) + " width " + std::to_string(width));
        const std::vector<uint16_t> samples = randomSamples(width, bits, width);
        const std::vector<uint8_t> row = FormatReference::pack422(format, bits, width, samples);
        EXPECT_EQ(row.size(), texelLayoutFor(format, bits, width, 1)->minStride);
        EXPECT_EQ(FormatReference::unpack422(format, bits, width, row.data()), samples);
    }
}

TEST(SurfaceFormatReference, BytesMatchTheDocumentedTables) {
    // One pair: Cb 0x10, Y0 0x20, Cr 0x30, Y1 0x40.
    const std::vector<uint16_t> pair = {0x10, 0x20, 0x30, 0x40};
    EXPECT_EQ(FormatReference::pack422(Format::eUYVY, 8, 2, pair), (std::vector<uint8_t>{0x10, 0x20, 0x30, 0x40}));
    EXPECT_EQ(FormatReference::pack422(Format::eYUY2, 8, 2, pair), (std::vector<uint8_t>{0x20, 0x10, 0x40, 0x30}));
    // 10 bits in 16-bit words: left-aligned with the top bits repeated below.
    const std::vector<uint8_t> deep = FormatReference::pack422(Format::eUYVY, 10, 2, {1023, 512, 0, 1});
    EXPECT_EQ(deep, (std::vector<uint8_t>{0xff, 0xff, 0x20, 0x80, 0x00, 0x00, 0x40, 0x00}));

    // v210: Cb0 Y0 Cr0 in the first word's bits 0-9, 10-19, 20-29.
    std::vector<uint16_t> six(12, 0);
    six[0] = 0x3ff; // Cb0
    six[1] = 0x001; // Y0
    six[2] = 0x200; // Cr0
    six[3] = 0x155; // Y1 opens word 1
    const std::vector<uint8_t> v210 = FormatReference::pack422(Format::eV210, 10, 6, six);
    ASSERT_EQ(v210.size(), 128u);
    EXPECT_EQ(FormatReference::loadWord(&v210[0]), 0x3ffu | 1u << 10 | 0x200u << 20);
    EXPECT_EQ(FormatReference::loadWord(&v210[4]), 0x155u);

    // M101: high bytes first, then the low bits of all sixteen samples.
    std::vector<uint16_t> eight(16, 0);
    eight[0] = 0x3ff;
    eight[1] = 0x202;
    eight[15] = 0x003;
    const std::vector<uint8_t> m101 = FormatReference::pack422(Format::eM101, 10, 8, eight);
    ASSERT_EQ(m101.size(), 20u);
    EXPECT_EQ(m101[0], 0xff);
    EXPECT_EQ(m101[1], 0x80);
    EXPECT_EQ(m101[15], 0x00);
    EXPECT_EQ(FormatReference::loadWord(&m101[16]), 3u | 2u << 2 | 3u << 30);

    // DVS1: three samples a word from the top, bits 0-1 clear.
    const std::vector<uint8_t> dvs = FormatReference::pack422(Format::eDVS1, 10, 2, {0x3ff, 0x001, 0x200, 0x0aa});
    ASSERT_EQ(dvs.size(), 8u);
    EXPECT_EQ(FormatReference::loadWord(&dvs[0]), 0x3ffu << 22 | 1u << 12 | 0x200u << 2);
    EXPECT_EQ(FormatReference::loadWord(&dvs[4]), 0x0aau << 22);
}

TEST(SurfaceFormatReference, MatroxGroupsStartWithEightBitPairs) {
    // The first four texels of a group are the group's pairs as 8-bit UYVY,
    // which is all that the base-only unpacker reads.
    const std::vector<uint16_t> samples = randomSamples(16, 10, 5);
    const std::vector<uint8_t> m101 = FormatReference::pack422(Format::eM101, 10, 16, samples);
    std::vector<uint16_t> high(samples.size());
    for (size_t i = 0; i < samples.size(); ++i) high[i] = uint16_t(samples[i] >> 2);
    for (uint32_t group = 0; group < 2; ++group) {
        const std::vector<uint16_t> base = FormatReference::unpack422(Format::eUYVY, 8, 8, &m101[group * 20]);
        EXPECT_EQ(base, std::vector<uint16_t>(high.begin() + group * 16, high.begin() + group * 16 + 16));
    }
    // A width that is not a multiple of 8 keeps the packer's size and loses the
    // partial group's low bits.
    const std::vector<uint16_t> twelve = randomSamples(12, 10, 6);
    const std::vector<uint8_t> cut = FormatReference::pack422(Format::eM101, 10, 12, twelve);
    EXPECT_EQ(cut.size(), 28u);
    const std::vector<uint16_t> back = FormatReference::unpack422(Format::eM101, 10, 12, cut.data());
    for (size_t i = 16; i < twelve.size(); ++i) EXPECT_EQ(back[i], twelve[i] & 0x3fc) << i;
}

} // namespace
