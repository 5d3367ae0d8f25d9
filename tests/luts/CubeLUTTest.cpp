// The .cube reader: the dialects colour tools write, files written by
// OpenColorIO's ociobakelut, and every kind of malformed file.
#include "LUTTestSupport.h"
#include "support/ScopedLocale.h"

#include "host/base/Strings.h"
#include "host/image/CubeLUT.h"
#include "host/misc/Log.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>

using namespace QfLUTTest;

namespace {

std::string fixture(const std::string& name) { return std::string(QFFX_TEST_DATA_DIR) + "luts/" + name; }

const std::string kIdentity2Rows = "0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n";

// The ASC CDL maths that generate.sh baked with ociobakelut: slope, offset,
// power (negative values pass through), then saturation with Rec.709 weights.
RGB cdl(const RGB& in) {
    const RGB slope{1.1f, 0.9f, 1.0f}, offset{0.02f, 0.0f, -0.01f}, power{1.2f, 1.0f, 0.8f};
    RGB v;
    for (size_t c = 0; c < 3; ++c) {
        const double x = double(in[c]) * slope[c] + offset[c];
        v[c] = float(x < 0 ? x : std::pow(x, double(power[c])));
    }
    const float luma = 0.2126f * v[0] + 0.7152f * v[1] + 0.0722f * v[2];
    for (float& c : v) c = luma + 0.8f * (c - luma);
    return v;
}

} // namespace

