// The conversion effects on the real GPU service (llvmpipe without a GPU)
// against the CPU references: ColourReference.h for the colour maths, within
// one 10-bit code on 16-bit surfaces (the tables are rounded to about 7 digits
// and the effects compute in float), and SurfaceFormatsReference.h for the
// packed layouts, exactly.
#include "../ColourReference.h"
#include "ImageTestFrames.h"
#include "host/SurfaceFormatsReference.h"

#include "image/ColourConversion.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

using namespace ColourReference;
using Qf::Image::ColourConversion;

namespace {

using CC = ColourConversion;
using V = Data::Video;
using ConversionGPUTest = ImageTestFrames::ImageGPUTest;

Surface described(uint32_t width, uint32_t height, Format format, uint16_t bits, uint32_t colourimetry, uint32_t range) {
    Surface s(width, height, format, bits);
    s.setVideoData({.colourimetry = colourimetry, .range = range});
    return s;
}

// The texel (x, y) of a 16-bit RGBA surface as fractions, alpha opaque.
void put(Surface& s, uint32_t x, uint32_t y, const Vec3& v) {
    const uint16_t p[4] = {uint16_t(v[0] * 65535 + 0.5), uint16_t(v[1] * 65535 + 0.5), uint16_t(v[2] * 65535 + 0.5), 65535};
    std::memcpy(s.getRow(y) + 8 * x, p, sizeof p);
}
Vec3 rgbAt(const Surface& s, uint32_t x, uint32_t y) {
    uint16_t p[3];
    std::memcpy(p, s.getRow(y) + 8 * x, sizeof p);
    return {p[0] / 65535.0, p[1] / 65535.0, p[2] / 65535.0};
}

// A 16-bit full-range RGB picture on the GPU: a sweep, the cube's corners, then random colours.
Surface rgbPicture(iGPUService& gpu, uint32_t width, uint32_t height, unsigned seed) {
    Surface s = described(width, height, Format::eRGBA, 16, 0, Data::Video::eFullRange);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> unit(0, 1);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const double u = double(x) / std::max(1u, width - 1);
            Vec3 c = {unit(rng), unit(rng), unit(rng)};
            if (y == 0) c = {u, 1 - u, u / 2};
            if (y == 1) c = {double(x & 1), double(x >> 1 & 1), double(x >> 2 & 1)};
            put(s, x, y, c);
        }
    s.createGPUSurface(gpu);
    return s;
}

// Largest difference in 10-bit codes from the reference, clamped as the surfaces clamp.
struct Worst {
    double codes = 0;
    void see(double got, double want) { codes = std::max(codes, std::abs(got - clamp01(want)) * 1023); }
    void see(const Vec3& got, const Vec3& want) {
        for (size_t c = 0; c < 3; ++c) see(got[c], want[c]);
    }
};

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

TEST_F(ConversionGPUTest, RGBToYCrCb444MatchesTheReferenceForEachColourimetryAndRange) {
    const Surface src = rgbPicture(*m_gpu, 97, 9, 1);
    for (const auto& [colourimetry, range] : {std::pair{V::eBT601, V::eLegalRange},
                                              {V::eBT709, V::eLegalRange},
                                              {V::eBT2020, V::eLegalRange},
                                              {V::eBT2100HLG, V::eLegalRange},
                                              {V::eBT601, V::eFullRange}}) {
        Surface dst = described(97, 9, Format::eRGBA, 16, colourimetry, range);
        ASSERT_TRUE(CC::convertRGBToYCrCb444(src, dst, CC::eFilterPoint));
        ASSERT_TRUE(dst.readBackFromGPU());
        Worst worst;
        for (uint32_t y = 0; y < 9; ++y)
            for (uint32_t x = 0; x < 97; ++x)
                worst.see(rgbAt(dst, x, y), toYCrCb(rgbAt(src, x, y), colourimetry, range == V::eLegalRange));
        EXPECT_LE(worst.codes, 1.0) << "colourimetry " << colourimetry << " range " << range;
        EXPECT_EQ(dst.getColourimetry(), colourimetry); // the destination says what it holds
    }
}

TEST_F(ConversionGPUTest, TheFullRangeOverrideWritesFullRangeIntoALegalRangeDestination) {
    // BT.601: a full-range BT.709 destination gets the legal-range row anyway.
    const Surface src = rgbPicture(*m_gpu, 33, 4, 2);
    Surface dst = described(33, 4, Format::eRGBA, 16, 1, Data::Video::eLegalRange);
    CC::setFullRangeOverride(true);
    const bool converted = CC::convertRGBToYCrCb444(src, dst, CC::eFilterPoint) && dst.readBackFromGPU();
    CC::setFullRangeOverride(false);
    ASSERT_TRUE(converted);
    Worst worst;
    for (uint32_t y = 0; y < 4; ++y)
        for (uint32_t x = 0; x < 33; ++x) worst.see(rgbAt(dst, x, y), toYCrCb(rgbAt(src, x, y), 1, false));
    EXPECT_LE(worst.codes, 1.0);
}

