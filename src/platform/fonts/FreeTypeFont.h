// The Linux GPU service's fonts: faces found through fontconfig, glyphs
// rasterised by FreeType into an atlas that lives in a GPU image.
//
// The face is fontconfig's best match for the family, weight and slant; when
// the family is missing, the log names the fallback:
//   Font "FAMILY" not found; using "FALLBACK"
// Bold and italic come from a bold or italic face when the family has one,
// else they are synthesised (emboldened outline, 12-degree slant).
//
// The atlas is kept in memory and uploaded to its GPU image when a glyph was
// added since the last upload; it starts small and doubles in height up to
// kMaxAtlasSide. Each font has its own FreeType library object, so fonts on
// different threads never share FreeType state; a font's mutex serialises
// its own calls.
#pragma once

#include "host/os/Font.h"
#include "host/os/OS.h"

class FreeTypeFonts {
public:
    static constexpr int kMaxPixelSize = 1024;
    static constexpr int kAtlasWidth = 1024;
    static constexpr int kMaxAtlasSide = 4096;

    // Null (with a log line saying why) when no face can be found or opened,
    // or the size is outside 1..kMaxPixelSize.
    static Ptr<iFont> create(iGPUService& gpu, const LightweightString<wchar_t>& faceName, int pixelSize, int style);
};
