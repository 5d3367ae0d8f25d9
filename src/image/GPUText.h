// Qf::Image::GPUText: lines of text laid out with an iFont and drawn into GPU
// images, the text helper of Qf::Image::GPU.
//
// Layout: the pen starts at the left end of the baseline; each glyph goes at
// the pen position rounded to a whole pixel, after the kerning between it and
// the glyph before it, and the pen moves on by the glyph's advance (26.6).
// Text is UTF-8 (malformed bytes draw as U+FFFD); a line break ends the line.
//
// Drawing: the glyphs' coverage is gathered from the font's atlas into a
// small coverage image the size of the text's ink (one draw per glyph, each
// keeping the larger coverage where glyphs overlap), which is then blended
// over the target in the colour (straight alpha: the colour's alpha times the
// coverage, composited "over" the target's pixels), and the result copied
// back into the target. Every step is a draw of the run-time effect "_GPUText"
// in one GPUPass, under the effect manager's shader-usage lock.
#pragma once

#include "host/base/LightweightString.h"
#include "host/base/XY.h"
#include "host/image/HostImage.h"
#include "host/os/Font.h"
#include "host/os/GPUImage.h"

#include <vector>

namespace Qf::Image {

struct TextLayout {
    struct Placed {
        FontGlyph glyph;
        XY<int> topLeft; // of the glyph's coverage, relative to the line's origin
    };
    std::vector<Placed> glyphs; // inked glyphs only (blanks move the pen but draw nothing)
    int advance = 0;            // pen travel in whole pixels (rounded up)
    // The ink box relative to the origin (the baseline's left end): x0,y0 inclusive, x1,y1 exclusive.
    int inkX0 = 0, inkY0 = 0, inkX1 = 0, inkY1 = 0;
    bool complete = true; // false when a glyph could not be made (the atlas is full)
    bool hasInk() const { return inkX1 > inkX0 && inkY1 > inkY0; }
};

class GPUText {
public:
    // Lays out `utf8` (up to its first line break).
    static TextLayout layout(iFont& font, const LightweightString<char>& utf8);
    // Draws `utf8` into `target` (a 2D GPU image) with the baseline's left end
    // at `origin` (pixels from the top-left corner), blended in `colour`.
    // Text outside the target is clipped. False without a GPU service, for a
    // null font or target, or when a draw fails; the target is then unchanged.
    static bool draw(const Ptr<iGPUImage>& target, iFont& font, const LightweightString<char>& utf8, XY<int> origin,
                     const RGBAf& colour);
};

} // namespace Qf::Image