TEST_F(ConversionGPUTest, YCrCb444ToRGBMatchesTheReferenceWithAndWithoutGamutExpansion) {
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> luma(64, 940), chroma(64, 960);
    for (const auto& [colourimetry, gamut] : {std::pair{V::eBT601, CC::eGamutFull},
                                              {V::eBT709, CC::eGamutFull},
                                              {V::eBT2020, CC::eGamutFull},
                                              {V::eBT601, CC::eGamutLegal},
                                              {V::eBT709, CC::eGamutLegal}}) {
        Surface src = described(64, 8, Format::eRGBA, 16, colourimetry, V::eLegalRange);
        for (uint32_t y = 0; y < 8; ++y)
            for (uint32_t x = 0; x < 64; ++x) put(src, x, y, {luma(rng) / 1023.0, chroma(rng) / 1023.0, chroma(rng) / 1023.0});
        src.createGPUSurface(*m_gpu);
        Surface dst(64, 8, Format::eRGBA, 16);
        ASSERT_TRUE(CC::convertYCrCb444ToRGB(src, dst, gamut, CC::eFilterPoint));
        ASSERT_TRUE(dst.readBackFromGPU());
        Worst worst;
        for (uint32_t y = 0; y < 8; ++y)
            for (uint32_t x = 0; x < 64; ++x)
                worst.see(rgbAt(dst, x, y), toRGB(rgbAt(src, x, y), colourimetry, true, gamut == CC::eGamutFull));
        EXPECT_LE(worst.codes, 1.0) << "colourimetry " << colourimetry << " gamut " << gamut;
    }
}

TEST_F(ConversionGPUTest, RGBToYCrCb422FiltersChromaAsDocumented) {
    for (const uint32_t width : {1920u, 37u, 1u}) {
        const Surface src = rgbPicture(*m_gpu, width, 4, width);
        for (int filter = 0; filter < 3; ++filter) {
            Surface dst = described(width, 4, Format::eYUY2, 10, 2, 2);
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
                    for (size_t k = 0; k < 4; ++k) worst.see(got[4 * j + k] / 1023.0, want[k]);
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
    std::vector<std::vector<uint16_t>> rows(kH, std::vector<uint16_t>((kW + 1) / 2 * 4));
    for (auto& row : rows)
        for (uint16_t& s : row) s = uint16_t(code(rng));
    for (const Format format : {Format::eYUY2, Format::eUYVY})
        for (int filter = 0; filter < 3; ++filter) {
            Surface src = packedSurface(*m_gpu, format, kW, rows);
            src.setVideoData({.colourimetry = V::eBT601, .range = V::eLegalRange});
            Surface dst(kW, kH, Format::eRGBA, 16);
            ASSERT_TRUE(CC::convertYCrCb422ToRGB(src, dst, CC::eGamutFull, CC::Filter(filter)));
            ASSERT_TRUE(dst.readBackFromGPU());
            Worst worst;
            for (uint32_t y = 0; y < kH; ++y) {
                std::vector<Vec3> pairs; // each pair's chroma as (-, Cr, Cb)
                for (uint32_t j = 0; j < (kW + 1) / 2; ++j)
                    pairs.push_back({0, rows[y][4 * j + 2] / 1023.0, rows[y][4 * j] / 1023.0});
                for (uint32_t x = 0; x < kW; ++x) {
                    Vec3 ycrcb = interpolated(pairs, int(x), filter);
                    ycrcb[0] = rows[y][4 * (x / 2) + (x % 2 ? 3 : 1)] / 1023.0;
                    worst.see(rgbAt(dst, x, y), toRGB(ycrcb, 1, true, true));
                }
            }
            EXPECT_LE(worst.codes, 1.0) << formatName(format) << " filter " << filter;
        }
}

TEST_F(ConversionGPUTest, Matrox10BitPackAndUnpackGiveTheSamplesBack) {
    Surface onePixel; // a single pixel has no whole word to write
    EXPECT_FALSE(CC::packMatrox10BitFormat(packedSurface(*m_gpu, Format::eYUY2, 1, sampleRows(1, 1)), onePixel));
    for (const uint32_t width : {1920u, 8u}) {
        const auto rows = sampleRows(width, 3);
        Surface m101;
        ASSERT_TRUE(CC::packMatrox10BitFormat(packedSurface(*m_gpu, Format::eYUY2, width, rows), m101));
        EXPECT_EQ(m101.getDataFormat(), Format::eM101);
        ASSERT_TRUE(m101.readBackFromGPU()); // the image has the M101 layout of the width
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
                std::vector<uint16_t> want = rows[y];
                for (uint16_t& v : want) v = bits == 8 ? uint16_t(v >> 2) : v;
                ASSERT_EQ(FormatReference::unpack422(Format::eYUY2, bits == 8 ? 8 : 10, width, back.getRow(y)), want)
                    << "width " << width << " bits " << bits;
            }
        }
    }
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
