// PNG reading and writing through libpng: exact round trips, expansion of
// the other colour types to RGBA (fixtures written by tests/data/png/generate.py,
// independently of our writer), and errors as values for bad input.
#include "platform/posix/PngFile.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <unistd.h>

namespace {

const std::string kPngDir = std::string(QFFX_TEST_DATA_DIR) + "png/";

LightweightString<wchar_t> widePath(const std::string& path) {
    return LightweightString<wchar_t>(std::wstring(path.begin(), path.end()));
}

std::vector<uint8_t> fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A scratch directory of this test process, removed afterwards.
class PngFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = std::filesystem::temp_directory_path() / ("qffx-png-" + std::to_string(getpid()));
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }
    std::string scratch(const std::string& name) const { return (dir_ / name).string(); }

    std::filesystem::path dir_;
};

Ptr<HostImage> patternImage8(int w, int h) {
    Ptr<HostImage> image = HostImage::create({w, h}, iGPUImage::eRGBA8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w * 4; ++x) image->row(y)[x] = uint8_t(x * 7 + y * 13 + (x % 4) * 61);
    return image;
}

Ptr<HostImage> patternImage16(int w, int h) {
    Ptr<HostImage> image = HostImage::create({w, h}, iGPUImage::eRGBA16);
    for (int y = 0; y < h; ++y) {
        auto* row = reinterpret_cast<uint16_t*>(image->row(y));
        // High and low bytes differ everywhere, so a byte-order slip shows.
        for (int i = 0; i < w * 4; ++i) row[i] = uint16_t(i * 4099 + y * 257 + 0x0102);
    }
    return image;
}

void expectSamePixels(const HostImage& a, const HostImage& b) {
    ASSERT_EQ(a.getFormat(), b.getFormat());
    ASSERT_EQ(a.getSize(), b.getSize());
    EXPECT_EQ(0, std::memcmp(a.data(), b.data(), a.getByteSize()));
}

TEST_F(PngFileTest, RoundTripsEightAndSixteenBitsExactly) {
    for (const Ptr<HostImage>& image : {patternImage8(37, 11), patternImage16(13, 9)}) {
        const std::string path = scratch("round.png");
        ASSERT_TRUE(PngFile::write(widePath(path), *image)) << "format " << image->getFormat();
        PngFile::ReadResult back = PngFile::read(widePath(path));
        ASSERT_TRUE(back) << back.error;
        EXPECT_TRUE(back.error.empty());
        expectSamePixels(*image, *back.image);

        std::vector<uint8_t> bytes;
        ASSERT_TRUE(PngFile::encode(*image, bytes));
        EXPECT_EQ(bytes, fileBytes(path));
    }
}

TEST_F(PngFileTest, FloatImagesAreWrittenClampedAsSixteenBit) {
    for (iGPUImage::eFormat format : {iGPUImage::eRGBA16F, iGPUImage::eRGBA32F}) {
        Ptr<HostImage> image = HostImage::create({2, 1}, format);
        image->setTexel(0, 0, {0.5f, -1.0f, 2.0f, 1.0f});
        image->setTexel(1, 0, {0.0f, 0.25f, 1.0f, 0.0f});
        std::vector<uint8_t> bytes;
        ASSERT_TRUE(PngFile::encode(*image, bytes));
        PngFile::ReadResult back = PngFile::decode(bytes.data(), bytes.size());
        ASSERT_TRUE(back) << back.error;
        ASSERT_EQ(back.image->getFormat(), iGPUImage::eRGBA16);
        const auto* p = reinterpret_cast<const uint16_t*>(back.image->data());
        EXPECT_EQ(std::vector<uint16_t>(p, p + 8), (std::vector<uint16_t>{32768, 0, 65535, 65535, 0, 16384, 65535, 0}));
    }
}

