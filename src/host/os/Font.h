// iFont: a font made by the GPU service (iGPUService::createFont), with its
// glyphs kept in a GPU image.
//
// A font is one face at one pixel size and style. Glyphs are rasterised the
// first time they are asked for and packed into the font's atlas: an RGBA8
// GPU image whose texels hold the glyph's coverage in all four channels
// (0 outside every glyph). Pen positions, advances and kerning are in 26.6
// fixed point (1/64 pixel), as the font engine gives them; metrics and
// bitmap placement are in whole pixels, y growing downwards from the baseline.
//
// Threads: any thread may use a font; each font serialises its own calls.
#pragma once

#include "host/base/LightweightString.h"
#include "host/base/Ptr.h"
#include "host/os/GPUImage.h"

#include <cstdint>

struct FontMetrics {
    int ascent = 0;     // baseline to the top of the tallest glyphs
    int descent = 0;    // baseline to the bottom of the deepest glyphs (positive)
    int lineHeight = 0; // baseline to baseline
};

// One glyph as placed in the atlas.
struct FontGlyph {
    int atlasX = 0, atlasY = 0; // top-left texel of its coverage in the atlas
    int width = 0, height = 0;  // coverage size in pixels (0 for blanks)
    int left = 0;               // from the pen position to the coverage's left edge
    int top = 0;                // from the baseline up to the coverage's top edge
    int32_t advance = 0;        // 26.6 pixels
};

class iFont : public iObject {
public:
    // Style bits (FontDefinition's style byte, masked to these two).
    enum eStyle : int { eBold = 1, eItalic = 2 };

    // The family of the face in use: the one asked for, or the fallback found for it.
    virtual LightweightString<wchar_t> getFaceName() const = 0;
    virtual int getSize() const = 0; // pixels
    virtual int getStyle() const = 0;
    virtual FontMetrics getMetrics() const = 0;
    // The glyph of a code point, rasterised into the atlas on first use (the
    // face's "missing glyph" for code points it lacks). False when the atlas is full.
    virtual bool getGlyph(char32_t codePoint, FontGlyph& glyph) = 0;
    // The kerning between two code points drawn one after the other (26.6; usually negative or 0).
    virtual int32_t getKerning(char32_t left, char32_t right) = 0;
    // The atlas with every glyph made so far; null when it cannot be made or uploaded.
    virtual Ptr<iGPUImage> getAtlas() = 0;
};
