// qffx convert: converts frames between RGB and Y'CbCr files on the GPU, and
// repacks Y'CbCr samples exactly between formats of the same subsampling.
#include "ColourNames.h"
#include "Commands.h"
#include "ConversionTable.h"
#include "FrameFormats.h"
#include "ProgressBar.h"
#include "ToolEffects.h"
#include "ToolFiles.h"

#include "image/ColourConversion.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using CC = Qf::Image::ColourConversion;

struct Settings {
    Data::Video::eColourimetry colourimetry = Data::Video::eBT709;
    Data::Video::eRange range = Data::Video::eLegalRange;
    CC::GamutScaling gamut = CC::eGamutFull;
    CC::Filter filter = CC::eFilterLinear;
};

uint16_t widen10(uint16_t v) { return uint16_t(v << 6 | v >> 4); }

// The GPU's services and the effect manager, started at the first frame that needs them.
bool gpuReady(const Reporter& report) {
    static iGPUService* gpu = nullptr;
    if (!gpu && (gpu = startGPU(report))) startManagerForLookup();
    return gpu != nullptr;
}

Data::Video ycbcrVideo(const Settings& settings) {
    Data::Video video;
    video.colourimetry = settings.colourimetry;
    video.range = settings.range;
    return video;
}

// The RGB <-> Y'CbCr conversions on the GPU. The surfaces (host memory and
// GPU image) of each direction are kept from frame to frame: a stream's
// frames all have one size and layout, so each frame is one upload, one
// pass and one read-back.
class GPUConversions {
public:
    GPUConversions(const Settings& settings, const Reporter& report) : m_settings(settings), m_report(report) {}

    // Y'CbCr (any depth) to RGB of `bits` bits.
    bool toRGB(const Frame& in, unsigned bits, Frame& out);
    // RGB to Y'CbCr of `kind` at 8 or 10 bits.
    bool fromRGB(const Frame& in, Frame::eKind kind, unsigned bits, Frame& out);

private:
    // `s` as a surface of that description with a GPU image, kept when it is one already.
    bool prepare(Surface& s, uint32_t width, uint32_t height, Format format, uint16_t bits) const;

    const Settings& m_settings;
    const Reporter& m_report;
    Surface m_ycbcrIn, m_rgbOut; // toRGB
    Surface m_rgbIn, m_ycbcrOut; // fromRGB
};

bool GPUConversions::prepare(Surface& s, uint32_t width, uint32_t height, Format format, uint16_t bits) const {
    if (s.getGPUSurface() && s.getWidth() == width && s.getHeight() == height && s.getDataFormat() == format &&
        s.getBitsPerComponent() == bits)
        return true;
    s = Surface(width, height, format, bits);
    return gpuReady(m_report) && s.createGPUSurface(*OS()->gpu());
}

bool GPUConversions::toRGB(const Frame& in, unsigned bits, Frame& out) {
    const bool pairs = in.kind == Frame::eYCbCr422;
    if (!prepare(m_ycbcrIn, in.width, in.height, pairs ? Format::eYUY2 : Format::eRGBA, pairs ? 10 : 16) ||
        !prepare(m_rgbOut, in.width, in.height, Format::eRGBA, 16))
        return false;
    // The samples at 10 bits, widened to the texels' 16.
    const auto texel = [&](uint16_t v) { return widen10(sampleAtDepth(in.kind, v, in.bits, 10)); };
    const size_t inRow = in.samplesPerRow();
    for (uint32_t y = 0; y < in.height; ++y) {
        auto* row = reinterpret_cast<uint16_t*>(m_ycbcrIn.getRow(y));
        const uint16_t* s = in.samples.data() + y * inRow;
        if (pairs) // Cb Y0 Cr Y1 into YUY2 texels: Y0 Cb Y1 Cr
            for (size_t j = 0; j < inRow / 4; ++j)
                row[4 * j] = texel(s[4 * j + 1]), row[4 * j + 1] = texel(s[4 * j]), row[4 * j + 2] = texel(s[4 * j + 3]),
                        row[4 * j + 3] = texel(s[4 * j + 2]);
        else // Y' Cb Cr into texels Y' Cr Cb A
            for (uint32_t x = 0; x < in.width; ++x)
                row[4 * x] = texel(s[3 * x]), row[4 * x + 1] = texel(s[3 * x + 2]), row[4 * x + 2] = texel(s[3 * x + 1]),
                        row[4 * x + 3] = 65535;
    }
    m_ycbcrIn.setVideoData(ycbcrVideo(m_settings));
    if (!m_ycbcrIn.uploadToGPU()) return false;
    const bool done = pairs ? CC::convertYCrCb422ToRGB(m_ycbcrIn, m_rgbOut, m_settings.gamut, m_settings.filter)
                            : CC::convertYCrCb444ToRGB(m_ycbcrIn, m_rgbOut, m_settings.gamut, m_settings.filter);
    if (!done || !m_rgbOut.readBackFromGPU()) return false;
    out.allocate(Frame::eRGB, in.width, in.height, bits);
    const size_t outRow = out.samplesPerRow();
    for (uint32_t y = 0; y < in.height; ++y) {
        const auto* row = reinterpret_cast<const uint16_t*>(m_rgbOut.getRow(y));
        uint16_t* s = out.samples.data() + y * outRow;
        for (size_t i = 0; i < outRow; ++i) s[i] = sampleAtDepth(Frame::eRGB, row[i], 16, bits);
    }
    return true;
}

