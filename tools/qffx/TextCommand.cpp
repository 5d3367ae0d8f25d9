// qffx text: draws a line of text with a GPU font into a PNG picture.
#include "Commands.h"
#include "ParameterValues.h"
#include "ToolEffects.h"
#include "ToolFiles.h"

#include "fonts/GPUFontCache.h"
#include "host/base/Strings.h"
#include "host/image/HostImage.h"
#include "image/GPUText.h"
#include "platform/fonts/FreeTypeFont.h"
#include "platform/png/PngFile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

int runText(const Invocation& call) {
    const ParsedArgs& parsed = call.args;
    const Reporter& report = call.report;
    const std::string text = parsed.positional[0];
    if (text.empty()) return report.usage("the text is empty");

    std::vector<float> size;
    if (!parseFloats(parsed.value("--size", "32"), size) || size.size() != 1 || !(size[0] >= 1) ||
        size[0] >= FreeTypeFonts::kMaxPixelSize + 1)
        return report.usage("--size takes a number of pixels from 1 to 1024, not '" + parsed.value("--size") + "'");
    std::vector<float> colour;
    if (!parseFloats(parsed.value("--colour", "0,0,0,1"), colour) || colour.size() != 4 ||
        std::any_of(colour.begin(), colour.end(), [](float c) { return c < 0 || c > 1; }))
        return report.usage("--colour takes R,G,B,A, four numbers from 0 to 1, not '" + parsed.value("--colour") + "'");
    uint8_t style = 0;
    if (parsed.has("--bold")) style |= FontDefinition::eBold;
    if (parsed.has("--italic")) style |= FontDefinition::eItalic;

    iGPUService* gpu = startGPU(report);
    if (!gpu) return eExitUsage;
    startManagerForLookup(); // the text effect is the manager's; nothing else need compile
    const FontDefinition definition(fromUTF8(parsed.value("--font", "DejaVu Sans").c_str()), size[0], style);
    const Ptr<GPUFontCache::Result> handle = GPUFontCache::instance().getFont(definition);
    if (!handle || !handle->getValue())
        return report.failed("no font could be made for '" + parsed.value("--font", "DejaVu Sans") + "'");
    iFont& font = *handle->getValue();

    // The picture: the line box (ascent + descent) over the pen's travel,
    // widened where ink reaches beyond it; the origin sits on the baseline.
    const Qf::Image::TextLayout layout = Qf::Image::GPUText::layout(font, LightweightString<char>(text));
    if (!layout.complete) return report.bad("some glyphs could not be made (the font's atlas is full)");
    const FontMetrics metrics = font.getMetrics();
    const int left = std::min(0, layout.inkX0);
    const int right = std::max({layout.advance, layout.inkX1, left + 1});
    const int top = std::min(-metrics.ascent, layout.inkY0);
    const int bottom = std::max({metrics.descent, layout.inkY1, top + 1});
    const XY<int> pictureSize{right - left, bottom - top};
    const Ptr<HostImage> blank = HostImage::create(pictureSize, iGPUImage::eRGBA8);
    if (!blank) return report.bad("the text is too long for one picture");
    const Ptr<iGPUImage> target = blank->createGPUImage(*gpu);
    if (!target)
        return report.bad("cannot make a GPU image of " + std::to_string(pictureSize.x) + "x" + std::to_string(pictureSize.y));
    if (!Qf::Image::GPUText::draw(target, font, LightweightString<char>(text), {-left, -top},
                                  {colour[0], colour[1], colour[2], colour[3]}))
        return report.failed("the text could not be drawn");
    const Ptr<HostImage> result = HostImage::fromGPUImage(*target);
    if (!result) return report.failed("cannot read the picture back from the GPU");
    std::string error;
    if (!writePngOutput(parsed.value("--out"), *result, error)) return report.bad(error);
    return eExitSuccess;
}
