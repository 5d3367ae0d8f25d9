// qffx convert: converts frames between RGB and Y'CbCr files on the GPU, and
// repacks Y'CbCr samples exactly between formats of the same subsampling.
#include "Commands.h"
#include "FrameFormats.h"
#include "Options.h"
#include "ProgressBar.h"
#include "ToolEffects.h"

#include "image/ColourConversion.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using CC = Qf::Image::ColourConversion;

const char* const kHelp = "usage: qffx convert --in IN --out OUT [--from FMT] [--to FMT] [--size WxH]\n"
                          "                    [--colourimetry C] [--range R] [--gamut-scaling full|legal] [--filter F]\n"
                          "\n"
                          "Converts every frame of IN into OUT. RGB <-> Y'CbCr runs the library's\n"
                          "conversion effects on the GPU; between Y'CbCr formats of the same\n"
                          "subsampling the samples are repacked exactly. '-' is standard input or output.\n"
                          "\n"
                          "  --from, --to FMT     png (8/16-bit RGBA), y4m (4:2:2 and 4:4:4, 8 and 10 bits),\n"
                          "                       or raw frames: rgba, bgra, argb, rgba64le, uyvy422, yuyv422,\n"
                          "                       yuv422p10le, yuv444p10le, v210, m101, dvs10; taken from the\n"
                          "                       file extension when not given\n"
                          "  --size WxH           the frame size of raw input\n"
                          "  --colourimetry C     of the Y'CbCr side: bt601, bt709 (default), bt2020,\n"
                          "                       bt2020-hlg, bt2020-pq, p3-dci, p3-display\n"
                          "  --range R            of the Y'CbCr side: legal (default) or full; RGB is full range\n"
                          "  --gamut-scaling S    Y'CbCr to RGB: full (default) expands to full-range RGB,\n"
                          "                       legal keeps legal levels\n"
                          "  --filter F           4:2:2 chroma filter: point, linear (default), lowpass\n"
                          "\n"
                          "Exit status: 0 on success, 1 when a conversion fails on the GPU, 2 for bad\n"
                          "arguments, unreadable or truncated input (no output file is left behind).\n";

int fail(const std::string& message) { return failWith("convert", message); }

struct Settings {
    uint32_t colourimetry = Data::Video::eBT709, range = Data::Video::eLegalRange;
    CC::GamutScaling gamut = CC::eGamutFull;
    CC::Filter filter = CC::eFilterLinear;
};

template <size_t N>
bool pick(const std::string& text, const char* const (&names)[N], size_t& index) {
    for (size_t i = 0; i < N; ++i)
        if (text == names[i]) return index = i, true;
    return false;
}

uint16_t widen10(uint16_t v) { return uint16_t(v << 6 | v >> 4); }

// The GPU's services and the effect manager, started at the first frame that needs them.
bool gpuReady() {
    static iGPUService* gpu = nullptr;
    if (!gpu && (gpu = startGPU("convert"))) startManagerForLookup();
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
    explicit GPUConversions(const Settings& settings) : m_settings(settings) {}

    // Y'CbCr (any depth) to RGB of `bits` bits.
    bool toRGB(const Frame& in, unsigned bits, Frame& out);
    // RGB to Y'CbCr of `kind` at 8 or 10 bits.
    bool fromRGB(const Frame& in, Frame::eKind kind, unsigned bits, Frame& out);

private:
    // `s` as a surface of that description with a GPU image, kept when it is one already.
    static bool prepare(Surface& s, uint32_t width, uint32_t height, Format format, uint16_t bits);

    const Settings& m_settings;
    Surface m_ycbcrIn, m_rgbOut; // toRGB
    Surface m_rgbIn, m_ycbcrOut; // fromRGB
};

bool GPUConversions::prepare(Surface& s, uint32_t width, uint32_t height, Format format, uint16_t bits) {
    if (s.getGPUSurface() && s.getWidth() == width && s.getHeight() == height && s.getDataFormat() == format &&
        s.getBitsPerComponent() == bits)
        return true;
    s = Surface(width, height, format, bits);
    return gpuReady() && s.createGPUSurface(*OS()->gpu());
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

// The output file: a temporary file beside the target, renamed over it at the end.
struct Output {
    std::string path, temp;
    std::FILE* file = nullptr;
    bool open(const std::string& target, std::string& error) {
        if (target == "-") return file = stdout, true;
        path = target;
        temp = target + ".partXXXXXX";
        const int fd = mkstemp(temp.data());
        if (fd < 0 || !(file = fdopen(fd, "wb"))) return error = "cannot write '" + target + "': " + std::strerror(errno), false;
        return true;
    }
    bool commit(std::string& error) {
        if (file == stdout) return std::fflush(stdout) == 0;
        const bool ok = std::fclose(file) == 0 && std::rename(temp.c_str(), path.c_str()) == 0;
        file = nullptr;
        if (!ok) error = "cannot write '" + path + "'";
        return ok;
    }
    ~Output() {
        if (file && file != stdout) {
            std::fclose(file);
            std::remove(temp.c_str());
        }
    }
};

} // namespace

