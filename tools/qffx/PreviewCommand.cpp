// qffx preview: a contact sheet of an effect on a test picture.
//
// Row 1 holds the untouched picture and the effect at its defaults; each
// further row sweeps one float parameter from its minimum to its maximum in
// kSteps cells, the other parameters at their defaults. Each cell is drawn as
// `qffx run` draws it. Under every cell a band of kLabelHeight pixels holds
// its label ("defaults", "Amount = 0.25"), drawn with the GPU font; the
// values are also printed on standard output, row by row.
#include "Commands.h"
#include "EffectDrawing.h"
#include "ToolEffects.h"
#include "ToolFiles.h"

#include "fonts/GPUFontCache.h"
#include "host/base/Strings.h"
#include "image/GPUText.h"
#include "platform/png/PngFile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

constexpr int kSteps = 5;        // cells in a sweep, minimum to maximum
constexpr int kGap = 8;          // pixels between cells and around the sheet
constexpr int kLabelHeight = 20; // the band under each cell kept for its label
constexpr float kBackground = 0.18f;
constexpr double kLabelPixels = 13; // the labels' font size
const wchar_t* const kLabelFont = L"DejaVu Sans";

struct Label {
    std::string text;
    XY<int> origin; // the baseline's left end on the sheet
};

// Writes the labels into their bands with the GPU font. A sheet without
// labels is still a correct sheet (the values are printed too), so a missing
// font only costs the labels.
Ptr<HostImage> withLabels(const Ptr<HostImage>& sheet, const std::vector<Label>& labels, iGPUService& gpu) {
    const Ptr<GPUFontCache::Result> font = GPUFontCache::instance().getFont(FontDefinition(kLabelFont, kLabelPixels));
    const Ptr<iGPUImage> image = font && font->getValue() ? sheet->createGPUImage(gpu) : Ptr<iGPUImage>();
    if (!image) return sheet;
    for (const Label& label : labels)
        if (!Qf::Image::GPUText::draw(image, *font->getValue(), LightweightString<char>(label.text), label.origin, {1, 1, 1, 1}))
            return sheet;
    const Ptr<HostImage> labelled = HostImage::fromGPUImage(*image);
    return labelled ? labelled : sheet;
}

// The built-in test picture, 320x180: 75% colour bars over the top half, a
// grey ramp from black to white, six skin tones from light to dark, then fine
// detail (a one-pixel checkerboard, then lines ever closer together).
Ptr<HostImage> testPicture() {
    constexpr int kWidth = 320, kHeight = 180;
    const Ptr<HostImage> picture = HostImage::create({kWidth, kHeight}, iGPUImage::eRGBA8);
    static constexpr RGBAf kBars[] = {{.75f, .75f, .75f, 1}, {.75f, .75f, 0, 1}, {0, .75f, .75f, 1}, {0, .75f, 0, 1},
                                      {.75f, 0, .75f, 1},    {.75f, 0, 0, 1},    {0, 0, .75f, 1}};
    static constexpr RGBAf kSkin[] = {{.96f, .80f, .69f, 1}, {.90f, .72f, .60f, 1}, {.80f, .60f, .46f, 1},
                                      {.63f, .45f, .33f, 1}, {.45f, .31f, .22f, 1}, {.29f, .20f, .15f, 1}};
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            RGBAf c;
            if (y < 90) {
                c = kBars[x * 7 / kWidth];
            } else if (y < 120) {
                const float v = float(x) / float(kWidth - 1);
                c = {v, v, v, 1};
            } else if (y < 150) {
                c = kSkin[x * 6 / kWidth];
            } else if (x < kWidth / 2) {
                const float v = float((x + y) % 2);
                c = {v, v, v, 1};
            } else {
                const float t = float(x - kWidth / 2);
                const float v = 0.5f + 0.5f * std::cos(t * t * 0.02f);
                c = {v, v, v, 1};
            }
            picture->setTexel(x, y, c);
        }
    return picture;
}

void paste(HostImage& sheet, const HostImage& cell, int left, int top) {
    const size_t bytes = cell.getStride();
    for (int y = 0; y < cell.getHeight(); ++y)
        std::memcpy(sheet.row(top + y) + size_t(left) * sheet.texelBytes(), cell.row(y), bytes);
}

struct Sweep {
    Shader::Parameter parameter;
    std::vector<double> values;
};

double property(const Shader::Parameter& p, const char* key) {
    double value = 0;
    p.properties.in(key, value);
    return value;
}

} // namespace

