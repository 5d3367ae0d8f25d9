// Fonts of the real GPU service (FreeType through fontconfig, OpenGL on
// llvmpipe without a GPU): the cache rules with real fonts, and text drawn by
// GPUText compared with what FreeType itself rasterises for the same face.
#include "fonts/GPUFontCache.h"
#include "image/GPUText.h"
#include "platform/GLTestSupport.h"

#include <gtest/gtest.h>

#include <ft2build.h>
#include FT_FREETYPE_H

#include <climits>
#include <cmath>
#include <filesystem>

namespace {

const char* const kDejaVuSans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

// FreeType's own placement of `text` at `size` pixels: the ink box of the
// rendered bitmaps relative to the baseline's left end, the pen advancing by
// hinted advances and kerning (as a text engine over FreeType places glyphs).
struct Box {
    int x0 = INT_MAX, y0 = INT_MAX, x1 = INT_MIN, y1 = INT_MIN;
};
Box freeTypeInk(const char* text, int size, int32_t* kerning = nullptr) {
    FT_Library lib;
    FT_Face face;
    EXPECT_EQ(FT_Init_FreeType(&lib), 0);
    EXPECT_EQ(FT_New_Face(lib, kDejaVuSans, 0, &face), 0);
    FT_Set_Pixel_Sizes(face, 0, FT_UInt(size));
    Box box;
    long pen = 0;
    FT_UInt previous = 0;
    for (const char* p = text; *p; ++p) {
        const FT_UInt index = FT_Get_Char_Index(face, FT_ULong(*p));
        if (previous) {
            FT_Vector delta{};
            FT_Get_Kerning(face, previous, index, FT_KERNING_DEFAULT, &delta);
            pen += delta.x;
            if (kerning && delta.x) *kerning = int32_t(delta.x);
        }
        previous = index;
        FT_Load_Glyph(face, index, FT_LOAD_RENDER);
        const FT_GlyphSlot g = face->glyph;
        if (g->bitmap.width && g->bitmap.rows) {
            const int x = int(std::lround(double(pen) / 64)) + g->bitmap_left;
            box.x0 = std::min(box.x0, x);
            box.x1 = std::max(box.x1, x + int(g->bitmap.width));
            box.y0 = std::min(box.y0, -g->bitmap_top);
            box.y1 = std::max(box.y1, -g->bitmap_top + int(g->bitmap.rows));
        }
        pen += g->advance.x;
    }
    FT_Done_Face(face);
    FT_Done_FreeType(lib);
    return box;
}

class FontGPUTest : public QfGLTest::GLTest {
protected:
    void SetUp() override {
        QfGLTest::GLTest::SetUp();
        if (!std::filesystem::exists(kDejaVuSans)) GTEST_SKIP() << "fonts-dejavu-core is not installed";
        GPUFontCache::instance().clear();
    }
    void TearDown() override { GPUFontCache::instance().clear(); }
    static Ptr<GPUFontCache::Result> font(double size, uint8_t style = 0) {
        return GPUFontCache::instance().getFont({L"DejaVu Sans", size, style});
    }
};

TEST_F(FontGPUTest, TheCacheRulesHoldWithRealFonts) {
    const Ptr<GPUFontCache::Result> a = font(20), b = font(20);
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->getValue(), b->getValue());
    EXPECT_EQ(GPUFontCache::instance().useCount({L"DejaVu Sans", 20, 0}), 2);
    EXPECT_EQ(font(11.9)->getValue()->getSize(), 11);
    EXPECT_EQ(a->getValue()->getFaceName(), L"DejaVu Sans");

    GPUFontCache::instance().clear();
    for (int size = 10; size < 20; ++size) font(size); // ten unused
    font(30);
    EXPECT_FALSE(GPUFontCache::instance().contains({L"DejaVu Sans", 10, 0})); // the first in key order went
    EXPECT_EQ(GPUFontCache::instance().size(), 10u);

    std::vector<Ptr<GPUFontCache::Result>> inUse;
    for (int size = 40; size < 50; ++size) inUse.push_back(font(size));
    font(60);
    EXPECT_EQ(GPUFontCache::instance().size(), 11u);
}

