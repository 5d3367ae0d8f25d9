// Surfaces and host images: format layouts, init's checks, copies and metadata,
// the reference 4:2:2 packer, half floats, and trips to GPU images in memory.
#include "host/image/Surface.h"
#include "host/SurfaceFormatsReference.h"
#include "host/image/HostImage.h"
#include "host/os/OS.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

namespace {

// A GPU image that is plain memory: uploads and read-backs copy rows with the given stride.
class MemoryImage final : public iGPUImage {
public:
    MemoryImage(XY<int> size, int depth, eFormat format)
        : m_size(size), m_depth(depth), m_format(format), m_texels(rowBytes() * size_t(size.y * depth)) {}
    XY<int> getSize() const override { return m_size; }
    int getDepth() const override { return m_depth; }
    bool is3D() const override { return m_depth > 1; } // the tests' 3D images are deeper than one
    eFormat getFormat() const override { return m_format; }
    unsigned getBitsPerTexel() const override { return bitsPerTexel(m_format); }
    bool upload(const void* from, size_t stride) override {
        for (size_t y = 0, row = rowBytes(); y < size_t(m_size.y * m_depth); ++y)
            std::memcpy(&m_texels[y * row], static_cast<const uint8_t*>(from) + y * (stride ? stride : row), row);
        return true;
    }
    bool readBack(void* to, size_t stride) const override {
        for (size_t y = 0, row = rowBytes(); y < size_t(m_size.y * m_depth); ++y)
            std::memcpy(static_cast<uint8_t*>(to) + y * (stride ? stride : row), &m_texels[y * row], row);
        return true;
    }

private:
    size_t rowBytes() const { return size_t(m_size.x) * bitsPerTexel(m_format) / 8; }
    XY<int> m_size;
    int m_depth;
    eFormat m_format;
    std::vector<uint8_t> m_texels;
};

class MemoryGPUService final : public iGPUService {
public:
    eShadingLanguage getShadingLanguage() const override { return eShadingLanguageGLSL; }
    ShaderCompilationOutput compileEffectFile(const LightweightString<wchar_t>&, const ShaderDefinitions&) override { return {}; }
    ShaderCompilationOutput compileEffectText(const LightweightString<char>&, const ShaderDefinitions&) override { return {}; }
    Ptr<iGPUImage> createImage(XY<int> size, iGPUImage::eFormat f) override { return makePtr<MemoryImage>(size, 1, f); }
    Ptr<iGPUImage> create3DImage(int w, int h, int d, iGPUImage::eFormat f) override {
        return makePtr<MemoryImage>(XY<int>(w, h), d, f);
    }
    void releaseGPUResources() override {}
};

TEST(SurfaceFormat, EveryFormatHasItsLayoutAndUnsupportedDepthsHaveNone) {
    using G = iGPUImage;
    // Format, depth, width; bits per pixel (0: not in this depth), texel format, texels per row, minimum stride.
    const std::tuple<Format, unsigned, uint32_t, uint16_t, G::eFormat, uint32_t, uint32_t> cases[] = {
        {Format::eRGBA, 8, 1920, 32, G::eRGBA8, 1920, 7680},
        {Format::eRGBA, 16, 1920, 64, G::eRGBA16, 1920, 15360},
        {Format::eBGRA, 8, 5, 32, G::eRGBA8, 5, 20},
        {Format::eARGB, 16, 5, 64, G::eRGBA16, 5, 40},
        {Format::eRGBAHalf, 16, 10, 64, G::eRGBA16F, 10, 80},
        {Format::eRGBAFloat, 32, 10, 128, G::eRGBA32F, 10, 160},
        {Format::eUYVY, 8, 7, 16, G::eRGBA8, 4, 16},
        {Format::eYUY2, 8, 1920, 16, G::eRGBA8, 960, 3840},
        {Format::eUYVY, 10, 1920, 32, G::eRGBA16, 960, 7680},
        {Format::eYUY2, 16, 1920, 32, G::eRGBA16, 960, 7680},
        {Format::eV210, 10, 1920, 20, G::eRGBA8, 1280, 5120},
        {Format::eV210, 10, 1280, 20, G::eRGBA8, 864, 3456},
        {Format::eV210, 10, 1, 20, G::eRGBA8, 32, 128},
        {Format::eM101, 10, 1920, 20, G::eRGBA8, 1200, 4800},
        {Format::eM101, 10, 1, 20, G::eRGBA8, 0, 0},
        {Format::eDVS1, 10, 7, 20, G::eRGBA8, 6, 24},
        {Format::ePlanarRGB, 8, 1920, 24, G::eRGBA8, 480, 1920},
        {Format::ePlanarYCbCr, 8, 7, 24, G::eRGBA8, 2, 8},
        {Format::eRGBA, 10, 16, 0, {}, 0, 0},
        {Format::eRGBAHalf, 32, 16, 0, {}, 0, 0},
        {Format::eUYVY, 12, 16, 0, {}, 0, 0},
        {Format::eV210, 8, 16, 0, {}, 0, 0},
        {Format::ePlanarRGB, 16, 16, 0, {}, 0, 0},
        {formatFromName("NV12"), 8, 16, 0, {}, 0, 0},
    };
    EXPECT_EQ(uint32_t(Format::eM101), 0x3130314du);
    EXPECT_EQ(formatName(Format(0x4100ff52u)), "R??A");
    MemoryGPUService gpu;
    for (auto [format, bits, width, bitsPerPixel, texel, texelsPerRow, minStride] : cases) {
        SCOPED_TRACE(formatName(format) + " " + std::to_string(bits) + " bits, width " + std::to_string(width));
        EXPECT_EQ(bitsPerPixelFor(format, bits), bitsPerPixel);
        const std::optional<TexelLayout> t = texelLayoutFor(format, bits, width, 10);
        Surface s(width, 10, format, uint16_t(bits));
        ASSERT_EQ(!s.isEmpty(), bitsPerPixel != 0);
        ASSERT_EQ(t.has_value(), bitsPerPixel != 0);
        if (!t) continue;
        const uint32_t planes = format == Format::ePlanarRGB || format == Format::ePlanarYCbCr ? 3 : 1;
        EXPECT_EQ(std::tuple(t->texelFormat, t->texelsPerRow, t->rows, t->minStride),
                  std::tuple(texel, texelsPerRow, 10 * planes, minStride));
        EXPECT_EQ(std::pair(s.getStride(), s.getByteSize()), std::pair(minStride, size_t(minStride) * 10 * planes));
        if (texelsPerRow == 0) continue;
        EXPECT_EQ(s.getRow(9, planes - 1), s.getPixels() + (10 * planes - 1) * minStride);
        EXPECT_FALSE(s.getRow(0, planes));
        Ptr<iGPUImage> image = s.createGPUSurface(gpu);
        ASSERT_TRUE(image);
        EXPECT_EQ(image->getSize(), XY<int>(int(texelsPerRow), int(10 * planes)));
        EXPECT_EQ(s.getPixelsPerTexel(), pixelsPerTexel(format, bits));
    }
}

TEST(Surface, InitRejectsInconsistentDescriptionsAndKeepsThePreviousOne) {
    Surface s(64, 2, Format::eRGBA);
    const uint8_t* pixels = s.getPixels();
    const Data::Video video{.colourimetry = Data::Video::eBT2020};
    s.setVideoData(video);
    EXPECT_FALSE(s.init(64, 2, Format::eUYVY, 8, 32));                                            // bits per pixel
    EXPECT_FALSE(s.init(64, 2, Format::eRGBA, 8, 0, Surface::ePlanar));                           // layout
    EXPECT_FALSE(s.init(64, 2, Format::eRGBA, 8, 0, Surface::ePacked, Surface::eAllocHost, 255)); // stride too small
    EXPECT_FALSE(s.init(64, 2, Format::eRGBA, 8, 0, Surface::ePacked, Surface::eAllocHost, 258)); // not whole texels
    EXPECT_FALSE(s.init(Surface::kMaxDimension + 1, 2, Format::eRGBA, 8, 0));
    EXPECT_FALSE(s.init(64, 2, formatFromName("abcd"), 8, 0)); // unknown code needs bits per pixel
    EXPECT_EQ(s.getPixels(), pixels);
    EXPECT_EQ(s.getVideoData(), video);
    // Success replaces everything, metadata included; unknown codes are taken as given.
    ASSERT_TRUE(s.init(5, 4, formatFromName("r210"), 10, 30, Surface::ePacked));
    EXPECT_EQ(s.getStride(), 19u); // 150 bits round up to 19 bytes
    EXPECT_EQ(s.getByteSize(), 76u);
    EXPECT_EQ(s.getVideoData(), Data::Video{});
}

TEST(Surface, CopiesSharePixelsAndKeepTheirOwnDescriptionAndMetadata) {
    Surface src(8, 8, Format::eYUY2);
    const Data::Video video{.range = Data::Video::eFullRange};
    const Data::VideoSample sample{.frameNumber = 26};
    src.setVideoData(video);
    src.setVideoSampleData(sample);
    src.getPixels()[0] = 7;
    Surface shared = src, other(2, 2, Format::eRGBA);
    const Surface cloned = src.clone();
    shared.getPixels()[0] = 9;
    shared.setBitsPerComponent(16);
    EXPECT_EQ(src.getPixels()[0], 9);
    EXPECT_EQ(cloned.getPixels()[0], 7);
    EXPECT_EQ(src.getBitsPerComponent(), 8);
    other.copyMetadataFrom(src);
    for (const Surface& copy : {shared, cloned, other}) {
        EXPECT_EQ(copy.getVideoData(), video);
        EXPECT_EQ(copy.getVideoSampleData(), sample);
    }
}

TEST(Surface, GPUTripKeepsEveryRowWithPaddedStridesAndChecksTheImage) {
    MemoryGPUService gpu;
    std::mt19937 random(3);
    Surface s;
    ASSERT_TRUE(s.init(11, 5, Format::eUYVY, 10, 0, Surface::ePacked, Surface::eAllocHost, 64));
    for (size_t i = 0; i < s.getByteSize(); ++i) s.getPixels()[i] = uint8_t(random());
    const Surface original = s.clone();
    Ptr<iGPUImage> image = s.createGPUSurface(gpu);
    ASSERT_TRUE(image);
    // A surface without host memory gets some on read-back.
    ASSERT_TRUE(s.init(11, 5, Format::eUYVY, 10, 0, Surface::ePacked, Surface::eAllocNone));
    EXPECT_FALSE(s.getRow(0));
    s.setGPUSurface(image);
    ASSERT_TRUE(s.readBackFromGPU());
    for (uint32_t y = 0; y < 5; ++y) EXPECT_EQ(0, std::memcmp(s.getRow(y), original.getRow(y), 48)) << y;

    for (Ptr<iGPUImage> wrong : {gpu.createImage({11, 5}, iGPUImage::eRGBA16), gpu.createImage({6, 5}, iGPUImage::eRGBA8)}) {
        s.setGPUSurface(wrong);
        EXPECT_FALSE(s.uploadToGPU());
        EXPECT_FALSE(s.readBackFromGPU());
    }
    // A GPU image is described by the surface format of its texels.
    EXPECT_EQ(Surface::forGPUImage(gpu.createImage({3, 2}, iGPUImage::eRGBA16)).getBitsPerComponent(), 16);
    EXPECT_EQ(Surface::forGPUImage(gpu.createImage({3, 2}, iGPUImage::eRGBA16F)).getDataFormat(), Format::eRGBAHalf);
    EXPECT_TRUE(Surface::forGPUImage(gpu.createImage({3, 2}, iGPUImage::eRGBA32F)).readBackFromGPU());
    EXPECT_TRUE(Surface::forGPUImage(gpu.create3DImage(4, 4, 4, iGPUImage::eRGBA32F)).isEmpty());
}

TEST(SurfaceFormatReference, RowsRoundTripAndMatchTheByteTables) {
    const std::tuple<Format, unsigned, uint32_t> cases[] = {
        {Format::eUYVY, 8, 7},   {Format::eYUY2, 8, 8},   {Format::eUYVY, 10, 6}, {Format::eYUY2, 16, 5},
        {Format::eV210, 10, 50}, {Format::eM101, 10, 16}, {Format::eDVS1, 10, 9}, {Format::eDVS1, 10, 1920}};
    for (auto [format, bits, width] : cases) {
        std::mt19937 random(width);
        std::vector<uint16_t> samples((width + 1) / 2 * 4);
        for (uint16_t& v : samples) v = uint16_t(random() & ((1u << bits) - 1));
        const std::vector<uint8_t> row = FormatReference::pack422(format, bits, width, samples);
        EXPECT_EQ(FormatReference::unpack422(format, bits, width, row.data()), samples) << formatName(format);
    }
    using FormatReference::loadWord, FormatReference::pack422;
    using Bytes = std::vector<uint8_t>;
    EXPECT_EQ(pack422(Format::eUYVY, 8, 2, {0x10, 0x20, 0x30, 0x40}), (Bytes{0x10, 0x20, 0x30, 0x40}));
    EXPECT_EQ(pack422(Format::eYUY2, 8, 2, {0x10, 0x20, 0x30, 0x40}), (Bytes{0x20, 0x10, 0x40, 0x30}));
    // 10 bits in 16-bit words: left-aligned with the top bits repeated below.
    EXPECT_EQ(pack422(Format::eUYVY, 10, 2, {1023, 512, 0, 1}), (Bytes{0xff, 0xff, 0x20, 0x80, 0, 0, 0x40, 0}));
    const Bytes v210 = pack422(Format::eV210, 10, 6, {0x3ff, 0x001, 0x200, 0x155, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(loadWord(&v210[0]), 0x3ffu | 1u << 10 | 0x200u << 20);
    EXPECT_EQ(loadWord(&v210[4]), 0x155u);
    // M101: the high bytes of sixteen samples, then their low bits in one word.
    const Bytes m101 = pack422(Format::eM101, 10, 8, {0x3ff, 0x202, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3});
    EXPECT_EQ(Bytes(m101.begin(), m101.begin() + 2), (Bytes{0xff, 0x80}));
    EXPECT_EQ(loadWord(&m101[16]), 3u | 2u << 2 | 3u << 30);
    const Bytes dvs = pack422(Format::eDVS1, 10, 2, {0x3ff, 0x001, 0x200, 0x0aa});
    EXPECT_EQ(loadWord(&dvs[0]), 0x3ffu << 22 | 1u << 12 | 0x200u << 2);
    EXPECT_EQ(loadWord(&dvs[4]), 0x0aau << 22);
}

TEST(HostImage, HalfFloatsRoundToNearestEvenAndNormalisedTexelsClamp) {
    for (uint32_t h = 0; h < 0x10000; ++h) { // every half comes back from its float; NaNs stay NaN
        const float f = floatFromHalf(uint16_t(h));
        ASSERT_TRUE(std::isnan(f) ? std::isnan(floatFromHalf(halfFromFloat(f))) : halfFromFloat(f) == h) << std::hex << h;
    }
    // Halfway cases go to even: 1 + 3/2048 up, 1 + 1/2048 down, 2^-25 down to zero, 3 * 2^-25 up between
    // subnormals; just under 2^-14 rounds up into the normals.
    const std::pair<float, uint16_t> cases[] = {
        {0.1f, 0x2e66},       {65519.0f, 0x7bff},   {65520.0f, 0x7c00}, {1e10f, 0x7c00},    {-1e-30f, 0x8000},
        {0x1.002p0f, 0x3c00}, {0x1.006p0f, 0x3c02}, {0x1p-25f, 0x0000}, {0x3p-25f, 0x0002}, {0x1.ffep-15f, 0x0400}};
    for (auto [value, half] : cases) EXPECT_EQ(halfFromFloat(value), half) << value;
    uint8_t b[4];
    writeTexel(iGPUImage::eRGBA8, {0.5f, -1.0f, 2.0f, std::nanf("")}, b);
    EXPECT_EQ(std::vector<uint8_t>(b, b + 4), (std::vector<uint8_t>{128, 0, 255, 0}));
}

TEST(HostImage, ConvertsAndGoesToTheGPUAndBackUnchanged) {
    MemoryGPUService gpu;
    Ptr<HostImage> bytes = HostImage::create({64, 4}, iGPUImage::eRGBA8);
    for (size_t i = 0; i < bytes->getByteSize(); ++i) bytes->data()[i] = uint8_t(i * 7); // every value
    for (iGPUImage::eFormat format : {iGPUImage::eRGBA8, iGPUImage::eRGBA16, iGPUImage::eRGBA16F, iGPUImage::eRGBA32F}) {
        SCOPED_TRACE(format);
        Ptr<HostImage> image = bytes->convertedTo(format);
        Ptr<iGPUImage> onGPU = image->createGPUImage(gpu);
        ASSERT_TRUE(onGPU);
        Ptr<HostImage> back = HostImage::fromGPUImage(*onGPU);
        ASSERT_TRUE(back && back->getFormat() == format);
        EXPECT_EQ(0, std::memcmp(back->data(), image->data(), image->getByteSize()));
        EXPECT_EQ(0, std::memcmp(back->convertedTo(iGPUImage::eRGBA8)->data(), bytes->data(), bytes->getByteSize()));
        EXPECT_FALSE(image->uploadTo(*gpu.createImage({64, 5}, format)));
        EXPECT_FALSE(back->readBackFrom(*gpu.createImage({63, 4}, format)));
        EXPECT_FALSE(
            image->uploadTo(*gpu.createImage({64, 4}, format == iGPUImage::eRGBA8 ? iGPUImage::eRGBA16 : iGPUImage::eRGBA8)));
    }
    EXPECT_EQ(reinterpret_cast<const uint16_t*>(bytes->convertedTo(iGPUImage::eRGBA16)->data())[1], 7 * 257);

    // An RGB LUT's texels gain opaque alpha on the GPU and keep their order.
    Ptr<HostImage3D> lut = HostImage3D::create(2, 3, 4, 3);
    for (size_t i = 0; i < lut->getNumTexels() * 3; ++i) lut->data()[i] = float(i) / 32;
    Ptr<iGPUImage> cube = lut->createGPUImage(gpu, iGPUImage::eRGBA16F);
    std::vector<uint16_t> halves(lut->getNumTexels() * 4);
    ASSERT_TRUE(cube && cube->is3D() && cube->readBack(halves.data()));
    EXPECT_EQ(std::vector<uint16_t>(halves.begin() + 20, halves.begin() + 24),
              (std::vector<uint16_t>{halfFromFloat(15 / 32.0f), halfFromFloat(0.5f), halfFromFloat(17 / 32.0f), 0x3c00}));
    Ptr<HostImage3D> back = HostImage3D::fromGPUImage(*cube, 3);
    ASSERT_TRUE(back);
    EXPECT_EQ(0, std::memcmp(back->data(), lut->data(), lut->getNumTexels() * 3 * sizeof(float)));
    EXPECT_FALSE(lut->uploadTo(*gpu.create3DImage(2, 3, 5, iGPUImage::eRGBA16F)));
}

} // namespace
