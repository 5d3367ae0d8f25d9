// qffx text: draws a line of text with a GPU font into a PNG picture.
#include "Commands.h"
#include "Options.h"
#include "ParameterValues.h"
#include "ToolEffects.h"

#include "fonts/GPUFontCache.h"
#include "host/HostImage.h"
#include "host/Strings.h"
#include "image/GPUText.h"
#include "platform/fonts/FreeTypeFont.h"
#include "platform/png/PngFile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

const char* const kHelp = "usage: qffx text TEXT --out OUT.png [--font FAMILY] [--size PX] [--bold] [--italic]\n"
                          "                 [--colour R,G,B,A]\n"
                          "\n"
                          "Draws TEXT (UTF-8, one line) with a GPU font into a transparent picture just\n"
                          "large enough for it: the line's height (ascent and descent) by the pen's travel,\n"
                          "widened where ink reaches beyond either.\n"
                          "\n"
                          "  --out OUT.png      where the picture is written (8-bit RGBA)\n"
                          "  --font FAMILY      the font family (default \"DejaVu Sans\"); a missing family\n"
                          "                     is replaced by fontconfig's best match, named in the log\n"
                          "  --size PX          the size in pixels, 1 to 1024 (default 32; 11.9 draws as 11)\n"
                          "  --bold, --italic   the style\n"
                          "  --colour R,G,B,A   the text colour, each 0 to 1 (default 0,0,0,1: black)\n"
                          "\n"
                          "Exit status: 0 on success, 1 when the text cannot be drawn, 2 for bad\n"
                          "arguments or an unwritable file.\n";

int fail(const std::string& message) { return failWith("text", message); }

} // namespace

int runText(const CommandArgs& args) {
    const ParsedArgs parsed = parseArgs(
        args, {{"--out", true}, {"--font", true}, {"--size", true}, {"--bold", false}, {"--italic", false}, {"--colour", true}});
    if (parsed.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!parsed.error.empty()) return usageError("text", parsed.error);
    if (parsed.positional.size() != 1) return usageError("text", "give exactly one TEXT (quote it when it has blanks)");
    if (!parsed.has("--out")) return usageError("text", "--out is required");
    const std::string text = parsed.positional[0];
    if (text.empty()) return usageError("text", "the text is empty");

    std::vector<float> size;
    if (!parseFloats(parsed.value("--size", "32"), size) || size.size() != 1 || !(size[0] >= 1) ||
        size[0] >= FreeTypeFonts::kMaxPixelSize + 1)
        return usageError("text", "--size takes a number of pixels from 1 to 1024, not '" + parsed.value("--size") + "'");
    std::vector<float> colour;
    if (!parseFloats(parsed.value("--colour", "0,0,0,1"), colour) || colour.size() != 4 ||
        std::any_of(colour.begin(), colour.end(), [](float c) { return c < 0 || c > 1; }))
        return usageError("text", "--colour takes R,G,B,A, four numbers from 0 to 1, not '" + parsed.value("--colour") + "'");
    uint8_t style = 0;
    if (parsed.has("--bold")) style |= FontDefinition::eBold;
    if (parsed.has("--italic")) style |= FontDefinition::eItalic;

    iGPUService* gpu = startGPU("text");
    if (!gpu) return 2;
    const FontDefinition definition(fromUTF8(parsed.value("--font", "DejaVu Sans").c_str()), size[0], style);
    const Ptr<GPUFontCache::Result> handle = GPUFontCache::instance().getFont(definition);
    if (!handle || !handle->getValue()) {
        std::fprintf(stderr, "qffx text: no font could be made for '%s'\n", parsed.value("--font", "DejaVu Sans").c_str());
        return 1;
    }
    iFont& font = *handle->getValue();

    // The picture: the line box (ascent + descent) over the pen's travel,
    // widened where ink reaches beyond it; the origin sits on the baseline.
    const Qf::Image::TextLayout layout = Qf::Image::GPUText::layout(font, LightweightString<char>(text));
    if (!layout.complete) return fail("some glyphs could not be made (the font's atlas is full)");
    const FontMetrics metrics = font.getMetrics();
    const int left = std::min(0, layout.inkX0);
    const int right = std::max({layout.advance, layout.inkX1, left + 1});
    const int top = std::min(-metrics.ascent, layout.inkY0);
    const int bottom = std::max({metrics.descent, layout.inkY1, top + 1});
    const XY<int> pictureSize{right - left, bottom - top};
    const Ptr<HostImage> blank = HostImage::create(pictureSize, iGPUImage::eRGBA8);
    if (!blank) return fail("the text is too long for one picture");
    const Ptr<iGPUImage> target = blank->createGPUImage(*gpu);
    if (!target) return fail("cannot make a GPU image of " + std::to_string(pictureSize.x) + "x" + std::to_string(pictureSize.y));
    if (!Qf::Image::GPUText::draw(target, font, LightweightString<char>(text), {-left, -top},
                                  {colour[0], colour[1], colour[2], colour[3]})) {
        std::fputs("qffx text: the text could not be drawn\n", stderr);
        return 1;
    }
    const Ptr<HostImage> result = HostImage::fromGPUImage(*target);
    if (!result) {
        std::fputs("qffx text: cannot read the picture back from the GPU\n", stderr);
        return 1;
    }
    std::string error;
    if (!PngFile::write(fromUTF8(parsed.value("--out").c_str()), *result, error)) return fail(error);
    return 0;
}
