// LUTs applied on the real GPU service (llvmpipe without a GPU), compared
// with the CPU reference interpolations of LUTTestSupport.h.
//
// Tolerance: 1/1023 per channel (one 10-bit code) on 16-bit pictures. The
// shader reads lattice points exactly and interpolates in float, so the
// observed error is the 16-bit rounding of the result (about 1e-5).
#include "../LUTTestSupport.h"
#include "platform/GLTestSupport.h"

#include "host/base/Strings.h"
#include "host/image/CubeLUT.h"
#include "host/misc/LUTPaths.h"
#include "image/GPU.h"
#include "luts/LUTManager.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace QfLUTTest;
using namespace QfGLTest;
using Qf::Image::GPU;

namespace {

constexpr float kTolerance = 1.0f / 1023.0f;

// A 16-bit picture of every kind of colour: a smooth sweep, random colours,
// the corners of the cube and values near the lattice points.
Ptr<HostImage> picture16(int width, int height, unsigned seed) {
    Ptr<HostImage> image = HostImage::create({width, height}, iGPUImage::eRGBA16);
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> code(0, 65535);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            RGBAf v;
            if (y < 8)
                v = {x / float(width - 1), y / 7.0f, 1 - x / float(width - 1), 1};
            else if (y == 8)
                v = {float(x & 1), float((x >> 1) & 1), float((x >> 2) & 1), 0.5f};
            else
                v = {code(rng) / 65535.0f, code(rng) / 65535.0f, code(rng) / 65535.0f, code(rng) / 65535.0f};
            image->setTexel(x, y, v);
        }
    return image;
}

struct Outcome {
    float worst = 0; // largest difference from the reference
    bool alphaKept = true;
};

// Applies `lut` to a 16-bit picture on the GPU and compares with `reference`.
template <typename Reference>
Outcome applyAndCompare(iGPUService& gpu, const HostImage3D& lut, GPU::eLUTInterpolation method, Reference reference) {
    const Ptr<HostImage> in = picture16(64, 40, 7);
    Surface source = Surface::forGPUImage(in->createGPUImage(gpu));
    const Ptr<iGPUImage> lutImage = lut.createGPUImage(gpu);
    Surface destination;
    if (!GPU::applyLUT(source, destination, lutImage, lut.getLUTMapping(), method)) {
        ADD_FAILURE() << "applyLUT failed";
        return {1e9f, false};
    }
    Outcome o;
    const Ptr<HostImage> out = HostImage::fromGPUImage(*destination.getGPUSurface());
    EXPECT_EQ(out->getFormat(), iGPUImage::eRGBA16);
    for (int y = 0; y < in->getHeight(); ++y)
        for (int x = 0; x < in->getWidth(); ++x) {
            const RGBAf a = in->getTexel(x, y), b = out->getTexel(x, y);
            const RGB expected = reference(lut, lut.getLUTMapping(), RGB{a[0], a[1], a[2]});
            for (size_t c = 0; c < 3; ++c) o.worst = std::max(o.worst, std::abs(b[c] - std::clamp(expected[c], 0.0f, 1.0f)));
            o.alphaKept = o.alphaKept && a[3] == b[3];
        }
    return o;
}

class LUTOnGPU : public GLTest {};

} // namespace

TEST_F(LUTOnGPU, TrilinearAndTetrahedralMatchTheCPUReferences) {
    const std::pair<const char*, std::string> tables[] = {
        {"steep17", noise3D(17, 1)},
        {"steep33", noise3D(33, 2)},
        {"size2", noise3D(2, 3)},
        {"domainAndRanges",
         "DOMAIN_MIN -0.1 0 0.2\nDOMAIN_MAX 1.2 0.9 1\nLUT_IN_VIDEO_RANGE\nLUT_OUT_VIDEO_RANGE\n" + noise3D(9, 4)},
        {"oneDimensional", "LUT_1D_SIZE 6\n0 1 0.5\n0.3 0.1 0.2\n0.35 0.9 0.9\n0.8 0.2 0.1\n0.9 0.6 0.7\n1 0 0\n"},
    };
    for (const auto& [what, text] : tables) {
        SCOPED_TRACE(what);
        const CubeLUT::Result r = CubeLUT::read(text);
        ASSERT_TRUE(r.image) << r.error;
        const Outcome tri = applyAndCompare(*m_gpu, *r.image, GPU::eTrilinear, trilinear);
        const Outcome tet = applyAndCompare(*m_gpu, *r.image, GPU::eTetrahedral, tetrahedral);
        EXPECT_LE(tri.worst, kTolerance);
        EXPECT_LE(tet.worst, kTolerance);
        EXPECT_TRUE(tri.alphaKept && tet.alphaKept);
    }
}

