// The conversion effects on the real GPU service (llvmpipe without a GPU),
// compared with the CPU references: ColourReference.h for the colour maths
// and SurfaceFormatsReference.h for the packed layouts.
//
// Tolerance: one 10-bit code for the colour conversions (16-bit surfaces;
// the tables are rounded to about 7 digits and the effects compute in float).
// The packed formats are compared exactly.
#include "../ColourReference.h"
#include "host/SurfaceFormatsReference.h"
#include "platform/GLTestSupport.h"

#include "image/ColourConversion.h"
#include "manager/Manager.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

using namespace ColourReference;
using Qf::Image::ColourConversion;

namespace {

using CC = ColourConversion;

class ConversionGPUTest : public QfGLTest::GLTest {
protected:
    void SetUp() override {
        GLTest::SetUp();
        if (!m_gpu) return;
        Qf::FxResources::Manager::instance(); // the shipped effects, compiled on demand
    }
};

uint16_t word16(const uint8_t* p) {
    uint16_t w;
    std::memcpy(&w, p, 2);
    return w;
}

// A 16-bit full-range RGB picture: sweeps, the cube's corners, random colours.
Surface rgbPicture(iGPUService& gpu, uint32_t width, uint32_t height, unsigned seed) {
    Surface s(width, height, Format::eRGBA, 16);
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> code(0, 65535);
    for (uint32_t y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<uint16_t*>(s.getRow(y));
        for (uint32_t x = 0; x < width; ++x) {
            uint16_t* p = row + 4 * x;
            if (y == 0) {
                const uint16_t v = uint16_t(x * 65535 / std::max(1u, width - 1));
                p[0] = v, p[1] = uint16_t(65535 - v), p[2] = uint16_t(v / 2);
            } else if (y == 1) {
                p[0] = x & 1 ? 65535 : 0, p[1] = x & 2 ? 65535 : 0, p[2] = x & 4 ? 65535 : 0;
            } else {
                p[0] = uint16_t(code(rng)), p[1] = uint16_t(code(rng)), p[2] = uint16_t(code(rng));
            }
            p[3] = 65535;
        }
    }
    Data::Video video;
    video.range = Data::Video::eFullRange;
    s.setVideoData(video);
    s.createGPUSurface(gpu);
    return s;
}

Vec3 rgbAt(const Surface& s, uint32_t x, uint32_t y) {
    const uint8_t* p = s.getRow(y) + 8 * x;
    return {word16(p) / 65535.0, word16(p + 2) / 65535.0, word16(p + 4) / 65535.0};
}

Surface ycrcbSurface(uint32_t width, uint32_t height, Format format, uint16_t bits, uint32_t colourimetry, uint32_t range) {
    Surface s(width, height, format, bits);
    Data::Video video;
    video.colourimetry = colourimetry;
    video.range = range;
    s.setVideoData(video);
    return s;
}

// Largest difference in 10-bit codes.
struct Worst {
    double codes = 0;
    void see(double a, double b) { codes = std::max(codes, std::abs(a - b) * 1023); }
};

TEST_F(ConversionGPUTest, RGBToYCrCb444MatchesTheReferenceForEachColourimetryAndRange) {
    const Surface src = rgbPicture(*m_gpu, 97, 9, 1);
    for (const auto& [colourimetry, range] : {std::pair{1u, 2u}, {2u, 2u}, {3u, 2u}, {5u, 2u}, {1u, 1u}}) {
        Surface dst = ycrcbSurface(97, 9, Format::eRGBA, 16, colourimetry, range);
        ASSERT_TRUE(CC::convertRGBToYCrCb444(src, dst, CC::eFilterPoint));
        ASSERT_TRUE(dst.readBackFromGPU());
        Worst worst;
        for (uint32_t y = 0; y < 9; ++y)
            for (uint32_t x = 0; x < 97; ++x) {
                const Vec3 want = toYCrCb(rgbAt(src, x, y), colourimetry, range == 2);
                const Vec3 got = rgbAt(dst, x, y);
                for (int c = 0; c < 3; ++c) worst.see(got[size_t(c)], clamp01(want[size_t(c)]));
            }
        EXPECT_LE(worst.codes, 1.0) << "colourimetry " << colourimetry << " range " << range;
        EXPECT_EQ(dst.getColourimetry(), colourimetry); // the destination says what it holds
    }
}

TEST_F(ConversionGPUTest, YCrCb444ToRGBMatchesTheReferenceWithAndWithoutGamutExpansion) {
    constexpr uint32_t kW = 64, kH = 8;
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> luma(64, 940), chroma(64, 960);
    for (const auto& [colourimetry, gamut] : {std::pair{1u, CC::eGamutFull},
                                              {2u, CC::eGamutFull},
                                              {3u, CC::eGamutFull},
                                              {1u, CC::eGamutLegal},
                                              {2u, CC::eGamutLegal}}) {
        Surface src = ycrcbSurface(kW, kH, Format::eRGBA, 16, colourimetry, 2);
        std::vector<Vec3> samples;
        for (uint32_t y = 0; y < kH; ++y)
            for (uint32_t x = 0; x < kW; ++x) {
                const Vec3 v = {luma(rng) / 1023.0, chroma(rng) / 1023.0, chroma(rng) / 1023.0};
                samples.push_back(v);
                auto* p = reinterpret_cast<uint16_t*>(src.getRow(y)) + 4 * x;
                for (int c = 0; c < 3; ++c) p[c] = uint16_t(v[size_t(c)] * 65535 + 0.5);
                p[3] = 65535;
            }
        src.createGPUSurface(*m_gpu);
        Surface dst(kW, kH, Format::eRGBA, 16);
        ASSERT_TRUE(CC::convertYCrCb444ToRGB(src, dst, gamut, CC::eFilterPoint));
        ASSERT_TRUE(dst.readBackFromGPU());
        Worst worst;
        for (uint32_t i = 0; i < kW * kH; ++i) {
            const Vec3 want = toRGB(samples[i], colourimetry, true, gamut == CC::eGamutFull);
            const Vec3 got = rgbAt(dst, i % kW, i / kW);
            for (int c = 0; c < 3; ++c) worst.see(got[size_t(c)], clamp01(want[size_t(c)]));
        }
        EXPECT_LE(worst.codes, 1.0) << "colourimetry " << colourimetry << " gamut " << gamut;
    }
}

TEST_F(ConversionGPUTest, RGBToYCrCb422FiltersChromaAsDocumented) {
    for (const uint32_t width : {1920u, 37u, 1u}) {
        const Surface src = rgbPicture(*m_gpu, width, 4, width);
        for (int filter = 0; filter < 3; ++filter) {
            Surface dst = ycrcbSurface(width, 4, Format::eYUY2, 10, 2, 2);
            ASSERT_TRUE(CC::convertRGBToYCrCb422(src, dst, CC::Filter(filter)));
            ASSERT_TRUE(dst.readBackFromGPU());
            Worst worst;
            for (uint32_t y = 0; y < 4; ++y) {
                std::vector<Vec3> row;
                for (uint32_t x = 0; x < width; ++x) row.push_back(rgbAt(src, x, y));
                const std::vector<uint16_t> got = FormatReference::unpack422(Format::eYUY2, 10, width, dst.getRow(y));
                for (uint32_t j = 0; j < (width + 1) / 2; ++j) {
                    const Vec3 c = toYCrCb(decimated(row, int(2 * j), filter), 2, true);
                    const double y0 = toYCrCb(row[2 * j], 2, true)[0],
                                 y1 = toYCrCb(row[std::min(2 * j + 1, width - 1)], 2, true)[0];
                    const double want[4] = {c[2], y0, c[1], y1}; // Cb Y0 Cr Y1
                    for (int k = 0; k < 4; ++k) worst.see(got[4 * j + size_t(k)] / 1023.0, clamp01(want[k]));
                }
            }
            EXPECT_LE(worst.codes, 1.0) << "width " << width << " filter " << filter;
        }
    }
}

TEST_F(ConversionGPUTest, YCrCb422ToRGBInterpolatesChromaForBothSampleOrders) {
    constexpr uint32_t kW = 61, kH = 3;
    std::mt19937 rng(5);
    std::uniform_int_distribution<int> code(64, 940);
    std::vector<uint16_t> samples((kW + 1) / 2 * 4 * kH);
    for (uint16_t& s : samples) s = uint16_t(code(rng));
    for (const Format format : {Format::eYUY2, Format::eUYVY})
        for (int filter = 0; filter < 3; ++filter) {
            Surface src = ycrcbSurface(kW, kH, format, 10, 1, 2);
            const size_t perRow = samples.size() / kH;
            for (uint32_t y = 0; y < kH; ++y) {
                const std::vector<uint16_t> row(samples.begin() + long(y * perRow), samples.begin() + long((y + 1) * perRow));
                const std::vector<uint8_t> bytes = FormatReference::pack422(format, 10, kW, row);
                std::memcpy(src.getRow(y), bytes.data(), bytes.size());
            }
            src.createGPUSurface(*m_gpu);
            Surface dst(kW, kH, Format::eRGBA, 16);
            ASSERT_TRUE(CC::convertYCrCb422ToRGB(src, dst, CC::eGamutFull, CC::Filter(filter)));
            ASSERT_TRUE(dst.readBackFromGPU());
            Worst worst;
            for (uint32_t y = 0; y < kH; ++y) {
                std::vector<Vec3> pairs;
                for (uint32_t j = 0; j < (kW + 1) / 2; ++j) {
                    const uint16_t* s = &samples[y * perRow + 4 * j];
                    pairs.push_back({0, s[2] / 1023.0, s[0] / 1023.0});
                }
                for (uint32_t x = 0; x < kW; ++x) {
                    Vec3 ycrcb = interpolated(pairs, int(x), filter);
                    ycrcb[0] = samples[y * perRow + 4 * (x / 2) + (x % 2 ? 3 : 1)] / 1023.0;
                    const Vec3 want = toRGB(ycrcb, 1, true, true), got = rgbAt(dst, x, y);
                    for (int c = 0; c < 3; ++c) worst.see(got[size_t(c)], clamp01(want[size_t(c)]));
                }
            }
            EXPECT_LE(worst.codes, 1.0) << formatName(format) << " filter " << filter;
        }
}

// 10-bit 4:2:2 samples of one picture, Cb Y0 Cr Y1 per pair, every code from 0 to 1023 in turn.
std::vector<std::vector<uint16_t>> sampleRows(uint32_t width, uint32_t height) {
    std::vector<std::vector<uint16_t>> rows(height, std::vector<uint16_t>((width + 1) / 2 * 4));
    uint32_t n = 0;
    for (auto& row : rows)
        for (uint16_t& s : row) s = uint16_t((n++ * 389) % 1024);
    return rows;
}

Surface packedSurface(iGPUService& gpu, Format format, uint32_t width, const std::vector<std::vector<uint16_t>>& rows) {
    Surface s(width, uint32_t(rows.size()), format, 10);
    for (uint32_t y = 0; y < rows.size(); ++y) {
        const std::vector<uint8_t> bytes = FormatReference::pack422(format, 10, width, rows[y]);
        std::memcpy(s.getRow(y), bytes.data(), std::min<size_t>(bytes.size(), s.getStride()));
    }
    s.createGPUSurface(gpu);
    return s;
}

TEST_F(ConversionGPUTest, Matrox10BitPackAndUnpackGiveTheSamplesBack) {
    for (const uint32_t width : {1920u, 8u}) {
        const auto rows = sampleRows(width, 3);
        const Surface yuy2 = packedSurface(*m_gpu, Format::eYUY2, width, rows);
        Surface m101;
        ASSERT_TRUE(CC::packMatrox10BitFormat(yuy2, m101));
        EXPECT_EQ(m101.getDataFormat(), Format::eM101);
        EXPECT_EQ(m101.getGPUSurface()->getSize().x, int(width * 10 / 16));
        ASSERT_TRUE(m101.readBackFromGPU());
        for (uint32_t y = 0; y < 3; ++y) {
            const std::vector<uint8_t> want = FormatReference::pack422(Format::eM101, 10, width, rows[y]);
            ASSERT_EQ(0, std::memcmp(m101.getRow(y), want.data(), want.size())) << "width " << width << " row " << y;
        }
        for (const uint16_t bits : {uint16_t(16), uint16_t(8)}) {
            Surface back(width, 3, Format::eYUY2, bits);
            back.createGPUSurface(*m_gpu);
            ASSERT_TRUE(CC::unpackMatrox10BitFormat(m101, back));
            ASSERT_TRUE(back.readBackFromGPU());
            for (uint32_t y = 0; y < 3; ++y) {
                const std::vector<uint16_t> got =
                    FormatReference::unpack422(Format::eYUY2, bits == 8 ? 8 : 10, width, back.getRow(y));
                for (size_t i = 0; i < got.size(); ++i)
                    ASSERT_EQ(got[i], bits == 8 ? rows[y][i] >> 2 : rows[y][i])
                        << "width " << width << " bits " << bits << " sample " << i;
            }
        }
    }
}

TEST_F(ConversionGPUTest, PackingOnePixelHasNoWordToWrite) {
    const Surface yuy2 = packedSurface(*m_gpu, Format::eYUY2, 1, sampleRows(1, 1));
    Surface m101;
    EXPECT_FALSE(CC::packMatrox10BitFormat(yuy2, m101));
}

TEST_F(ConversionGPUTest, DvsUnpackMatchesTheCPUUnpacker) {
    for (const uint32_t width : {1920u, 8u, 1u}) {
        const auto rows = sampleRows(width, 3);
        const Surface dvs = packedSurface(*m_gpu, Format::eDVS1, width, rows);
        Surface yuy2(width, 3, Format::eYUY2, 10);
        yuy2.createGPUSurface(*m_gpu);
        ASSERT_TRUE(CC::unpackDvs10BitFormat(dvs, yuy2));
        ASSERT_TRUE(yuy2.readBackFromGPU());
        for (uint32_t y = 0; y < 3; ++y) {
            const std::vector<uint16_t> want = FormatReference::unpack422(Format::eDVS1, 10, width, dvs.getRow(y));
            EXPECT_EQ(FormatReference::unpack422(Format::eYUY2, 10, width, yuy2.getRow(y)), want) << "width " << width;
        }
    }
}

} // namespace