int runConvert(const CommandArgs& args) {
    const ParsedArgs parsed = parseArgs(args, {{"--in", true},
                                               {"--out", true},
                                               {"--from", true},
                                               {"--to", true},
                                               {"--size", true},
                                               {"--colourimetry", true},
                                               {"--range", true},
                                               {"--gamut-scaling", true},
                                               {"--filter", true}});
    if (parsed.help) return std::fputs(kHelp, stdout), 0;
    if (!parsed.error.empty()) return usageError("convert", parsed.error);
    if (!parsed.positional.empty()) return usageError("convert", "unexpected argument '" + parsed.positional[0] + "'");
    if (!parsed.has("--in") || !parsed.has("--out")) return usageError("convert", "--in and --out are required");

    Settings settings;
    size_t index = 0;
    static const char* const kColourimetries[] = {"bt601", "bt709", "bt2020", "bt2020-hlg", "bt2020-pq", "p3-dci", "p3-display"};
    static const uint32_t kColourimetryCodes[] = {Data::Video::eBT601,     Data::Video::eBT709,    Data::Video::eBT2020,
                                                  Data::Video::eBT2100HLG, Data::Video::eBT2100PQ, Data::Video::eDCIP3,
                                                  Data::Video::eP3D65};
    static const char* const kRanges[] = {"full", "legal"};
    static const uint32_t kRangeCodes[] = {Data::Video::eFullRange, Data::Video::eLegalRange};
    static const char* const kFilters[] = {"point", "linear", "lowpass"};
    if (parsed.has("--colourimetry")) {
        if (!pick(parsed.value("--colourimetry"), kColourimetries, index))
            return usageError("convert",
                              "--colourimetry must be bt601, bt709, bt2020, bt2020-hlg, bt2020-pq, p3-dci or p3-display");
        settings.colourimetry = kColourimetryCodes[index];
    }
    if (parsed.has("--range")) {
        if (!pick(parsed.value("--range"), kRanges, index)) return usageError("convert", "--range must be full or legal");
        settings.range = kRangeCodes[index];
    }
    if (parsed.has("--gamut-scaling")) {
        if (!pick(parsed.value("--gamut-scaling"), kRanges, index))
            return usageError("convert", "--gamut-scaling must be full or legal");
        settings.gamut = index == 0 ? CC::eGamutFull : CC::eGamutLegal;
    }
    if (parsed.has("--filter")) {
        if (!pick(parsed.value("--filter"), kFilters, index))
            return usageError("convert", "--filter must be point, linear or lowpass");
        settings.filter = CC::Filter(index);
    }
    uint32_t width = 0, height = 0;
    if (parsed.has("--size")) {
        const std::string size = parsed.value("--size");
        char* end = nullptr;
        width = uint32_t(std::strtoul(size.c_str(), &end, 10));
        height = end && *end == 'x' ? uint32_t(std::strtoul(end + 1, &end, 10)) : 0;
        if (!end || *end || width == 0 || height == 0 || width > 16384 || height > 16384)
            return usageError("convert", "--size takes WxH (1 to 16384 each), not '" + size + "'");
    }

    std::string error;
    const std::string inPath = parsed.value("--in"), outPath = parsed.value("--out");
    const FrameFormat* from = formatFor(parsed, "--from", inPath, error);
    if (!from) return usageError("convert", error);
    const FrameFormat* to = formatFor(parsed, "--to", outPath, error);
    if (!to) return usageError("convert", error);

    std::FILE* in = inPath == "-" ? stdin : std::fopen(inPath.c_str(), "rb");
    if (!in) return fail("cannot read '" + inPath + "': " + std::strerror(errno));
    struct Closer {
        std::FILE* f;
        ~Closer() {
            if (f != stdin) std::fclose(f);
        }
    } closeIn{in};
    struct stat info {};
    const bool regular = in != stdin && fstat(fileno(in), &info) == 0 && S_ISREG(info.st_mode);

    FrameReader reader;
    if (!reader.open(*from, in, width, height, error)) return fail(error);
    Output output;
    if (!output.open(outPath, error)) return fail(error);
    FrameWriter writer(*to, output.file, reader.frameRate());
    ProgressBar progress(stderr);

    GPUConversions gpu(settings);
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
        if (!converted) return failWith("convert", "the conversion of frame " + std::to_string(frames + 1) + " failed"), 1;
        if (!writer.write(out, error)) return fail(error);
        ++frames;
        if (progress.enabled())
            progress.update("frame " + std::to_string(frames),
                            regular && info.st_size > 0 ? double(std::ftell(in)) / double(info.st_size) : 0.0);
    }
    progress.finish();
    if (!error.empty()) return fail(inPath + ": frame " + std::to_string(frames + 1) + ": " + error);
    if (frames == 0) return fail(inPath + ": no frames");
    if (!output.commit(error)) return fail(error);
    return 0;
}