bool GPUConversions::fromRGB(const Frame& in, Frame::eKind kind, unsigned bits, Frame& out) {
    const bool pairs = kind == Frame::eYCbCr422, wide = bits > 8;
    if (!prepare(m_rgbIn, in.width, in.height, Format::eRGBA, 16) ||
        !prepare(m_ycbcrOut, in.width, in.height, pairs ? Format::eYUY2 : Format::eRGBA,
                 pairs ? (wide ? 10 : 8) : (wide ? 16 : 8)))
        return false;
    const size_t inRow = in.samplesPerRow();
    for (uint32_t y = 0; y < in.height; ++y) {
        auto* row = reinterpret_cast<uint16_t*>(m_rgbIn.getRow(y));
        const uint16_t* s = in.samples.data() + y * inRow;
        for (size_t i = 0; i < inRow; ++i) row[i] = sampleAtDepth(Frame::eRGB, s[i], in.bits, 16);
    }
    Data::Video full;
    full.range = Data::Video::eFullRange;
    m_rgbIn.setVideoData(full);
    m_ycbcrOut.setVideoData(ycbcrVideo(m_settings));
    if (!m_rgbIn.uploadToGPU()) return false;
    const bool done = pairs ? CC::convertRGBToYCrCb422(m_rgbIn, m_ycbcrOut, m_settings.filter)
                            : CC::convertRGBToYCrCb444(m_rgbIn, m_ycbcrOut, m_settings.filter);
    if (!done || !m_ycbcrOut.readBackFromGPU()) return false;
    out.allocate(kind, in.width, in.height, wide ? 10 : 8);
    const size_t outRow = out.samplesPerRow(), units = pairs ? outRow / 4 : in.width;
    for (uint32_t y = 0; y < in.height; ++y) {
        const uint8_t* row = m_ycbcrOut.getRow(y);
        uint16_t* s = out.samples.data() + y * outRow;
        const auto at = [&](size_t i) {
            return wide ? uint16_t(reinterpret_cast<const uint16_t*>(row)[i] >> 6) : uint16_t(row[i]);
        };
        for (size_t j = 0; j < units; ++j) {
            if (pairs) // YUY2 texels: Y0 Cb Y1 Cr
                s[4 * j] = at(4 * j + 1), s[4 * j + 1] = at(4 * j), s[4 * j + 2] = at(4 * j + 3), s[4 * j + 3] = at(4 * j + 2);
            else // Y' Cr Cb A
                s[3 * j] = at(4 * j), s[3 * j + 1] = at(4 * j + 2), s[3 * j + 2] = at(4 * j + 1);
        }
    }
    return true;
}

std::string extensionOf(const std::string& path) {
    const size_t slash = path.find_last_of('/'), dot = path.find_last_of('.');
    return dot == std::string::npos || (slash != std::string::npos && dot < slash) ? "" : path.substr(dot + 1);
}

const FrameFormat* formatFor(const ParsedArgs& parsed, const char* option, const std::string& path, std::string& error) {
    const std::string name = parsed.has(option) ? parsed.value(option) : extensionOf(path);
    const FrameFormat* f = findFrameFormat(name);
    if (!f) {
        if (parsed.has(option))
            error = "unknown format '" + name + "' (formats: " + frameFormatNames() + ")";
        else
            error = "cannot tell the format of '" + path + "' from its name: give " + option;
    }
    return f;
}

// The settings as the user gave them, for messages.
std::string givenSettings(const ParsedArgs& parsed, bool inverse) {
    std::string text;
    for (const char* option : {"--range", "--colourimetry", "--gamut-scaling"}) {
        if (!inverse && option == std::string_view("--gamut-scaling")) continue;
        if (parsed.has(option)) text += (text.empty() ? "" : " ") + std::string(option) + " " + parsed.value(option);
    }
    return text.empty() ? "the default settings" : text;
}

// Refuses settings that the coefficient table of the conversion's direction
// does not hold: the library would set no coefficients and the output would
// be zeros. Warns where the table gives another result than the one asked.
int checkCoefficients(const FrameReader& reader, const FrameFormat& to, const Settings& settings, const ParsedArgs& parsed,
                      const Reporter& report) {
    Frame like;
    like.kind = reader.kind(), like.bits = reader.bits();
    Frame::eKind kind;
    unsigned bits;
    FrameWriter::target(to, like, kind, bits);
    if (kind == like.kind) return eExitSuccess;
    const bool forward = kind != Frame::eRGB, inverse = like.kind != Frame::eRGB;
    if (inverse && inverseCoefficients(settings.colourimetry, settings.range, settings.gamut).empty())
        return report.usage(givenSettings(parsed, true) +
                            ": the Y'CbCr to RGB table has no coefficients for these settings (the output would be zeros); "
                            "it takes " +
                            inverseChoices());
    if (forward) {
        const WrittenCoefficients written = forwardCoefficients(settings.range, settings.colourimetry);
        if (written.empty())
            return report.usage(givenSettings(parsed, false) +
                                ": the RGB to Y'CbCr table has no coefficients for these settings (the output would be "
                                "zeros); it takes " +
                                forwardChoices());
        if (settings.range == Data::Video::eFullRange &&
            written == forwardCoefficients(Data::Video::eLegalRange, settings.colourimetry))
            report.say("warning: " + givenSettings(parsed, false) +
                       ": the RGB to Y'CbCr table writes legal levels for these settings, as --range legal does");
    }
    return eExitSuccess;
}

} // namespace