TEST_F(FontGPUTest, DrawnInkMatchesFreeTypeWithDescendersAndKerning) {
    const int size = 32;
    const char* const text = "AVATAR gjpqy Wave";
    const Ptr<GPUFontCache::Result> handle = font(size);
    ASSERT_TRUE(handle);
    iFont& f = *handle->getValue();

    // Kerning moves the second glyph of a kerned pair by FreeType's amount.
    int32_t kern = 0;
    freeTypeInk("AV", size, &kern);
    ASSERT_LT(kern, 0) << "DejaVu Sans kerns A and V";
    const Qf::Image::TextLayout av = Qf::Image::GPUText::layout(f, "AV");
    const Qf::Image::TextLayout a = Qf::Image::GPUText::layout(f, "A");
    FontGlyph v;
    ASSERT_TRUE(f.getGlyph(U'V', v));
    ASSERT_EQ(av.glyphs.size(), 2u);
    EXPECT_EQ(av.glyphs[1].topLeft.x, int(std::lround(double(a.glyphs[0].glyph.advance + kern) / 64)) + v.left);

    // Drawn on transparent black, the ink's extent is FreeType's, within a pixel.
    const XY<int> origin{8, 40};
    const int width = 600, height = 64;
    const Ptr<iGPUImage> target = QfGLTest::rgba8Image(width, height, std::vector<uint8_t>(size_t(width) * height * 4, 0));
    ASSERT_TRUE(Qf::Image::GPUText::draw(target, f, text, origin, {1, 1, 1, 1}));
    const std::vector<uint8_t> pixels = QfGLTest::readRGBA8(target);
    Box drawn;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (pixels[(size_t(y) * width + x) * 4 + 3]) {
                drawn.x0 = std::min(drawn.x0, x - origin.x);
                drawn.x1 = std::max(drawn.x1, x - origin.x + 1);
                drawn.y0 = std::min(drawn.y0, y - origin.y);
                drawn.y1 = std::max(drawn.y1, y - origin.y + 1);
            }
    const Box expected = freeTypeInk(text, size);
    EXPECT_NEAR(drawn.x0, expected.x0, 1);
    EXPECT_NEAR(drawn.x1, expected.x1, 1);
    EXPECT_NEAR(drawn.y0, expected.y0, 1);
    EXPECT_NEAR(drawn.y1, expected.y1, 1); // the descenders of g, j, p, q, y
    EXPECT_GT(expected.y1, 4);
}

TEST_F(FontGPUTest, TextBlendsOverTheTargetWithStraightAlpha) {
    const Ptr<GPUFontCache::Result> handle = font(40, FontDefinition::eBold);
    ASSERT_TRUE(handle);
    const int width = 120, height = 60;
    std::vector<uint8_t> red(size_t(width) * height * 4);
    for (size_t i = 0; i < red.size(); i += 4) red[i] = 255, red[i + 3] = 255;
    const Ptr<iGPUImage> target = QfGLTest::rgba8Image(width, height, red);
    ASSERT_TRUE(Qf::Image::GPUText::draw(target, *handle->getValue(), "IH", {10, 45}, {1, 1, 1, 0.5f}));
    const std::vector<uint8_t> out = QfGLTest::readRGBA8(target);
    int covered = 0;
    for (size_t i = 0; i < out.size(); i += 4) {
        EXPECT_EQ(out[i], 255);
        EXPECT_EQ(out[i + 3], 255); // over an opaque target the result stays opaque
        EXPECT_LE(out[i + 1], 129); // at most half way to white
        if (out[i + 1] >= 126) ++covered;
    }
    EXPECT_GT(covered, 100); // the stems of a bold I and H are fully covered
    EXPECT_EQ(out[1], 0);    // the corner is untouched
    EXPECT_FALSE(Qf::Image::GPUText::draw(nullptr, *handle->getValue(), "x", {0, 0}, {1, 1, 1, 1}));
}

} // namespace
