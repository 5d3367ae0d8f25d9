// qffx scopes: the video scopes of a PNG frame, computed by the compute
// kernels (Qf::Image::Scopes), drawn as pictures and printed as numbers.
#include "Commands.h"
#include "ToolEffects.h"
#include "ToolFiles.h"
#include "ToolJson.h"

#include "host/base/Strings.h"
#include "host/image/HostImage.h"
#include "host/misc/Directories.h"
#include "host/own/Files.h"
#include "image/Scopes.h"
#include "manager/Manager.h"
#include "platform/png/PngFile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

using Qf::Image::Scopes;
using Qf::Image::ScopesData;

namespace {

constexpr int kLevels = ScopesData::kLevels;

// A tight RGBA8 picture to draw the scopes into.
struct Canvas {
    Ptr<HostImage> image;
    static constexpr uint8_t kBackground[3] = {16, 16, 16};

    explicit Canvas(XY<int> size) : image(HostImage::create(size, iGPUImage::eRGBA8)) {
        if (!image) return;
        for (int y = 0; y < size.y; ++y)
            for (int x = 0; x < size.x; ++x) set(x, y, kBackground[0], kBackground[1], kBackground[2]);
    }
    void set(int x, int y, int r, int g, int b) {
        if (x < 0 || y < 0 || x >= image->getWidth() || y >= image->getHeight()) return;
        uint8_t* texel = image->row(y) + size_t(x) * 4;
        texel[0] = uint8_t(std::clamp(r, 0, 255));
        texel[1] = uint8_t(std::clamp(g, 0, 255));
        texel[2] = uint8_t(std::clamp(b, 0, 255));
        texel[3] = 255;
    }
    void hline(int x0, int x1, int y, int r, int g, int b) {
        for (int x = x0; x <= x1; ++x) set(x, y, r, g, b);
    }
    void vline(int x, int y0, int y1, int r, int g, int b) {
        for (int y = y0; y <= y1; ++y) set(x, y, r, g, b);
    }
    void box(int x0, int y0, int x1, int y1, int r, int g, int b) {
        hline(x0, x1, y0, r, g, b);
        hline(x0, x1, y1, r, g, b);
        vline(x0, y0, y1, r, g, b);
        vline(x1, y0, y1, r, g, b);
    }
};

// Brightness 0..1 for a count on a logarithmic scale up to `peak`.
double brightness(uint32_t count, uint32_t peak) {
    return count == 0 || peak == 0 ? 0.0 : std::log1p(double(count)) / std::log1p(double(peak));
}

Ptr<HostImage> drawHistograms(const ScopesData& s) {
    constexpr int kPanel = 100, kGap = 2, kScale = 2;
    Canvas c({kLevels * kScale, 4 * kPanel + 3 * kGap});
    if (!c.image) return {};
    const ScopesData::Histogram* histograms[] = {&s.luma, &s.red, &s.green, &s.blue};
    const int colours[4][3] = {{225, 225, 225}, {235, 70, 70}, {70, 215, 70}, {90, 130, 255}};
    for (int h = 0; h < 4; ++h) {
        const int top = h * (kPanel + kGap), bottom = top + kPanel - 1;
        for (int level : {16, 64, 128, 192, 235}) c.vline(level * kScale, top, bottom, 55, 55, 55);
        const uint32_t peak = *std::max_element(histograms[h]->begin(), histograms[h]->end());
        for (int level = 0; level < kLevels; ++level) {
            const uint32_t count = (*histograms[h])[size_t(level)];
            const int bar = peak ? int(std::lround(double(count) / peak * kPanel)) : 0;
            for (int dx = 0; dx < kScale; ++dx)
                if (bar > 0) c.vline(level * kScale + dx, bottom - bar + 1, bottom, colours[h][0], colours[h][1], colours[h][2]);
        }
        if (h < 3) c.hline(0, kLevels * kScale - 1, bottom + 1, 90, 90, 90);
    }
    return c.image;
}

Ptr<HostImage> drawWaveform(const ScopesData& s) {
    Canvas c({s.width, kLevels});
    if (!c.image) return {};
    const uint32_t peak = *std::max_element(s.waveform.begin(), s.waveform.end());
    for (int level = 0; level < kLevels; level += 64) c.hline(0, s.width - 1, kLevels - 1 - level, 50, 50, 50);
    for (int level : {16, 235}) c.hline(0, s.width - 1, kLevels - 1 - level, 90, 70, 30);
    for (int x = 0; x < s.width; ++x)
        for (int level = 0; level < kLevels; ++level)
            if (const uint32_t count = s.waveformAt(x, level)) {
                const double v = 0.25 + 0.75 * brightness(count, peak);
                c.set(x, kLevels - 1 - level, int(90 * v), int(255 * v), int(110 * v));
            }
    return c.image;
}

Ptr<HostImage> drawVectorscope(const ScopesData& s) {
    constexpr int kScale = 2, kSize = kLevels * kScale;
    Canvas c({kSize, kSize});
    if (!c.image) return {};
    // Graticule: the axes through grey (128, 128) and the circle of full saturation.
    const int centre = 128 * kScale;
    c.hline(0, kSize - 1, kSize - 1 - centre, 50, 50, 50);
    c.vline(centre, 0, kSize - 1, 50, 50, 50);
    for (int a = 0; a < 1440; ++a) {
        const double t = a * M_PI / 720;
        c.set(centre + int(std::lround(127.5 * kScale * std::cos(t))),
              kSize - 1 - centre - int(std::lround(127.5 * kScale * std::sin(t))), 50, 50, 50);
    }
    const uint32_t peak = *std::max_element(s.vectorscope.begin(), s.vectorscope.end());
    for (int cr = 0; cr < kLevels; ++cr)
        for (int cb = 0; cb < kLevels; ++cb)
            if (const uint32_t count = s.vectorscopeAt(cb, cr)) {
                const double v = 0.25 + 0.75 * brightness(count, peak);
                for (int dy = 0; dy < kScale; ++dy)
                    for (int dx = 0; dx < kScale; ++dx)
                        c.set(cb * kScale + dx, kSize - 1 - (cr * kScale + dy), int(200 * v), int(255 * v), int(200 * v));
            }
    // The 75% colour bars: components at 191 (0.75 x 255, rounded) or 0.
    constexpr int kBar = 191, kHalf = 5;
    const int bars[6][3] = {{kBar, 0, 0}, {0, kBar, 0}, {0, 0, kBar}, {0, kBar, kBar}, {kBar, 0, kBar}, {kBar, kBar, 0}};
    for (const auto& bar : bars) {
        const int x = Scopes::cbOf(bar[0], bar[1], bar[2]) * kScale + kScale / 2;
        const int y = kSize - 1 - (Scopes::crOf(bar[0], bar[1], bar[2]) * kScale + kScale / 2);
        const int r = bar[0] ? 255 : 60, g = bar[1] ? 255 : 60, b = bar[2] ? 255 : 60;
        c.box(x - kHalf * kScale, y - kHalf * kScale, x + kHalf * kScale, y + kHalf * kScale, r, g, b);
    }
    return c.image;
}

struct HistogramSummary {
    int min = -1, max = -1;
    double mean = 0;
};

HistogramSummary summarise(const ScopesData::Histogram& h) {
    HistogramSummary s;
    uint64_t total = 0, weighted = 0;
    for (int level = 0; level < kLevels; ++level) {
        const uint32_t n = h[size_t(level)];
        if (!n) continue;
        if (s.min < 0) s.min = level;
        s.max = level;
        total += n;
        weighted += uint64_t(n) * uint64_t(level);
    }
    s.mean = total ? double(weighted) / double(total) : 0;
    return s;
}

// The frame as a surface with host pixels (no GPU service needed).
Surface surfaceOf(const HostImage& image) {
    Surface frame(uint32_t(image.getWidth()), uint32_t(image.getHeight()), Format::eRGBA,
                  image.getFormat() == iGPUImage::eRGBA16 ? 16 : 8);
    for (int y = 0; y < image.getHeight() && !frame.isEmpty(); ++y)
        std::memcpy(frame.getRow(uint32_t(y)), image.row(y), image.getStride());
    return frame;
}

} // namespace