TEST_F(LUTOnGPU, AShaperGoesThroughItsCurvesBeforeTheTable) {
    // A Resolve file: 100 points per curve over -0.1..1.2, a different curve
    // per channel, before a steep table of side 9 over -0.1..1.1. The curves
    // fill the first four slices of the lattice (81 texels a slice).
    constexpr int kPoints = 100;
    std::vector<RGB> curve(kPoints);
    std::string shaper;
    for (int i = 0; i < kPoints; ++i) {
        const float t = float(i) / (kPoints - 1);
        curve[size_t(i)] = {std::sqrt(t) * 1.15f - 0.05f, t * t, 0.5f + 0.5f * std::sin(6 * t)};
        shaper += number(curve[size_t(i)][0]) + " " + number(curve[size_t(i)][1]) + " " + number(curve[size_t(i)][2]) + "\n";
    }
    const std::string table = noise3D(9, 5); // "LUT_3D_SIZE 9" and its rows
    const size_t header = table.find('\n') + 1;
    const CubeLUT::Result shaped = CubeLUT::read("LUT_1D_SIZE 100\nLUT_1D_INPUT_RANGE -0.1 1.2\nLUT_3D_INPUT_RANGE -0.1 1.1\n" +
                                                 table.substr(0, header) + shaper + table.substr(header));
    ASSERT_TRUE(shaped.image) << shaped.error;
    // The reference: the curves by hand, then the table read on its own.
    const CubeLUT::Result alone = CubeLUT::read("LUT_3D_INPUT_RANGE -0.1 1.1\n" + table);
    ASSERT_TRUE(alone.image) << alone.error;
    const auto throughCurves = [&](const RGB& rgb) {
        RGB s;
        for (size_t c = 0; c < 3; ++c) {
            const float p = std::clamp((rgb[c] + 0.1f) / 1.3f, 0.0f, 1.0f) * (kPoints - 1);
            const int k = std::min(int(p), kPoints - 2);
            s[c] = curve[size_t(k)][c] + (curve[size_t(k) + 1][c] - curve[size_t(k)][c]) * (p - float(k));
        }
        return s;
    };
    const auto tri = [&](const HostImage3D&, const LUTMapping&, const RGB& rgb) {
        return trilinear(*alone.image, alone.image->getLUTMapping(), throughCurves(rgb));
    };
    const auto tet = [&](const HostImage3D&, const LUTMapping&, const RGB& rgb) {
        return tetrahedral(*alone.image, alone.image->getLUTMapping(), throughCurves(rgb));
    };
    EXPECT_LE(applyAndCompare(*m_gpu, *shaped.image, GPU::eTrilinear, tri).worst, kTolerance);
    EXPECT_LE(applyAndCompare(*m_gpu, *shaped.image, GPU::eTetrahedral, tet).worst, kTolerance);
    // Without its curves the table gives something else entirely.
    EXPECT_GT(applyAndCompare(*m_gpu, *alone.image, GPU::eTrilinear, tri).worst, 0.05f);
}

TEST_F(LUTOnGPU, TheTwoMethodsReallyDiffer) {
    // On a steep table the two references disagree by far more than the
    // tolerance, so the test above tells the techniques apart.
    const Ptr<HostImage3D> lut = CubeLUT::read(noise3D(5, 9)).image;
    ASSERT_TRUE(lut);
    const Outcome crossed = applyAndCompare(*m_gpu, *lut, GPU::eTrilinear, tetrahedral);
    EXPECT_GT(crossed.worst, 0.05f);
}

