// PNG files through libpng: exact round trips, expansion of grey and palette
// files to RGBA (fixtures from tests/data/png/generate.py, independent of our
// writer), and errors as values for bad input.
#include "platform/png/PngFile.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

LightweightString<wchar_t> widePath(const std::string& path) {
    return LightweightString<wchar_t>(std::wstring(path.begin(), path.end()));
}

std::string scratchPath(const std::string& name) {
    return (std::filesystem::temp_directory_path() / ("qffx-png-" + std::to_string(getpid()) + "-" + name)).string();
}

// Neighbouring bytes always differ, so a byte-order slip in 16-bit samples shows.
Ptr<HostImage> pattern(int w, int h, iGPUImage::eFormat format) {
    Ptr<HostImage> image = HostImage::create({w, h}, format);
    for (size_t i = 0; i < image->getByteSize(); ++i) image->data()[i] = uint8_t(i * 37 + i / 3);
    return image;
}

TEST(PngFile, RoundTripsEightAndSixteenBitsExactly) {
    const std::string path = scratchPath("round.png");
    for (const Ptr<HostImage>& image : {pattern(37, 11, iGPUImage::eRGBA8), pattern(13, 9, iGPUImage::eRGBA16)}) {
        std::string error;
        ASSERT_TRUE(PngFile::write(widePath(path), *image, error)) << "format " << image->getFormat() << ": " << error;
        const Ptr<HostImage> back = PngFile::read(widePath(path), error);
        ASSERT_TRUE(back) << error;
        ASSERT_EQ(back->getFormat(), image->getFormat());
        ASSERT_EQ(back->getSize(), image->getSize());
        EXPECT_EQ(0, std::memcmp(back->data(), image->data(), image->getByteSize()));
    }
    std::filesystem::remove(path);
}

TEST(PngFile, ExpandsGreyAndPaletteFilesToRGBA) {
    const std::array<int, 4> palette[] = {{255, 0, 0, 255}, {0, 255, 0, 128}, {0, 0, 255, 255}};
    for (const char* file : {"grey8.png", "palette4_trns.png"}) {
        std::string error;
        const Ptr<HostImage> r = PngFile::read(widePath(std::string(QFFX_TEST_DATA_DIR) + "png/" + file), error);
        ASSERT_TRUE(r) << error;
        const bool grey = file[0] == 'g';
        ASSERT_EQ(r->getSize(), grey ? XY<int>(4, 3) : XY<int>(5, 2));
        ASSERT_EQ(r->getFormat(), iGPUImage::eRGBA8);
        for (int y = 0; y < r->getHeight(); ++y)
            for (int x = 0; x < r->getWidth(); ++x) {
                const int v = 60 * x + y;
                const std::array<int, 4> expected = grey ? std::array{v, v, v, 255} : palette[(x + y) % 3];
                const uint8_t* p = r->row(y) + x * 4;
                EXPECT_EQ((std::array<int, 4>{p[0], p[1], p[2], p[3]}), expected) << file << " at " << x << "," << y;
            }
    }
}

TEST(PngFile, MissingForeignAndTruncatedFilesGiveMessagesNotImages) {
    const std::string missing = scratchPath("missing.png"), garbage = scratchPath("garbage.png");
    std::ofstream(garbage) << "This is a text file, not an image.\n";
    for (auto [path, message] : {std::pair{missing, "cannot open file"}, std::pair{garbage, "not a PNG file"}}) {
        std::string error;
        EXPECT_FALSE(PngFile::read(widePath(path), error));
        EXPECT_NE(error.find(path + ": " + message), std::string::npos) << error;
    }
    std::filesystem::remove(garbage);

    std::vector<uint8_t> png;
    std::string error;
    ASSERT_TRUE(PngFile::encode(*pattern(21, 5, iGPUImage::eRGBA8), png, error));
    for (size_t size = 0; size < png.size(); ++size) {
        error.clear();
        ASSERT_TRUE(!PngFile::decode(png.data(), size, error, "cut") && !error.empty()) << "cut at " << size;
    }
    EXPECT_FALSE(PngFile::decode(png.data(), png.size() / 2, error));
    EXPECT_EQ(error, "PNG data: truncated PNG data");
}

} // namespace

namespace {

uint32_t crc32(const std::string& bytes) {
    uint32_t crc = 0xFFFFFFFFu;
    for (unsigned char b : bytes) {
        crc ^= b;
        for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

std::string bigEndian(uint32_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }

// A chunk whose length field may claim more than the data it carries.
std::string chunk(const std::string& kind, const std::string& data, uint32_t claimedLength) {
    return bigEndian(claimedLength) + kind + data + bigEndian(crc32(kind + data));
}

std::string header(uint32_t width, uint32_t height) {
    return "\x89PNG\r\n\x1a\n" + chunk("IHDR", bigEndian(width) + bigEndian(height) + std::string("\x08\x06\0\0\0", 5), 13);
}

} // namespace

// Headers that lie about sizes are refused before the memory they claim is taken.
TEST(PngFile, LyingHeadersAreRefusedBeforeTheirMemoryIsTaken) {
    const std::string tinyData = chunk("IDAT", std::string("\x78\x9c\x03\x00\x00\x00\x00\x01", 8), 8);
    const std::string huge = header(32768, 16384) + tinyData + chunk("IEND", "", 0);
    std::string error;
    EXPECT_FALSE(PngFile::decode(huge.data(), huge.size(), error));
    EXPECT_EQ(error, "PNG data: the file is too small to hold the picture its header describes");

    const std::string text = header(1, 1) + chunk("tEXt", "Comment\0x", 0x7FFFFFF0u) + tinyData + chunk("IEND", "", 0);
    error.clear();
    EXPECT_FALSE(PngFile::decode(text.data(), text.size(), error));
    EXPECT_EQ(error, "PNG data: a chunk is larger than any picture needs (tEXt: chunk data is too large)");
}