TEST(CubeReader, ReadsTheDialectsThatColourToolsWrite) {
    struct Case {
        const char* what;
        std::string text;
        int side;      // of the 3D image
        RGB lastEntry; // at the top corner
    };
    const Case cases[] = {
        {"plain", "LUT_3D_SIZE 2\n" + kIdentity2Rows, 2, {1, 1, 1}},
        {"title comments blanks",
         "# made by hand\nTITLE \"A # title\"\n\n  # indented comment\nLUT_3D_SIZE 2 # size\n\n" + kIdentity2Rows + "\n# end\n",
         2,
         {1, 1, 1}},
        {"CRLF and BOM",
         "\xEF\xBB\xBFTITLE \"x\"\r\nLUT_3D_SIZE 2\r\n0 0 0\r\n1 0 0\r\n0 1 0\r\n1 1 0\r\n0 0 1\r\n1 0 1\r\n0 1 1\r\n1 1 1\r\n",
         2,
         {1, 1, 1}},
        {"tabs, signs, exponents, no final newline",
         "LUT_3D_SIZE\t2\n+0 -0 0\n1e0 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n\t1.0\t100e-2  0.5E+1",
         2,
         {1, 1, 5}},
        {"other dialect keywords", "LUT_3D_INPUT_RANGE 0 1\nLUT_3D_SIZE 2\nLUT_SOMETHING_NEW 7\n" + kIdentity2Rows, 2, {1, 1, 1}},
        {"values beyond 0..1", "LUT_3D_SIZE 2\n-0.5 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n4 4 4\n", 2, {4, 4, 4}},
        {"1D", "LUT_1D_SIZE 3\n0 0 0\n0.25 0.5 0.75\n1 0.9 0.8\n", 3, {1, 0.9f, 0.8f}},
        {"1D of 2", "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n", 2, {1, 1, 1}},
        {"lower-case keywords", "title \"x # y\"\nlut_3d_size 2\nDomain_Max 1 1 1\n" + kIdentity2Rows, 2, {1, 1, 1}},
        {"CR-only lines", "TITLE \"x\"\rLUT_3D_SIZE 2\r0 0 0\r1 0 0\r0 1 0\r1 1 0\r0 0 1\r1 0 1\r0 1 1\r1 1 1\r", 2, {1, 1, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const CubeLUT::Result r = CubeLUT::read(c.text);
        ASSERT_TRUE(r.image) << r.error << " at line " << r.line;
        const int n = c.side;
        EXPECT_EQ((std::array{r.image->getWidth(), r.image->getHeight(), r.image->getDepth()}), (std::array{n, n, n}));
        EXPECT_EQ(r.image->getChannels(), 3);
        const RGB top = entry(*r.image, n - 1, n - 1, n - 1);
        for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(top[i], c.lastEntry[i], 1e-6f);
    }
}

TEST(CubeReader, AMalformedFileGivesNoImageAndSaysWhatAndWhere) {
    struct Case {
        const char* what;
        std::string text;
        const char* error; // the start of the message
        unsigned line;
    };
    const Case cases[] = {
        {"empty", "", "no LUT_3D_SIZE or LUT_1D_SIZE", 1},
        {"only comments", "# nothing\n\n", "no LUT_3D_SIZE or LUT_1D_SIZE", 2},
        {"truncated", "LUT_3D_SIZE 2\n0 0 0\n1 0 0\n0 1 0\n", "too few rows: 3 of 8", 4},
        {"truncated inside a row", "LUT_3D_SIZE 2\n0 0 0\n1 0", "a table row has 3 numbers, not 2", 3},
        {"too many rows", "LUT_3D_SIZE 2\n" + kIdentity2Rows + "0 0 0\n", "too many rows (the table has 8)", 10},
        {"four numbers", "LUT_3D_SIZE 2\n0 0 0 0\n", "a table row has 3 numbers, not 4", 2},
        {"bad number", "LUT_3D_SIZE 2\n0 0 0\n1 0,5 0\n", "bad number '0,5'", 3},
        {"trailing junk", "LUT_3D_SIZE 2\n0 0 0f\n", "bad number '0f'", 2},
        {"NaN", "LUT_3D_SIZE 2\n0 nan 0\n", "bad number 'nan'", 2},
        {"negative infinity", "LUT_3D_SIZE 2\n0 -inf 0\n", "bad number '-inf'", 2},
        {"overflowing number", "LUT_3D_SIZE 2\n0 1e999 0\n", "bad number '1e999'", 2},
        {"size 1", "LUT_3D_SIZE 1\n0 0 0\n", "LUT_3D_SIZE 1 is out of range (2 to 256)", 1},
        {"size 257", "LUT_3D_SIZE 257\n", "LUT_3D_SIZE 257 is out of range", 1},
        {"huge size", "LUT_3D_SIZE 99999999999999999999\n", "LUT_3D_SIZE takes one whole number", 1},
        {"1D size 1", "LUT_1D_SIZE 1\n0 0 0\n", "LUT_1D_SIZE 1 is out of range (2 to 65536)", 1},
        {"size without number", "LUT_3D_SIZE\n", "LUT_3D_SIZE takes one whole number", 1},
        {"fractional size", "LUT_3D_SIZE 2.5\n", "LUT_3D_SIZE takes one whole number", 1},
        {"the same size twice", "LUT_3D_SIZE 2\nLUT_3D_SIZE 2\n", "LUT_3D_SIZE given twice", 2},
        {"shaper without its 3D rows", "LUT_1D_SIZE 3\nLUT_3D_SIZE 2\n0 0 0\n0.5 0.5 0.5\n1 1 1\n", "too few rows: 3 of 11", 5},
        {"empty shaper range", "LUT_1D_SIZE 2\nLUT_1D_INPUT_RANGE 1 1\nLUT_3D_SIZE 2\n0 0 0\n1 1 1\n" + kIdentity2Rows,
         "the domain minimum must lie below its maximum", 2},
        {"reversed 3D range after a shaper",
         "LUT_1D_SIZE 2\nLUT_3D_SIZE 2\nLUT_3D_INPUT_RANGE 1 0\n0 0 0\n1 1 1\n" + kIdentity2Rows,
         "the domain minimum must lie below its maximum", 3},
        {"row before size", "0 0 0\nLUT_3D_SIZE 2\n", "a table row before LUT_3D_SIZE", 1},
        {"keyword after rows", "LUT_3D_SIZE 2\n0 0 0\nDOMAIN_MIN 0 0 0\n", "keyword 'DOMAIN_MIN' after the table rows", 3},
        {"short domain", "DOMAIN_MIN 0 0\nLUT_3D_SIZE 2\n", "DOMAIN_MIN takes 3 numbers, not 2", 1},
        {"empty domain", "LUT_3D_SIZE 2\nDOMAIN_MIN 0 1 0\nDOMAIN_MAX 1 1 1\n" + kIdentity2Rows,
         "the domain minimum must lie below its maximum", 3},
        {"range tag with a value", "LUT_IN_VIDEO_RANGE 1\n", "LUT_IN_VIDEO_RANGE takes nothing", 1},
        {"another tool's keyword in lower case", "lut_something_new 2\n", "unexpected text 'lut_something_new'", 1},
        {"CR-only lines", "LUT_3D_SIZE 2\r0 0 0\r0 x 0\r", "bad number 'x'", 3},
        {"mixed line ends", "LUT_3D_SIZE 2\r\n\r0 0 0\n0 x 0\r", "bad number 'x'", 4},
        {"binary garbage", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16), "unexpected text '?PNG'", 1},
        {"lying header", "LUT_3D_SIZE 256\n0 0 0\n", "too few rows: 1 of 16777216", 2},
    };
    for (const Case& c : cases) {
        const CubeLUT::Result r = CubeLUT::read(c.text);
        EXPECT_FALSE(r.image) << c.what;
        EXPECT_TRUE(r.error.starts_with(c.error)) << c.what << ": " << r.error;
        EXPECT_EQ(r.line, c.line) << c.what << ": " << r.error;
    }
}

TEST(CubeReader, LogsTheFileTheLineAndTheFault) {
    std::string logged;
    const LogSink previous = setLogSink([&](std::string_view text) { logged += text; });
    EXPECT_FALSE(CubeLUT::parse("LUT_3D_SIZE 2\n0 0 0\n0 x 0\n", "look.cube"));
    EXPECT_FALSE(CubeLUT::load(L"/nonexistent/look.cube"));
    EXPECT_FALSE(CubeLUT::load(fromUTF8(QFFX_TEST_DATA_DIR))); // a directory
    setLogSink(previous);
    EXPECT_EQ(logged, "CubeLUT : look.cube line 3: bad number 'x'\n"
                      "CubeLUT : cannot read /nonexistent/look.cube\n"
                      "CubeLUT : cannot read " QFFX_TEST_DATA_DIR "\n");
}

TEST(CubeReader, SizesAndOrderOfGeneratedTables) {
    for (int n : {2, 17, 33, 65}) {
        // Each entry encodes its own indices, so any mix-up of order shows.
        const auto f = [](int r, int g, int b) { return RGB{float(r), float(g) * 0.5f, float(b) * 0.25f}; };
        const CubeLUT::Result r = CubeLUT::read(cube3D(n, f));
        ASSERT_TRUE(r.image) << n << ": " << r.error;
        ASSERT_EQ(r.image->getWidth(), n);
        const int probes[][3] = {{0, 0, 0}, {n - 1, 0, 0}, {0, n - 1, 0}, {0, 0, n - 1}, {n / 2, 1, n - 1}};
        for (const auto& p : probes) EXPECT_EQ(entry(*r.image, p[0], p[1], p[2]), f(p[0], p[1], p[2])) << n;
        EXPECT_EQ(r.image->getLUTMapping(), LUTMapping());
    }
}

TEST(CubeReader, OneDimensionalTablesBecomeLatticesThatReproduceThem) {
    // 5 points: kept exactly, each channel following its own input.
    CubeLUT::Result r = CubeLUT::read("LUT_1D_SIZE 5\n0 1 0\n0.1 0.75 0.2\n0.3 0.5 0.4\n0.6 0.25 0.6\n1 0 0.8\n");
    ASSERT_TRUE(r.image) << r.error;
    EXPECT_TRUE(r.is1D);
    EXPECT_EQ(r.image->getWidth(), 5);
    EXPECT_EQ(entry(*r.image, 2, 4, 1), (RGB{0.3f, 0.0f, 0.2f}));
    // Anywhere in the cube, trilinear and tetrahedral give the 1D curves' linear interpolation.
    const RGB in{0.45f, 0.1f, 0.93f};
    const RGB expected{0.1f + (0.3f - 0.1f) * 0.8f, 1.0f - 0.25f * 0.4f, 0.6f + (0.8f - 0.6f) * 0.72f};
    for (const RGB& got : {trilinear(*r.image, {}, in), tetrahedral(*r.image, {}, in)})
        for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(got[c], expected[c], 1e-6f);
}

TEST(CubeReader, ReadsWhatOpenColorIOWrote) {
    // Both .cube dialects of ociobakelut, at 2 and 17 points, against the
    // CDL maths they were baked from (6 decimals in the files).
    for (const char* name : {"ocio_iridas_2.cube", "ocio_iridas_17.cube", "ocio_resolve_17.cube"}) {
        const Ptr<HostImage3D> lut = CubeLUT::load(fromUTF8(fixture(name).c_str()));
        ASSERT_TRUE(lut) << name;
        const int n = lut->getWidth();
        float worst = 0;
        for (int b = 0; b < n; ++b)
            for (int g = 0; g < n; ++g)
                for (int r = 0; r < n; ++r) {
                    const float s = 1.0f / float(n - 1);
                    const RGB expected = cdl({r * s, g * s, b * s}), got = entry(*lut, r, g, b);
                    for (size_t c = 0; c < 3; ++c) worst = std::max(worst, std::abs(got[c] - expected[c]));
                }
        EXPECT_LT(worst, 2e-6f) << name;
    }
}

TEST(CubeReader, LongOneDimensionalTablesAreSampledOntoA65PointLattice) {
    // ociobakelut wrote a separable transform as a 1D table of 128 points.
    std::ifstream file(fixture("ocio_resolve_1d_128.cube"), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const CubeLUT::Result r = CubeLUT::read(text);
    ASSERT_TRUE(r.image) << r.error;
    EXPECT_EQ(r.size, 128);
    ASSERT_EQ(r.image->getWidth(), CubeLUT::kMax1DLattice);
    std::vector<RGB> rows;
    std::istringstream lines(text.substr(text.find('\n') + 1));
    for (RGB v; lines >> v[0] >> v[1] >> v[2];) rows.push_back(v);
    ASSERT_EQ(rows.size(), 128u);
    for (int i = 0; i < 65; ++i) {
        const double t = i * 127.0 / 64.0;
        const int k = std::min(int(t), 126);
        const RGB got{entry(*r.image, i, 0, 0)[0], entry(*r.image, 0, i, 0)[1], entry(*r.image, 0, 0, i)[2]};
        for (size_t c = 0; c < 3; ++c)
            EXPECT_NEAR(got[c], rows[size_t(k)][c] + (rows[size_t(k) + 1][c] - rows[size_t(k)][c]) * (t - k), 1e-6) << i;
    }
}

TEST(CubeReader, DomainMatchesOpenColorIOsReadingOfIt) {
    // ociobakelut read domain_2.cube (domain -0.5..2) and rebaked it on 0..1.
    const Ptr<HostImage3D> ours = CubeLUT::load(fromUTF8(fixture("domain_2.cube").c_str()));
    const Ptr<HostImage3D> theirs = CubeLUT::load(fromUTF8(fixture("ocio_domain_2_rebaked.cube").c_str()));
    ASSERT_TRUE(ours && theirs);
    for (const RGB& in : {RGB{0, 0, 0}, RGB{1, 1, 1}, RGB{0.25f, 0.5f, 0.75f}, RGB{1, 0, 0.3f}}) {
        const RGB a = trilinear(*ours, ours->getLUTMapping(), in), b = trilinear(*theirs, {}, in);
        for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(a[c], b[c], 1e-6f);
    }
    // Resolve's form of the same domain.
    const CubeLUT::Result resolve = CubeLUT::read("LUT_3D_SIZE 2\nLUT_3D_INPUT_RANGE -0.5 2\n" + kIdentity2Rows);
    ASSERT_TRUE(resolve.image);
    EXPECT_EQ(resolve.image->getLUTMapping(), ours->getLUTMapping());
}

TEST(CubeReader, VideoRangeTagsMapFullRangeColoursThroughVideoLevels) {
    const auto mappingOf = [](const std::string& tags) {
        const CubeLUT::Result r = CubeLUT::read(tags + identity3D(2));
        EXPECT_TRUE(r.image) << r.error;
        return r.image ? r.image->getLUTMapping() : LUTMapping();
    };
    const Ptr<HostImage3D> identity = CubeLUT::read(identity3D(2)).image;
    ASSERT_TRUE(identity);
    // In only: black and white come out at video black and white.
    const LUTMapping in = mappingOf("LUT_IN_VIDEO_RANGE\n");
    EXPECT_NEAR(trilinear(*identity, in, {0, 0, 0})[0], 64.0f / 1023, 1e-6f);
    EXPECT_NEAR(trilinear(*identity, in, {1, 1, 1})[2], 940.0f / 1023, 1e-6f);
    // Out only: video black and white come out as 0 and 1.
    const LUTMapping out = mappingOf("LUT_OUT_VIDEO_RANGE\n");
    EXPECT_NEAR(trilinear(*identity, out, {64.0f / 1023, 0, 0})[0], 0.0f, 1e-6f);
    EXPECT_NEAR(trilinear(*identity, out, {0, 0, 940.0f / 1023})[2], 1.0f, 1e-6f);
    // Both: an identity table stays an identity.
    const LUTMapping both = mappingOf("LUT_IN_VIDEO_RANGE\nLUT_OUT_VIDEO_RANGE\n");
    for (float v : {0.0f, 0.3f, 1.0f}) EXPECT_NEAR(trilinear(*identity, both, {v, v, v})[1], v, 1e-6f);
}

TEST(CubeReader, NumbersIgnoreTheCLocale) {
    CubeLUT::Result r;
    {
        const QfTest::ScopedLocale comma(QfTest::kCommaLocale);
        if (!comma.active()) GTEST_SKIP() << "no comma-decimal locale installed";
        r = CubeLUT::read("LUT_3D_SIZE 2\nDOMAIN_MAX 0.5 0.5 0.5\n" + kIdentity2Rows);
    }
    ASSERT_TRUE(r.image) << r.error;
    EXPECT_FLOAT_EQ(r.image->getLUTMapping().inScale[0], 2.0f);
}

namespace {

// A Resolve file with a 5-point shaper over -0.25..1.5 before a 3D table of
// side 3 over -1..1 whose entries encode their own indices.
const std::string kShaped = "TITLE \"shaped\"\nLUT_1D_SIZE 5\nLUT_1D_INPUT_RANGE -0.25 1.5\nLUT_3D_SIZE 3\n"
                            "LUT_3D_INPUT_RANGE -1 1\n"
                            "-1 -1 1\n-0.5 0 0.5\n0 0.2 0\n0.5 0.9 -0.5\n1 1 -1\n" +
                            cube3D(3, [](int r, int g, int b) {
                                return RGB{float(r), float(g) * 0.5f, float(b) * 0.25f};
                            }).substr(14); // without its LUT_3D_SIZE line

} // namespace

TEST(CubeReader, ReadsAShaperBeforeA3DTable) {
    const CubeLUT::Result r = CubeLUT::read(kShaped);
    ASSERT_TRUE(r.image) << r.error << " at line " << r.line;
    EXPECT_FALSE(r.is1D);
    EXPECT_EQ(r.size, 3);
    EXPECT_EQ(r.shaperSize, 5);
    const HostImage3D& image = *r.image;
    ASSERT_EQ(image.getWidth(), 3);
    ASSERT_EQ(image.getChannels(), 4);
    // The 3D rows after the shaper's, in their order.
    EXPECT_EQ(entry(image, 2, 1, 0), (RGB{2, 0.5f, 0}));
    EXPECT_EQ(entry(image, 1, 2, 2), (RGB{1, 1, 0.5f}));
    // The curves in the alpha channel: red's five points, then green's, then blue's.
    const float shaper[5][3] = {{-1, -1, 1}, {-0.5f, 0, 0.5f}, {0, 0.2f, 0}, {0.5f, 0.9f, -0.5f}, {1, 1, -1}};
    for (size_t c = 0; c < 3; ++c)
        for (size_t i = 0; i < 5; ++i) EXPECT_EQ(image.data()[(c * 5 + i) * 4 + 3], shaper[i][c]) << c << " " << i;
    const LUTMapping& m = image.getLUTMapping();
    EXPECT_EQ(m.shaperSize, 5);
    EXPECT_FLOAT_EQ(m.inScale[1], 1 / 1.75f); // -0.25..1.5 onto the curve
    EXPECT_FLOAT_EQ(m.inOffset[1], 0.25f / 1.75f);
    EXPECT_FLOAT_EQ(m.latticeScale[2], 0.5f); // -1..1 onto the lattice
    EXPECT_FLOAT_EQ(m.latticeOffset[2], 0.5f);

    // The sizes may come in either order; the shaper's rows still come first.
    std::string swapped = kShaped;
    swapped.replace(swapped.find("LUT_1D_SIZE 5\n"), 14, "");
    swapped.replace(swapped.find("LUT_3D_SIZE 3\n"), 14, "LUT_3D_SIZE 3\nlut_1d_size 5\n");
    const CubeLUT::Result again = CubeLUT::read(swapped);
    ASSERT_TRUE(again.image) << again.error;
    EXPECT_EQ(again.image->getLUTMapping(), m);
    EXPECT_TRUE(std::equal(image.data(), image.data() + 27 * 4, again.image->data()));
}

TEST(CubeReader, AShaperLongerThanTheLatticeHoldsIsResampled) {
    // A lattice of side 2 holds 8 alpha values: two points per curve.
    std::string curves;
    for (int i = 0; i < 9; ++i) curves += number(float(i) / 8) + " " + number(float(i * i) / 64) + " 0.5\n";
    const CubeLUT::Result small = CubeLUT::read("LUT_1D_SIZE 9\nLUT_3D_SIZE 2\n" + curves + kIdentity2Rows);
    ASSERT_TRUE(small.image) << small.error;
    EXPECT_EQ(small.shaperSize, 9);
    EXPECT_EQ(small.image->getLUTMapping().shaperSize, 2);
    const float* d = small.image->data();
    EXPECT_EQ((std::array{d[3], d[7], d[11], d[15], d[19], d[23]}), (std::array{0.0f, 1.0f, 0.0f, 1.0f, 0.5f, 0.5f}));
    // A lattice of side 3 holds 27: nine points per curve, kept exactly.
    const CubeLUT::Result big =
        CubeLUT::read("LUT_1D_SIZE 9\n" + identity3D(3).substr(0, 14) + curves + identity3D(3).substr(14));
    ASSERT_TRUE(big.image) << big.error;
    EXPECT_EQ(big.image->getLUTMapping().shaperSize, 9);
    EXPECT_EQ(big.image->data()[(9 + 3) * 4 + 3], 9.0f / 64);
}