int runPreview(const Invocation& call) {
    const ParsedArgs& parsed = call.args;
    const Reporter& report = call.report;

    std::string error;
    const std::string outPath = parsed.value("--out");
    if (!checkOutputName(outPath, "png", error)) return report.usage("--out " + error);
    // The sheet on standard output: the values go to standard error.
    std::FILE* const text = outPath == "-" ? stderr : stdout;
    Ptr<ShaderEffectInfo> effect;
    iGPUService* gpu = openEffectOnGPU(report, parsed.positional[0], effect);
    if (!gpu) return eExitUsage;
    Ptr<HostImage> picture = testPicture();
    if (parsed.has("--in")) picture = readPngInput(parsed.value("--in"), error, gpu->maxImageSide());
    if (!picture) return report.bad(error.empty() ? "cannot make the test picture" : error);
    const ShaderCompilationOutput out = effect->compile();
    if (!out.shader) {
        printEffectErrors(*effect, out.errors);
        return eExitFailed;
    }

    // Every cell starts from the declared defaults; the declared float
    // parameters give the sweeps (the compiled effect's list has no ranges).
    EffectValues values(*effect);
    std::vector<Sweep> sweeps;
    for (const Shader::Parameter& p : values.declarations()) {
        // A float declared by its ID alone is a variable the host sets: it has no range.
        if (p.type != iShaderParam::eFloat || !p.properties.has(Shader::PropertyKey::kMax)) continue;
        if (parsed.has("--param") && p.id.str() != parsed.value("--param")) continue;
        Sweep sweep{p, {}};
        const double low = property(p, Shader::PropertyKey::kMin), high = property(p, Shader::PropertyKey::kMax);
        for (int i = 0; i < kSteps; ++i) sweep.values.push_back(low + (high - low) * i / (kSteps - 1));
        sweeps.push_back(std::move(sweep));
    }
    if (parsed.has("--param") && sweeps.empty())
        return report.usage("the effect has no float parameter '" + parsed.value("--param") + "'");

    const XY<int> cell = picture->getSize();
    const int rows = 1 + int(sweeps.size());
    const Ptr<HostImage> sheet =
        HostImage::create({kGap + kSteps * (cell.x + kGap), kGap + rows * (cell.y + kLabelHeight + kGap)}, picture->getFormat());
    if (!sheet) return report.bad("the sheet would be too large for a picture of this size");
    for (int y = 0; y < sheet->getHeight(); ++y)
        for (int x = 0; x < sheet->getWidth(); ++x) sheet->setTexel(x, y, {kBackground, kBackground, kBackground, 1});
    std::vector<Label> labels;
    const auto place = [&](const HostImage& image, int row, int column, std::string label) {
        const XY<int> corner{kGap + column * (cell.x + kGap), kGap + row * (cell.y + kLabelHeight + kGap)};
        paste(*sheet, image, corner.x, corner.y);
        labels.push_back({std::move(label), {corner.x + 2, corner.y + cell.y + kLabelHeight - 5}});
    };

    const auto draw = [&]() { return drawEffect(*effect, *out.shader, values, *gpu, *picture, {}, error); };
    place(*picture, 0, 0, "untouched");
    const Ptr<HostImage> defaults = draw();
    if (!defaults) return report.failed(error);
    place(*defaults, 0, 1, "defaults");
    std::fprintf(text, "row 1: untouched, defaults\n");

    for (size_t r = 0; r < sweeps.size(); ++r) {
        const Sweep& sweep = sweeps[r];
        if (!out.shader->getParam(sweep.parameter.id))
            return report.bad("the compiled effect has no parameter '" + sweep.parameter.id.str() + "'");
        ParameterValue& value = *values.find(sweep.parameter.id);
        std::string printed;
        for (int i = 0; i < kSteps; ++i) {
            value.setFloat(float(sweep.values[i]));
            const Ptr<HostImage> result = draw();
            if (!result) return report.failed(error);
            const std::string text = StringFromFloat(sweep.values[i]).str();
            place(*result, int(r) + 1, i, sweep.parameter.id.str() + " = " + text);
            printed += (i ? ", " : "") + text;
        }
        // Back to the default for the rows that follow.
        value.setFloat(float(property(sweep.parameter, Shader::PropertyKey::kDefault)));
        std::fprintf(text, "row %zu: %s = %s\n", r + 2, sweep.parameter.id.c_str(), printed.c_str());
    }

    if (!writePngOutput(outPath, *withLabels(sheet, labels, *gpu), error)) return report.bad(error);
    return eExitSuccess;
}
