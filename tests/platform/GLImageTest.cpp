// GPU images on the OpenGL service: exact round trips, and refusals.
#include "GLTestSupport.h"

#include <climits>
#include <cstring>
#include <random>

using namespace QfGLTest;

namespace {

// Valid texels of `format`: any bits for the integer formats, finite numbers
// for the float ones (a NaN need not keep its payload).
std::vector<uint8_t> randomTexels(iGPUImage::eFormat format, size_t bytes, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<uint8_t> data(bytes);
    std::uniform_real_distribution<float> real(-1000.0f, 1000.0f);
    for (size_t i = 0; i + 4 <= bytes;) { // a tail under 4 bytes lies in padding
        if (format == iGPUImage::eRGBA16F) {
            uint16_t half = uint16_t(random() & 0xFFFF);
            if ((half & 0x7C00) == 0x7C00) half &= 0xBFFF; // no infinities or NaNs
            std::memcpy(&data[i], &half, 2), i += 2;
        } else if (format == iGPUImage::eRGBA32F) {
            const float f = real(random);
            std::memcpy(&data[i], &f, 4), i += 4;
        } else {
            data[i++] = uint8_t(random());
        }
    }
    return data;
}

class GLImageTest : public GLTest {};

} // namespace

// Packed rows, a padded stride of whole texels, one that is not (another path
// inside), and a volume; odd sizes catch row-alignment slips.
TEST_F(GLImageTest, RoundTripsEveryFormatStrideAndDimensionExactly) {
    const int width = 13, height = 7, depth = 3;
    constexpr size_t kVolume = SIZE_MAX; // a 13x7x3 image with packed rows
    for (const auto format : {iGPUImage::eRGBA8, iGPUImage::eRGBA16, iGPUImage::eRGBA16F, iGPUImage::eRGBA32F}) {
        const size_t texel = bitsPerTexel(format) / 8, row = width * texel;
        for (const size_t stride : {size_t(0), row + texel * 3, row + 5, kVolume}) {
            SCOPED_TRACE(testing::Message() << "format " << format << " stride " << stride);
            const bool volume = stride == kVolume;
            const size_t pitch = stride && !volume ? stride : row, rows = volume ? height * depth : height;
            const Ptr<iGPUImage> image =
                volume ? m_gpu->create3DImage(width, height, depth, format) : m_gpu->createImage({width, height}, format);
            ASSERT_TRUE(image);
            const std::vector<uint8_t> source = randomTexels(format, pitch * rows, 7 + unsigned(stride));
            ASSERT_TRUE(image->upload(source.data(), volume ? 0 : stride));
            std::vector<uint8_t> back(pitch * rows, 0xEE);
            ASSERT_TRUE(image->readBack(back.data(), volume ? 0 : stride));
            for (size_t y = 0; y < rows; ++y) {
                ASSERT_EQ(0, std::memcmp(&source[y * pitch], &back[y * pitch], row)) << "row " << y;
            }
            EXPECT_EQ(back[row], pitch > row ? 0xEE : source[row]); // the padding between rows is left alone
        }
    }
}

TEST_F(GLImageTest, RefusesBadSizesAndArguments) {
    for (const XY<int> size : {XY<int>(0, 4), XY<int>(4, 0), XY<int>(-1, 4), XY<int>(4, -8), XY<int>(1 << 20, 1),
                               XY<int>(INT_MAX, INT_MAX), XY<int>(16384, 16384)})
        EXPECT_FALSE(m_gpu->createImage(size, iGPUImage::eRGBA32F)) << size.x << "x" << size.y;
    EXPECT_FALSE(m_gpu->createImage({4, 4}, iGPUImage::eFormat(9)));
    EXPECT_FALSE(m_gpu->create3DImage(4, 4, 0, iGPUImage::eRGBA8) || m_gpu->create3DImage(4, -4, 4, iGPUImage::eRGBA8) ||
                 m_gpu->create3DImage(100000, 4, 4, iGPUImage::eRGBA8));

    const Ptr<iGPUImage> image = m_gpu->createImage({4, 2}, iGPUImage::eRGBA8);
    ASSERT_TRUE(image);
    std::vector<uint8_t> texels(4 * 2 * 4);
    EXPECT_FALSE(image->upload(nullptr) || image->readBack(nullptr));
    EXPECT_FALSE(image->upload(texels.data(), 15) || image->readBack(texels.data(), 15)); // shorter than a row
    EXPECT_FALSE(image->upload(texels.data(), SIZE_MAX));
}