TEST_F(LUTOnGPU, AppliesALUTFromTheManagerIntoAGivenTarget) {
    TempDir factory;
    // A greyscale table: each entry is its corner's Rec.709 luma.
    const auto luma = [](auto r, auto g, auto b) { return 0.2126f * float(r) + 0.7152f * float(g) + 0.0722f * float(b); };
    const auto grey = [&](int r, int g, int b) { return RGB{luma(r, g, b), luma(r, g, b), luma(r, g, b)}; };
    const std::string path = factory.write("grey.cube", cube3D(2, grey));
    setLUTDirectory(iSettings::eFactory, fromUTF8(factory.path().c_str()));
    setLUTDirectory(iSettings::eUser, fromUTF8(factory.path().c_str()));
    LUTManager manager;
    const LUTManager::LoadedLUT lut = manager.loadWithMapping(fromUTF8(path.c_str()));
    setLUTDirectory(iSettings::eFactory, L"");
    setLUTDirectory(iSettings::eUser, L"");
    ASSERT_TRUE(lut.image);

    const Ptr<HostImage> in = picture16(16, 12, 3);
    Surface source = Surface::forGPUImage(in->createGPUImage(*m_gpu));
    source.setVideoData(Data::Video{Data::Video::eBT2020, Data::Video::eFullRange});
    const Ptr<iGPUImage> target = m_gpu->createImage({16, 12}, iGPUImage::eRGBA16);
    Surface destination = Surface::forGPUImage(target);
    ASSERT_TRUE(GPU::applyLUT(source, destination, lut.image, lut.mapping, GPU::eTetrahedral));
    EXPECT_EQ(destination.getGPUSurface(), target);
    EXPECT_EQ(destination.getVideoData(), source.getVideoData());
    const Ptr<HostImage> out = HostImage::fromGPUImage(*target);
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 16; ++x) {
            const RGBAf a = in->getTexel(x, y), b = out->getTexel(x, y);
            for (size_t c = 0; c < 3; ++c) ASSERT_NEAR(b[c], luma(a[0], a[1], a[2]), kTolerance) << x << "," << y;
        }
}

TEST_F(LUTOnGPU, RefusesWhatItCannotApply) {
    const Ptr<HostImage3D> lut3D = CubeLUT::read(identity3D(3)).image;
    const Ptr<iGPUImage> lut = lut3D->createGPUImage(*m_gpu);
    const Ptr<iGPUImage> picture = picture16(4, 4, 1)->createGPUImage(*m_gpu);
    Surface source = Surface::forGPUImage(picture);
    Surface destination;
    EXPECT_FALSE(GPU::applyLUT(source, destination, nullptr));
    EXPECT_FALSE(GPU::applyLUT(source, destination, picture));                                            // a 2D image is no LUT
    EXPECT_FALSE(GPU::applyLUT(source, destination, m_gpu->create3DImage(3, 3, 4, iGPUImage::eRGBA32F))); // not a cube
    EXPECT_FALSE(GPU::applyLUT(Surface(), destination, lut));                                             // no GPU image
    EXPECT_FALSE(GPU::applyLUT(source, destination, lut, {}, GPU::eLUTInterpolation(7)));
    LUTMapping tooLong;
    tooLong.shaperSize = 10; // three curves of 10 points do not fit in 27 texels
    EXPECT_FALSE(GPU::applyLUT(source, destination, lut, tooLong));
    Surface yuv = source;
    yuv.setDataFormat(Format::eUYVY);
    EXPECT_FALSE(GPU::applyLUT(yuv, destination, lut)); // Y'CbCr needs converting first
    EXPECT_TRUE(destination.isEmpty());
    // Applying in place draws into a new image rather than reading what it writes.
    source.setVideoData(Data::Video{Data::Video::eP3D65, Data::Video::eFullRange});
    EXPECT_TRUE(GPU::applyLUT(source, source, lut));
    EXPECT_NE(source.getGPUSurface(), picture);
    EXPECT_EQ(source.getVideoData().colourimetry, Data::Video::eP3D65);
}
