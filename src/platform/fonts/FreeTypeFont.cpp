#include "platform/fonts/FreeTypeFont.h"

#include "host/base/Strings.h"
#include "host/image/HostImage.h"
#include "host/misc/Log.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_SYNTHESIS_H

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

// fontconfig's configuration is process-wide; matches are made under one lock.
std::mutex g_fontconfigMutex;

struct FaceMatch {
    std::string file;
    int index = 0;
    std::string family;
    bool familyFound = false;
    bool boldFace = false;
    bool italicFace = false;
};

bool matchFace(const std::string& family, int style, FaceMatch& out) {
    std::lock_guard<std::mutex> hold(g_fontconfigMutex);
    if (!FcInit()) return false;
    FcPattern* pattern = FcPatternCreate();
    if (!pattern) return false;
    if (!family.empty()) FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
    FcPatternAddInteger(pattern, FC_WEIGHT, (style & iFont::eBold) ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern, FC_SLANT, (style & iFont::eItalic) ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    FcPattern* match = FcFontMatch(nullptr, pattern, &result);
    FcPatternDestroy(pattern);
    if (!match) return false;

    FcChar8* file = nullptr;
    const bool ok = FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch && file;
    if (ok) {
        out.file = reinterpret_cast<const char*>(file);
        FcPatternGetInteger(match, FC_INDEX, 0, &out.index);
        // A face may carry several family names (localised ones among them).
        FcChar8* name = nullptr;
        for (int i = 0; FcPatternGetString(match, FC_FAMILY, i, &name) == FcResultMatch; ++i) {
            const std::string_view found(reinterpret_cast<const char*>(name));
            if (i == 0) out.family = found;
            if (equalsIgnoreCase(found, family)) out.familyFound = true;
        }
        int weight = FC_WEIGHT_REGULAR, slant = FC_SLANT_ROMAN;
        FcPatternGetInteger(match, FC_WEIGHT, 0, &weight);
        FcPatternGetInteger(match, FC_SLANT, 0, &slant);
        out.boldFace = weight >= FC_WEIGHT_DEMIBOLD;
        out.italicFace = slant != FC_SLANT_ROMAN;
    }
    FcPatternDestroy(match);
    return ok;
}

int ceilPixels(FT_Pos v) { return int((v + 63) >> 6); }

class FreeTypeFont final : public iFont {
public:
    FreeTypeFont(iGPUService& gpu, FT_Library library, FT_Face face, const FaceMatch& match, int size, int style)
        : m_gpu(gpu), m_library(library), m_face(face), m_family(fromUTF8(LightweightString<char>(match.family))), m_size(size),
          m_style(style), m_emboldenSynthetic((style & eBold) && !match.boldFace),
          m_slantSynthetic((style & eItalic) && !match.italicFace) {
        const FT_Size_Metrics& m = face->size->metrics;
        m_metrics.ascent = ceilPixels(m.ascender);
        m_metrics.descent = ceilPixels(-m.descender);
        m_metrics.lineHeight = ceilPixels(m.height);
        m_atlas.assign(size_t(FreeTypeFonts::kAtlasWidth) * size_t(m_atlasHeight) * 4, 0);
    }
    ~FreeTypeFont() override {
        FT_Done_Face(m_face);
        FT_Done_FreeType(m_library);
    }

    LightweightString<wchar_t> getFaceName() const override { return m_family; }
    int getSize() const override { return m_size; }
    int getStyle() const override { return m_style; }
    FontMetrics getMetrics() const override { return m_metrics; }

    bool getGlyph(char32_t codePoint, FontGlyph& glyph) override {
        std::lock_guard<std::mutex> hold(m_mutex);
        const auto it = m_glyphs.find(codePoint);
        if (it != m_glyphs.end()) return glyph = it->second, true;
        if (!rasterise(codePoint, glyph)) return false;
        m_glyphs.emplace(codePoint, glyph);
        return true;
    }

    int32_t getKerning(char32_t left, char32_t right) override {
        std::lock_guard<std::mutex> hold(m_mutex);
        if (!FT_HAS_KERNING(m_face)) return 0;
        FT_Vector delta{};
        if (FT_Get_Kerning(m_face, FT_Get_Char_Index(m_face, left), FT_Get_Char_Index(m_face, right), FT_KERNING_DEFAULT, &delta))
            return 0;
        return int32_t(delta.x);
    }

    Ptr<iGPUImage> getAtlas() override {
        std::lock_guard<std::mutex> hold(m_mutex);
        const XY<int> size{FreeTypeFonts::kAtlasWidth, m_atlasHeight};
        if (!m_image || m_image->getSize() != size) {
            m_image = m_gpu.createImage(size, iGPUImage::eRGBA8);
            m_dirty = true;
        }
        if (!m_image) return nullptr;
        if (m_dirty && !m_image->upload(m_atlas.data())) return nullptr;
        m_dirty = false;
        return m_image;
    }

private:
    bool rasterise(char32_t codePoint, FontGlyph& glyph) {
        FT_GlyphSlot slot = m_face->glyph;
        if (FT_Load_Glyph(m_face, FT_Get_Char_Index(m_face, codePoint), FT_LOAD_DEFAULT | FT_LOAD_NO_BITMAP)) return false;
        if (slot->format == FT_GLYPH_FORMAT_OUTLINE) {
            if (m_slantSynthetic) FT_GlyphSlot_Oblique(slot);
            if (m_emboldenSynthetic) FT_GlyphSlot_Embolden(slot);
        }
        if (FT_Render_Glyph(slot, FT_RENDER_MODE_NORMAL)) return false;
        const FT_Bitmap& bitmap = slot->bitmap;
        glyph = {};
        glyph.width = int(bitmap.width);
        glyph.height = int(bitmap.rows);
        glyph.left = slot->bitmap_left;
        glyph.top = slot->bitmap_top;
        glyph.advance = int32_t(slot->advance.x);
        if (glyph.width == 0 || glyph.height == 0) return glyph.width = glyph.height = 0, true;
        if (!place(glyph.width, glyph.height, glyph.atlasX, glyph.atlasY)) return false;
        for (int y = 0; y < glyph.height; ++y) {
            const uint8_t* src = bitmap.buffer + ptrdiff_t(y) * bitmap.pitch;
            uint8_t* dst = &m_atlas[(size_t(glyph.atlasY + y) * FreeTypeFonts::kAtlasWidth + size_t(glyph.atlasX)) * 4];
            for (int x = 0; x < glyph.width; ++x) std::memset(dst + x * 4, src[x], 4);
        }
        m_dirty = true;
        return true;
    }

    // Shelf packing with one blank texel around each glyph, so that no
    // neighbour bleeds into a glyph's edge texels.
    bool place(int width, int height, int& x, int& y) {
        constexpr int kPad = 1;
        const int w = width + kPad, h = height + kPad;
        if (w + kPad > FreeTypeFonts::kAtlasWidth) return false;
        if (m_shelfX + w + kPad > FreeTypeFonts::kAtlasWidth) {
            m_shelfY += m_shelfHeight;
            m_shelfX = 0;
            m_shelfHeight = 0;
        }
        while (m_shelfY + h + kPad > m_atlasHeight) {
            if (m_atlasHeight * 2 > FreeTypeFonts::kMaxAtlasSide) return false;
            m_atlasHeight *= 2; // rows are whole, so growing keeps every placement
            m_atlas.resize(size_t(FreeTypeFonts::kAtlasWidth) * size_t(m_atlasHeight) * 4, 0);
        }
        x = m_shelfX + kPad;
        y = m_shelfY + kPad;
        m_shelfX += w;
        m_shelfHeight = std::max(m_shelfHeight, h);
        return true;
    }

    iGPUService& m_gpu;
    std::mutex m_mutex; // guards everything below and the FreeType objects
    FT_Library m_library;
    FT_Face m_face;
    const LightweightString<wchar_t> m_family;
    const int m_size, m_style;
    const bool m_emboldenSynthetic, m_slantSynthetic;
    FontMetrics m_metrics;
    std::unordered_map<char32_t, FontGlyph> m_glyphs;
    std::vector<uint8_t> m_atlas; // RGBA8, kAtlasWidth x m_atlasHeight
    int m_atlasHeight = 128;
    int m_shelfX = 0, m_shelfY = 0, m_shelfHeight = 0;
    bool m_dirty = true;
    Ptr<iGPUImage> m_image;
};

} // namespace