TEST_F(PngFileTest, ExpandsGreyPaletteAndInterlacedFilesToRGBA) {
    struct Case {
        const char* file;
        int w, h;
        iGPUImage::eFormat format;
        std::function<std::array<int, 4>(int, int)> expected;
    };
    const Case cases[] = {
        {"grey8.png", 4, 3, iGPUImage::eRGBA8, [](int x, int y) { int v = 60 * x + y; return std::array{v, v, v, 255}; }},
        {"grey1.png", 10, 2, iGPUImage::eRGBA8,
         [](int x, int y) { int v = (x + y) % 2 ? 255 : 0; return std::array{v, v, v, 255}; }},
        {"palette4_trns.png", 5, 2, iGPUImage::eRGBA8,
         [](int x, int y) {
             const std::array<int, 4> entries[] = {{255, 0, 0, 255}, {0, 255, 0, 128}, {0, 0, 255, 255}};
             return entries[(x + y) % 3];
         }},
        {"greyalpha16.png", 3, 2, iGPUImage::eRGBA16,
         [](int x, int y) { int v = 1000 * x + 20000 * y + 1; return std::array{v, v, v, 65535 - 300 * x - y}; }},
        {"rgb8_adam7.png", 9, 7, iGPUImage::eRGBA8,
         [](int x, int y) { return std::array{x * 25, y * 30, (x * y) % 256, 255}; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        PngFile::ReadResult r = PngFile::read(widePath(kPngDir + c.file));
        ASSERT_TRUE(r) << r.error;
        ASSERT_EQ(r.image->getSize(), XY<int>(c.w, c.h));
        ASSERT_EQ(r.image->getFormat(), c.format);
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w; ++x) {
                std::array<int, 4> got{};
                for (int i = 0; i < 4; ++i)
                    got[size_t(i)] = c.format == iGPUImage::eRGBA8
                                         ? r.image->row(y)[x * 4 + i]
                                         : reinterpret_cast<const uint16_t*>(r.image->row(y))[x * 4 + i];
                EXPECT_EQ(got, c.expected(x, y)) << "at " << x << "," << y;
            }
    }
}

TEST_F(PngFileTest, BadFilesGiveMessagesNotImages) {
    const std::string garbage = scratch("garbage.png");
    std::ofstream(garbage) << "This is a text file, not an image.\n";
    const std::string empty = scratch("empty.png");
    std::ofstream{empty};

    struct Case {
        std::string path;
        std::string message;
    };
    const Case cases[] = {
        {scratch("missing.png"), "cannot open file"},
        {garbage, "not a PNG file"},
        {empty, "not a PNG file"},
        {dir_.string(), "cannot read file"},
    };
    for (const Case& c : cases) {
        PngFile::ReadResult r = PngFile::read(widePath(c.path));
        EXPECT_FALSE(r.image) << c.path;
        EXPECT_NE(r.error.find(c.path + ": " + c.message), std::string::npos) << r.error;
    }
}

TEST_F(PngFileTest, EveryTruncationAndCorruptionFailsCleanly) {
    std::vector<uint8_t> png;
    ASSERT_TRUE(PngFile::encode(*patternImage8(21, 5), png));
    for (size_t size = 0; size < png.size(); ++size) {
        PngFile::ReadResult r = PngFile::decode(png.data(), size, "cut");
        ASSERT_FALSE(r) << "cut at " << size;
        ASSERT_FALSE(r.error.empty());
    }
    EXPECT_EQ(PngFile::decode(png.data(), png.size() / 2).error, "PNG data: truncated PNG data");

    // Flipping any byte after the signature breaks a checksum or a structure.
    for (size_t at = 8; at < png.size(); ++at) {
        std::vector<uint8_t> bad = png;
        bad[at] ^= 0x5a;
        EXPECT_FALSE(PngFile::decode(bad.data(), bad.size())) << "byte " << at;
    }
}

TEST_F(PngFileTest, RefusesSizesBeyondTheLimit) {
    // A valid 1x1 file whose header then claims 40000 pixels of width.
    std::vector<uint8_t> png;
    ASSERT_TRUE(PngFile::encode(*patternImage8(1, 1), png));
    png[16] = 0;
    png[17] = 0;
    png[18] = 0x9c;
    png[19] = 0x40;
    // Re-seal the header's checksum so that only the size is wrong.
    uint32_t crc = 0xffffffffu;
    for (size_t i = 12; i < 29; ++i) {
        crc ^= png[i];
        for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    crc ^= 0xffffffffu;
    for (int i = 0; i < 4; ++i) png[29 + size_t(i)] = uint8_t(crc >> (24 - 8 * i));
    PngFile::ReadResult r = PngFile::decode(png.data(), png.size());
    EXPECT_FALSE(r);
    EXPECT_NE(r.error.find("width"), std::string::npos) << r.error;
}

TEST_F(PngFileTest, WriteIntoAMissingDirectoryFails) {
    const std::string path = scratch("no/such/dir/out.png");
    PngFile::WriteResult w = PngFile::write(widePath(path), *patternImage8(2, 2));
    EXPECT_FALSE(w);
    EXPECT_NE(w.error.find(path + ": cannot create file"), std::string::npos) << w.error;
}

} // namespace