int runScopes(const Invocation& call) {
    const ParsedArgs& parsed = call.args;
    const Reporter& report = call.report;

    const std::string inPath = parsed.value("--in");
    std::string error;
    const Ptr<HostImage> picture = readPngInput(inPath, error);
    if (!picture) return report.bad(error);
    const Surface frame = surfaceOf(*picture);
    if (frame.isEmpty()) return report.bad("cannot hold " + inPath + " as a frame");

    Qf::FxResources::Manager& manager = startManagerForLookup();
    if (!manager.getGPUComputeContext())
        return report.bad("no OpenCL platform or device is present, so the scopes cannot be computed (install an OpenCL driver; "
                          "pocl-opencl-icd runs kernels on the CPU)");
    ScopesData scopes;
    if (!Scopes::compute(frame, scopes)) return report.failed("the scopes of " + inPath + " could not be computed");

    // Every picture is made and encoded before the first is written.
    const std::string dir = parsed.value("--out-dir", ".");
    const std::string stem = std::filesystem::path(inPath).stem().string();
    const struct {
        const char* kind;
        Ptr<HostImage> image;
    } pictures[] = {
        {"histogram", drawHistograms(scopes)}, {"waveform", drawWaveform(scopes)}, {"vectorscope", drawVectorscope(scopes)}};
    std::vector<std::pair<std::string, std::vector<uint8_t>>> files;
    for (const auto& p : pictures) {
        std::vector<uint8_t> bytes;
        if (!p.image || !PngFile::encode(*p.image, bytes, error))
            return report.bad(std::string("the ") + p.kind + " picture: " + error);
        files.emplace_back((std::filesystem::path(dir) / (stem + "_" + p.kind + ".png")).string(), std::move(bytes));
    }
    if (!makeDirectories(fromUTF8(dir.c_str()))) return report.bad("cannot make the directory " + dir);
    // All three are written completely before the first is renamed in, so
    // that a failure while writing leaves the directory as it was.
    OutputFile outputs[3];
    for (size_t i = 0; i < files.size(); ++i) {
        const auto& [path, bytes] = files[i];
        if (!outputs[i].open(path, error)) return report.bad(error);
        if (std::fwrite(bytes.data(), 1, bytes.size(), outputs[i].stream()) != bytes.size() || !outputs[i].finish(error))
            return report.bad(error.empty() ? "cannot write '" + path + "'" : error);
    }
    for (OutputFile& output : outputs)
        if (!output.commit(error)) return report.failed(error);

    uint32_t peakCount = 0;
    size_t peakIndex = 0;
    for (size_t i = 0; i < scopes.vectorscope.size(); ++i)
        if (scopes.vectorscope[i] > peakCount) peakCount = scopes.vectorscope[i], peakIndex = i;
    const int peakCb = int(peakIndex % kLevels), peakCr = int(peakIndex / kLevels);

    if (parsed.has("--json")) {
        const Json numbers = {
            {"frame", inPath},
            {"device", scopes.device.str()},
            {"width", scopes.width},
            {"height", scopes.height},
            {"histogram_luma", scopes.luma},
            {"histogram_r", scopes.red},
            {"histogram_g", scopes.green},
            {"histogram_b", scopes.blue},
            {"vectorscope_peak", {{"cb", peakCb}, {"cr", peakCr}, {"count", peakCount}}},
            {"pictures", {{"histogram", files[0].first}, {"waveform", files[1].first}, {"vectorscope", files[2].first}}}};
        std::fputs(jsonText(numbers).c_str(), stdout);
        return eExitSuccess;
    }
    std::printf("%s: %dx%d, scopes on %s\n", inPath.c_str(), scopes.width, scopes.height, scopes.device.c_str());
    const struct {
        const char* name;
        const ScopesData::Histogram& h;
    } rows[] = {{"luma", scopes.luma}, {"red", scopes.red}, {"green", scopes.green}, {"blue", scopes.blue}};
    for (const auto& row : rows) {
        const HistogramSummary s = summarise(row.h);
        std::printf("  %-6s levels %3d..%3d, mean %.1f\n", row.name, s.min, s.max, s.mean);
    }
    std::printf("  vectorscope peak at Cb %d, Cr %d (%u pixels)\n", peakCb, peakCr, peakCount);
    for (const auto& file : files) std::printf("  wrote %s\n", file.first.c_str());
    return eExitSuccess;
}