Ptr<iFont> FreeTypeFonts::create(iGPUService& gpu, const LightweightString<wchar_t>& faceName, int pixelSize, int style) {
    const std::string family = toUTF8(faceName).str();
    if (pixelSize < 1 || pixelSize > kMaxPixelSize) {
        Log("Font \"%s\": size %d is outside 1..%d pixels\n", family.c_str(), pixelSize, kMaxPixelSize);
        return nullptr;
    }
    FaceMatch match;
    if (!matchFace(family, style, match)) {
        Log("Font \"%s\" not found, and no fallback either\n", family.c_str());
        return nullptr;
    }
    if (!family.empty() && !match.familyFound) Log("Font \"%s\" not found; using \"%s\"\n", family.c_str(), match.family.c_str());

    FT_Library library = nullptr;
    if (FT_Init_FreeType(&library)) return nullptr;
    FT_Face face = nullptr;
    if (FT_New_Face(library, match.file.c_str(), match.index, &face) || FT_Set_Pixel_Sizes(face, 0, FT_UInt(pixelSize))) {
        Log("Font \"%s\": cannot open %s\n", family.c_str(), match.file.c_str());
        if (face) FT_Done_Face(face);
        FT_Done_FreeType(library);
        return nullptr;
    }
    return Ptr<iFont>(new FreeTypeFont(gpu, library, face, match, pixelSize, style & (iFont::eBold | iFont::eItalic)));
}