int runConvert(const Invocation& call) {
    const ParsedArgs& parsed = call.args;
    const Reporter& report = call.report;

    Settings settings;
    if (parsed.has("--colourimetry")) {
        const auto colourimetry = videoColourimetry(parsed.value("--colourimetry"));
        if (!colourimetry) return report.usage("--colourimetry must be " + videoColourimetryNames());
        settings.colourimetry = *colourimetry;
    }
    if (parsed.has("--range")) {
        const auto range = videoRange(parsed.value("--range"));
        if (!range) return report.usage("--range must be full or legal");
        settings.range = *range;
    }
    if (parsed.has("--gamut-scaling")) {
        const auto scaling = videoRange(parsed.value("--gamut-scaling"));
        if (!scaling) return report.usage("--gamut-scaling must be full or legal");
        settings.gamut = *scaling == Data::Video::eFullRange ? CC::eGamutFull : CC::eGamutLegal;
    }
    if (parsed.has("--filter")) {
        static constexpr std::pair<std::string_view, CC::Filter> kFilters[] = {
            {"point", CC::eFilterPoint}, {"linear", CC::eFilterLinear}, {"lowpass", CC::eFilterLowPass}};
        const auto found = std::find_if(std::begin(kFilters), std::end(kFilters),
                                        [&](const auto& f) { return f.first == parsed.value("--filter"); });
        if (found == std::end(kFilters)) return report.usage("--filter must be point, linear or lowpass");
        settings.filter = found->second;
    }
    uint32_t width = 0, height = 0;
    if (parsed.has("--size")) {
        const std::string size = parsed.value("--size");
        if (!parseFrameSize(size, width, height)) return report.usage("--size takes WxH (1 to 16384 each), not '" + size + "'");
    }

    std::string error;
    const std::string inPath = parsed.value("--in"), outPath = parsed.value("--out");
    const FrameFormat* from = formatFor(parsed, "--from", inPath, error);
    if (!from) return report.usage(error);
    const FrameFormat* to = formatFor(parsed, "--to", outPath, error);
    if (!to) return report.usage(error);

    std::FILE* in = inPath == "-" ? stdin : std::fopen(inPath.c_str(), "rb");
    if (!in) return report.bad("cannot read '" + inPath + "': " + std::strerror(errno));
    struct Closer {
        std::FILE* f;
        ~Closer() {
            if (f != stdin) std::fclose(f);
        }
    } closeIn{in};
    struct stat info {};
    const bool regular = in != stdin && fstat(fileno(in), &info) == 0 && S_ISREG(info.st_mode);

    FrameReader reader;
    if (!reader.open(*from, in, width, height, error)) return report.bad(error);
    if (const int status = checkCoefficients(reader, *to, settings, parsed, report); status != eExitSuccess) return status;
    OutputFile output;
    if (!output.open(outPath, error)) return report.bad(error);
    FrameWriter writer(*to, output.stream(), reader.frameRate());
    ProgressBar progress(stderr);

    GPUConversions gpu(settings, report);
    Frame frame, out, rgb; // reused from frame to frame
    int frames = 0;
    while (reader.next(frame, error)) {
        Frame::eKind kind;
        unsigned bits;
        FrameWriter::target(*to, frame, kind, bits);
        bool converted = true;
        if (frame.kind == kind)
            out = withDepth(frame, bits);
        else if (frame.kind == Frame::eRGB)
            converted = gpu.fromRGB(frame, kind, bits, out);
        else if (kind == Frame::eRGB)
            converted = gpu.toRGB(frame, bits, out);
        else // 4:2:2 <-> 4:4:4 through RGB
            converted = gpu.toRGB(frame, 16, rgb) && gpu.fromRGB(rgb, kind, bits, out);
        if (!converted) return report.failed("the conversion of frame " + std::to_string(frames + 1) + " failed");
        if (!writer.write(out, error)) return report.bad(error);
        ++frames;
        if (progress.enabled())
            progress.update("frame " + std::to_string(frames),
                            regular && info.st_size > 0 ? double(std::ftell(in)) / double(info.st_size) : 0.0);
    }
    progress.finish();
    if (!error.empty()) return report.bad(inPath + ": frame " + std::to_string(frames + 1) + ": " + error);
    if (frames == 0) return report.bad(inPath + ": no frames");
    if (!output.commit(error)) return report.bad(error);
    return eExitSuccess;
}
