// GPU images on the OpenGL service: exact round trips for every format and
// stride, 3D images, and refusals of bad sizes and arguments.
#include "GLTestSupport.h"

#include "platform/gl/GLImage.h"

#include <climits>
#include <cstring>
#include <random>

using namespace QfGLTest;

namespace {

const iGPUImage::eFormat kFormats[] = {iGPUImage::eRGBA8, iGPUImage::eRGBA16, iGPUImage::eRGBA16F, iGPUImage::eRGBA32F};

// Bytes that are valid texels of `format`: any bits for the integer formats,
// finite numbers for the float ones (a NaN need not keep its payload).
std::vector<uint8_t> randomTexels(iGPUImage::eFormat format, size_t count, unsigned seed) {
    std::mt19937 random(seed);
    const size_t bytes = count * bitsPerTexel(format) / 8;
    std::vector<uint8_t> data(bytes);
    if (format == iGPUImage::eRGBA16F) {
        for (size_t i = 0; i < bytes; i += 2) {
            uint16_t half = uint16_t(random() & 0xFFFF);
            if ((half & 0x7C00) == 0x7C00) half &= 0xBFFF; // no infinities or NaNs
            std::memcpy(&data[i], &half, 2);
        }
    } else if (format == iGPUImage::eRGBA32F) {
        std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
        for (size_t i = 0; i < bytes; i += 4) {
            const float f = value(random);
            std::memcpy(&data[i], &f, 4);
        }
    } else {
        for (uint8_t& b : data) b = uint8_t(random());
    }
    return data;
}

class GLImageTest : public GLTest {};

} // namespace

TEST_F(GLImageTest, DescribesItself) {
    const Ptr<iGPUImage> image = gpu_->createImage({7, 3}, iGPUImage::eRGBA16F);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->getSize(), XY<int>(7, 3));
    EXPECT_EQ(image->getDepth(), 1);
    EXPECT_FALSE(image->is3D());
    EXPECT_EQ(image->getFormat(), iGPUImage::eRGBA16F);
    EXPECT_EQ(image->getBitsPerTexel(), 64u);

    const Ptr<iGPUImage> volume = gpu_->create3DImage(4, 5, 6, iGPUImage::eRGBA32F);
    ASSERT_TRUE(volume);
    EXPECT_EQ(volume->getSize(), XY<int>(4, 5));
    EXPECT_EQ(volume->getDepth(), 6);
    EXPECT_TRUE(volume->is3D());
    EXPECT_EQ(volume->getBitsPerTexel(), 128u);
}

// Packed rows, a padded stride that is a whole number of texels, and one that
// is not (which takes another path inside); odd sizes catch row-alignment slips.
TEST_F(GLImageTest, RoundTripsEveryFormatAndStrideExactly) {
    const int width = 13, height = 7;
    for (const iGPUImage::eFormat format : kFormats) {
        const size_t row = size_t(width) * bitsPerTexel(format) / 8;
        for (const size_t stride : {size_t(0), row + bitsPerTexel(format) / 8 * 3, row + 5}) {
            SCOPED_TRACE(testing::Message() << "format " << format << " stride " << stride);
            const size_t pitch = stride ? stride : row;
            const std::vector<uint8_t> source = randomTexels(format, pitch * height / (bitsPerTexel(format) / 8) + 1, 7 + unsigned(stride));
            const Ptr<iGPUImage> image = gpu_->createImage({width, height}, format);
            ASSERT_TRUE(image);
            ASSERT_TRUE(image->upload(source.data(), stride));
            std::vector<uint8_t> back(pitch * height, 0xEE);
            ASSERT_TRUE(image->readBack(back.data(), stride));
            for (int y = 0; y < height; ++y) {
                ASSERT_EQ(0, std::memcmp(&source[y * pitch], &back[y * pitch], row)) << "row " << y;
            }
            // A read-back leaves the padding between rows as it was.
            if (pitch > row) {
                EXPECT_EQ(back[row], 0xEE);
            }
        }
    }
}

TEST_F(GLImageTest, RoundTrips3DImagesSliceBySlice) {
    for (const iGPUImage::eFormat format : kFormats) {
        const Ptr<iGPUImage> volume = gpu_->create3DImage(5, 4, 3, format);
        ASSERT_TRUE(volume);
        const std::vector<uint8_t> source = randomTexels(format, 5 * 4 * 3, 11);
        ASSERT_TRUE(volume->upload(source.data()));
        std::vector<uint8_t> back(source.size());
        ASSERT_TRUE(volume->readBack(back.data()));
        EXPECT_EQ(source, back) << "format " << format;
    }
}

TEST_F(GLImageTest, RefusesBadSizesAndArguments) {
    for (const XY<int> size : {XY<int>(0, 4), XY<int>(4, 0), XY<int>(-1, 4), XY<int>(4, -8), XY<int>(1 << 20, 1),
                               XY<int>(INT_MAX, INT_MAX), XY<int>(16384, 16384)})
        EXPECT_FALSE(gpu_->createImage(size, iGPUImage::eRGBA32F)) << size.x << "x" << size.y;
    EXPECT_FALSE(gpu_->createImage({4, 4}, iGPUImage::eFormat(9)));
    EXPECT_FALSE(gpu_->create3DImage(4, 4, 0, iGPUImage::eRGBA8));
    EXPECT_FALSE(gpu_->create3DImage(4, -4, 4, iGPUImage::eRGBA8));
    EXPECT_FALSE(gpu_->create3DImage(100000, 4, 4, iGPUImage::eRGBA8));

    const Ptr<iGPUImage> image = gpu_->createImage({4, 2}, iGPUImage::eRGBA8);
    ASSERT_TRUE(image);
    std::vector<uint8_t> texels(4 * 2 * 4);
    EXPECT_FALSE(image->upload(nullptr));
    EXPECT_FALSE(image->readBack(nullptr));
    EXPECT_FALSE(image->upload(texels.data(), 15)); // shorter than a row
    EXPECT_FALSE(image->readBack(texels.data(), 15));
    EXPECT_FALSE(image->upload(texels.data(), SIZE_MAX));
}

TEST_F(GLImageTest, ReleasedImageRefusesTransfersAndDraws) {
    const Ptr<iGPUImage> image = rgba8Image(2, 2, std::vector<uint8_t>(16, 9));
    ASSERT_TRUE(image);
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("Invert.fx"));
    ASSERT_TRUE(effect);
    const Ptr<iGPUImage> target = gpu_->createImage({2, 2}, iGPUImage::eRGBA8);
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", image)}));

    GLImage* gl = dynamic_cast<GLImage*>(target.get());
    ASSERT_TRUE(gl);
    gl->releaseGPUResources();
    std::vector<uint8_t> texels(16);
    EXPECT_FALSE(target->upload(texels.data()));
    EXPECT_FALSE(target->readBack(texels.data()));
    EXPECT_FALSE(effect->draw(target, {ShaderInputBinding::whole("Input", image)}));
    gpu_->releaseGPUResources(); // nothing else to drop; must not disturb live images
    EXPECT_EQ(readRGBA8(image), std::vector<uint8_t>(16, 9));
}
