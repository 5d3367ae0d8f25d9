// Frame formats of qffx convert: the byte layouts of docs/formats.md and of
// FFmpeg's raw pixel formats, read and written one frame at a time.
#include "FrameFormats.h"

#include "host/image/HostImage.h"
#include "platform/png/PngFile.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <map>

namespace {

const FrameFormat kFormats[] = {
    {"png", Frame::eRGB, 0, false},
    {"y4m", Frame::eYCbCr422, 0, false},
    {"rgba", Frame::eRGB, 8, true, Format::eRGBA},
    {"bgra", Frame::eRGB, 8, true, Format::eBGRA},
    {"argb", Frame::eRGB, 8, true, Format::eARGB},
    {"rgba64le", Frame::eRGB, 16, true, Format::eRGBA},
    {"uyvy422", Frame::eYCbCr422, 8, true, Format::eUYVY},
    {"yuyv422", Frame::eYCbCr422, 8, true, Format::eYUY2},
    {"yuv422p10le", Frame::eYCbCr422, 10, true},
    {"yuv444p10le", Frame::eYCbCr444, 10, true},
    {"v210", Frame::eYCbCr422, 10, true, Format::eV210},
    {"m101", Frame::eYCbCr422, 10, true, Format::eM101},
    {"dvs10", Frame::eYCbCr422, 10, true, Format::eDVS1},
};

std::string pixelsWide(uint32_t width) { return std::to_string(width) + (width == 1 ? " pixel wide" : " pixels wide"); }

// A PNG input is a picture file: it is held to the picture file limit.
constexpr size_t kMaxPngInputBytes = size_t(512) << 20;

bool is(const FrameFormat& f, const char* name) { return std::strcmp(f.name, name) == 0; }
uint32_t pairs(uint32_t width) { return (width + 1) / 2; }

uint32_t loadWord(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24; }
void storeWord(uint8_t* p, uint32_t w) {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(w >> (8 * i));
}
uint16_t load16(const uint8_t* p) { return uint16_t(p[0] | p[1] << 8); }
void store16(uint8_t* p, uint16_t v) { p[0] = uint8_t(v), p[1] = uint8_t(v >> 8); }

// Bytes of one row of a raw format with a library layout: its minimum stride.
size_t rowBytes(const FrameFormat& f, uint32_t w) {
    const std::optional<TexelLayout> t = texelLayoutFor(f.layout, f.bits, w, 1);
    return t ? t->minStride : 0;
}

// The component order of an 8-bit RGB raw format: where R, G, B, A sit.
const int* rgbOrder(const FrameFormat& f) {
    static const int rgba[] = {0, 1, 2, 3}, bgra[] = {2, 1, 0, 3}, argb[] = {1, 2, 3, 0};
    return is(f, "bgra") ? bgra : is(f, "argb") ? argb : rgba;
}

// The sample stream of a row of 10-bit words (v210: bits 0-9 first; DVS:
// bits 22-31 first), three samples to a word.
void wordsToSamples(const uint8_t* row, bool dvs, uint16_t* s, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const uint32_t word = loadWord(row + 4 * (i / 3));
        s[i] = uint16_t(word >> (dvs ? 22 - 10 * (i % 3) : 10 * (i % 3)) & 1023);
    }
}

// Reads/writes one raw (or y4m plane-set) frame from/to `bytes`.
void decodeRaw(const FrameFormat& f, const uint8_t* bytes, Frame& frame) {
    const uint32_t w = frame.width, h = frame.height;
    const size_t stride = rowBytes(f, w), perRow = frame.samplesPerRow();
    const int* const order = rgbOrder(f); // looked up once: the name comparison is not free per sample
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* row = bytes + y * stride;
        uint16_t* s = frame.samples.data() + y * perRow;
        if (frame.kind == Frame::eRGB) {
            for (size_t i = 0; i < 4 * size_t(w); ++i)
                s[i] = frame.bits == 16 ? load16(row + 2 * i) : row[i / 4 * 4 + size_t(order[i % 4])];
        } else if (is(f, "uyvy422") || is(f, "yuyv422")) {
            const bool yuyv = is(f, "yuyv422");
            for (size_t i = 0; i < perRow; ++i) s[i] = row[yuyv ? (i / 4 * 4 + ((i % 4) ^ 1)) : i];
        } else if (is(f, "v210") || is(f, "dvs10")) {
            wordsToSamples(row, is(f, "dvs10"), s, perRow);
        } else if (is(f, "m101")) {
            for (size_t i = 0; i < perRow; ++i) {
                const size_t group = i / 16, k = i % 16, hi = group * 20 + k, lo = group * 20 + 16 + k / 4;
                s[i] = uint16_t((hi < stride ? row[hi] << 2 : 0) | (lo < stride ? (row[lo] >> (2 * (k % 4))) & 3 : 0));
            }
        }
    }
}

} // namespace

size_t Frame::samplesPerRow() const {
    return kind == eYCbCr422 ? 4 * size_t(pairs(width)) : (kind == eRGB ? 4 : 3) * size_t(width);
}

void Frame::allocate(eKind k, uint32_t w, uint32_t h, unsigned b) {
    kind = k, width = w, height = h, bits = b;
    samples.assign(samplesPerRow() * h, 0);
}

const FrameFormat* findFrameFormat(const std::string& name) {
    for (const FrameFormat& f : kFormats)
        if (name == f.name) return &f;
    return nullptr;
}

uint32_t parseFrameSide(std::string_view text) {
    uint32_t v = 0;
    if (text.empty() || text[0] < '0' || text[0] > '9') return 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    return ec == std::errc() && end == text.data() + text.size() && v <= kMaxFrameSide ? v : 0;
}

bool parseFrameSize(std::string_view text, uint32_t& width, uint32_t& height) {
    const size_t x = text.find('x');
    if (x == std::string_view::npos) return false;
    width = parseFrameSide(text.substr(0, x));
    height = parseFrameSide(text.substr(x + 1));
    return width && height;
}

bool readPngStream(std::FILE* in, size_t limit, std::string& bytes, std::string& error) {
    static constexpr char kSignature[8] = {'\x89', 'P', 'N', 'G', '\r', '\n', '\x1a', '\n'};
    bytes.assign(8, '\0');
    bytes.resize(std::fread(bytes.data(), 1, 8, in));
    if (bytes.size() < 8 || std::memcmp(bytes.data(), kSignature, 8) != 0) return error = "the input is not a PNG file", false;
    for (;;) {
        char head[8];
        const size_t n = std::fread(head, 1, sizeof head, in);
        bytes.append(head, n);
        if (n < sizeof head) return true;
        const uint32_t length = uint32_t(uint8_t(head[0])) << 24 | uint32_t(uint8_t(head[1])) << 16 |
                                uint32_t(uint8_t(head[2])) << 8 | uint32_t(uint8_t(head[3]));
        if (length > 0x7fffffffu) return error = "the PNG input has a chunk longer than PNG allows", false;
        if (bytes.size() + size_t(length) + 4 > limit)
            return error = "the PNG input is larger than " + std::to_string(limit >> 20) + " MiB", false;
        // The chunk's data and checksum, as they arrive.
        char chunk[65536];
        for (size_t left = size_t(length) + 4; left > 0;) {
            const size_t got = std::fread(chunk, 1, std::min(left, sizeof chunk), in);
            bytes.append(chunk, got);
            if (got == 0) return true;
            left -= got;
        }
        if (std::memcmp(head + 4, "IEND", 4) == 0) return true;
    }
}

std::string frameFormatNames() {
    std::string names;
    for (const FrameFormat& f : kFormats) names += (names.empty() ? "" : ", ") + std::string(f.name);
    return names;
}

// --- planar layouts (yuv422p10le, yuv444p10le and the y4m planes) ---

namespace {

// Plane sizes of a planar Y'CbCr frame in samples: luma, and each chroma plane.
size_t planarBytes(const Frame& f) {
    const size_t luma = size_t(f.width) * f.height,
                 chroma = (f.kind == Frame::eYCbCr422 ? pairs(f.width) : f.width) * size_t(f.height);
    return (luma + 2 * chroma) * (f.bits > 8 ? 2 : 1);
}

void decodePlanar(const uint8_t* bytes, Frame& f) {
    const bool wide = f.bits > 8;
    const size_t cw = f.kind == Frame::eYCbCr422 ? pairs(f.width) : f.width, planeY = size_t(f.width) * f.height,
                 planeC = cw * f.height;
    const auto at = [&](size_t index) { return uint16_t(wide ? load16(bytes + 2 * index) & 1023 : bytes[index]); };
    for (uint32_t y = 0; y < f.height; ++y) {
        uint16_t* s = f.samples.data() + y * f.samplesPerRow();
        for (size_t x = 0; x < cw; ++x) {
            const uint16_t cb = at(planeY + y * cw + x), cr = at(planeY + planeC + y * cw + x);
            if (f.kind == Frame::eYCbCr444) {
                s[3 * x] = at(y * size_t(f.width) + x), s[3 * x + 1] = cb, s[3 * x + 2] = cr;
            } else {
                const size_t x0 = 2 * x, x1 = std::min<size_t>(2 * x + 1, f.width - 1);
                s[4 * x] = cb, s[4 * x + 1] = at(y * size_t(f.width) + x0), s[4 * x + 2] = cr,
                      s[4 * x + 3] = at(y * size_t(f.width) + x1);
            }
        }
    }
}

void encodePlanar(const Frame& f, std::vector<uint8_t>& out) {
    const bool wide = f.bits > 8;
    const size_t cw = f.kind == Frame::eYCbCr422 ? pairs(f.width) : f.width, planeY = size_t(f.width) * f.height,
                 planeC = cw * f.height;
    out.assign(planarBytes(f), 0);
    const auto put = [&](size_t index, uint16_t v) {
        if (wide)
            store16(out.data() + 2 * index, v);
        else
            out[index] = uint8_t(v);
    };
    for (uint32_t y = 0; y < f.height; ++y) {
        const uint16_t* s = f.samples.data() + y * f.samplesPerRow();
        for (size_t x = 0; x < cw; ++x) {
            const bool is444 = f.kind == Frame::eYCbCr444;
            put(planeY + y * cw + x, s[is444 ? 3 * x + 1 : 4 * x]);
            put(planeY + planeC + y * cw + x, s[is444 ? 3 * x + 2 : 4 * x + 2]);
            if (is444) {
                put(y * size_t(f.width) + x, s[3 * x]);
            } else {
                put(y * size_t(f.width) + 2 * x, s[4 * x + 1]);
                if (2 * x + 1 < f.width) put(y * size_t(f.width) + 2 * x + 1, s[4 * x + 3]);
            }
        }
    }
}

void encodeRaw(const FrameFormat& f, const Frame& frame, std::vector<uint8_t>& out) {
    if (is(f, "yuv422p10le") || is(f, "yuv444p10le")) return encodePlanar(frame, out);
    const size_t stride = rowBytes(f, frame.width), perRow = frame.samplesPerRow();
    out.assign(stride * frame.height, 0);
    const int* const order = rgbOrder(f);
    for (uint32_t y = 0; y < frame.height; ++y) {
        uint8_t* row = out.data() + y * stride;
        const uint16_t* s = frame.samples.data() + y * perRow;
        if (frame.kind == Frame::eRGB) {
            for (size_t i = 0; i < perRow; ++i) {
                if (frame.bits == 16)
                    store16(row + 2 * i, s[i]);
                else
                    row[i / 4 * 4 + size_t(order[i % 4])] = uint8_t(s[i]);
            }
        } else if (is(f, "uyvy422") || is(f, "yuyv422")) {
            const bool yuyv = is(f, "yuyv422");
            for (size_t i = 0; i < perRow; ++i) row[yuyv ? (i / 4 * 4 + ((i % 4) ^ 1)) : i] = uint8_t(s[i]);
        } else if (is(f, "v210")) {
            // Like FFmpeg's encoder: samples kept within 4..1019 (the codes
            // outside are reserved for SDI timing references); a last group
            // that the picture does not fill ends with zero samples.
            for (size_t i = 0; i < perRow; ++i) {
                uint8_t* p = row + 4 * (i / 3);
                storeWord(p, loadWord(p) | uint32_t(std::clamp<uint16_t>(s[i], 4, 1019)) << (10 * (i % 3)));
            }
        } else if (is(f, "dvs10")) {
            for (size_t i = 0; i < perRow; ++i) {
                uint8_t* p = row + 4 * (i / 3);
                storeWord(p, loadWord(p) | uint32_t(s[i] & 1023) << (22 - 10 * (i % 3)));
            }
        } else if (is(f, "m101")) {
            for (size_t i = 0; i < perRow; ++i) {
                const size_t group = i / 16, k = i % 16, hi = group * 20 + k, lo = group * 20 + 16 + k / 4;
                if (hi < stride) row[hi] = uint8_t(s[i] >> 2);
                if (lo < stride) row[lo] = uint8_t(row[lo] | (s[i] & 3) << (2 * (k % 4)));
            }
        }
    }
}

// Reads `size` bytes into `bytes`, whose storage grows only as the data
// arrives: a header's claim of a huge frame costs nothing until the frame's
// bytes are there. `got` is what was read.
bool readGrowing(std::FILE* in, std::vector<uint8_t>& bytes, size_t size, size_t& got) {
    constexpr size_t kFirstStep = size_t(1) << 20;
    got = 0;
    while (got < size) {
        const size_t want = std::min(size - got, std::max(kFirstStep, got));
        if (bytes.size() < got + want) bytes.resize(got + want);
        const size_t n = std::fread(bytes.data() + got, 1, want, in);
        got += n;
        if (n < want) return false;
    }
    return true;
}

// The parameters of a y4m line (the stream header after its signature, or a
// frame header after FRAME) up to its newline: each token's first letter and
// the rest. The format sets no length on a line, so only the first
// kMaxY4mToken bytes of a token are kept (a longer value is kept as "\x7f",
// which no check accepts) and only the last token of each letter: a line of
// any length costs a few bytes. False at the end of the input before the newline.
constexpr size_t kMaxY4mToken = 64;
bool readY4mLine(std::FILE* in, std::map<char, std::string>& params) {
    std::string token;
    bool overlong = false;
    for (;;) {
        const int c = std::fgetc(in);
        if (c == EOF) return false;
        if (c == ' ' || c == '\n') {
            if (!token.empty()) params[token[0]] = overlong ? std::string("\x7f") : token.substr(1);
            token.clear();
            overlong = false;
            if (c == '\n') return true;
        } else if (token.size() < kMaxY4mToken) {
            token += char(c);
        } else {
            overlong = true;
        }
    }
}

// A y4m frame rate "N:D", both positive and within 32 bits.
bool validRate(const std::string& rate) {
    const size_t colon = rate.find(':');
    if (colon == std::string::npos) return false;
    const auto part = [&](std::string_view t) {
        uint32_t v = 0;
        const auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
        return !t.empty() && ec == std::errc() && end == t.data() + t.size() && v > 0;
    };
    return part(std::string_view(rate).substr(0, colon)) && part(std::string_view(rate).substr(colon + 1));
}

const char* y4mTag(Frame::eKind kind, unsigned bits) {
    if (kind == Frame::eYCbCr444) return bits > 8 ? "444p10" : "444";
    return bits > 8 ? "422p10" : "422";
}

} // namespace

// --- reading ---

bool FrameReader::open(const FrameFormat& format, std::FILE* in, uint32_t width, uint32_t height, std::string& error) {
    m_format = &format;
    m_in = in;
    m_kind = format.kind;
    m_bits = format.bits;
    m_width = width, m_height = height;
    if (is(format, "png")) {
        std::string bytes;
        if (!readPngStream(in, kMaxPngInputBytes, bytes, error)) return false;
        const Ptr<HostImage> image = PngFile::decode(bytes.data(), bytes.size(), error, "the PNG input");
        if (!image) return false;
        m_width = uint32_t(image->getWidth()), m_height = uint32_t(image->getHeight());
        if ((width || height) && (width != m_width || height != m_height))
            return error = "--size " + std::to_string(width) + "x" + std::to_string(height) + " differs from the PNG size " +
                           std::to_string(m_width) + "x" + std::to_string(m_height),
                   false;
        m_bits = image->getFormat() == iGPUImage::eRGBA8 ? 8 : 16;
        const Ptr<HostImage> pixels = m_bits == 8 ? image : image->convertedTo(iGPUImage::eRGBA16);
        m_png.allocate(Frame::eRGB, m_width, m_height, m_bits);
        for (size_t i = 0; i < m_png.samples.size(); ++i)
            m_png.samples[i] = m_bits == 8 ? pixels->data()[i] : reinterpret_cast<const uint16_t*>(pixels->data())[i];
        m_pngPending = true;
        return true;
    }
    if (is(format, "y4m")) {
        char signature[9];
        std::map<char, std::string> params;
        if (std::fread(signature, 1, 9, in) != 9 || std::memcmp(signature, "YUV4MPEG2", 9) != 0)
            return error = "the input is not a YUV4MPEG2 stream", false;
        if (!readY4mLine(in, params)) return error = "the y4m header ends before its newline", false;
        const std::string colour = params.count('C') ? params['C'] : "420jpeg";
        const uint32_t w = parseFrameSide(params['W']), h = parseFrameSide(params['H']);
        if (params.count('F')) {
            if (!validRate(params['F'])) return error = "the y4m header has no valid frame rate (F)", false;
            m_rate = params['F'];
        }
        if (colour == "422" || colour == "444" || colour == "422p10" || colour == "444p10") {
            m_kind = colour.starts_with("444") ? Frame::eYCbCr444 : Frame::eYCbCr422;
            m_bits = colour.ends_with("p10") ? 10 : 8;
        } else {
            return error = "y4m colour space C" + colour + " is not supported (422, 444, 422p10, 444p10)", false;
        }
        if (w == 0 || h == 0) return error = "the y4m header has no valid size (W and H, 1 to 16384)", false;
        if ((width || height) && (width != w || height != h))
            return error = "--size " + std::to_string(width) + "x" + std::to_string(height) + " differs from the y4m size " +
                           std::to_string(w) + "x" + std::to_string(h),
                   false;
        m_width = w, m_height = h;
        return true;
    }
    if (!width || !height) return error = "--size WxH is needed for raw " + std::string(format.name) + " input", false;
    if (frameBytes() == 0) return error = std::string(format.name) + " frames " + pixelsWide(width) + " hold no bytes", false;
    return true;
}

size_t FrameReader::frameBytes() const {
    if (!m_format || is(*m_format, "png")) return 0;
    if (is(*m_format, "y4m")) {
        Frame f;
        f.kind = m_kind, f.width = m_width, f.height = m_height, f.bits = m_bits;
        return planarBytes(f) + 6;
    }
    if (is(*m_format, "yuv422p10le") || is(*m_format, "yuv444p10le")) {
        Frame f;
        f.kind = m_kind, f.width = m_width, f.height = m_height, f.bits = m_bits;
        return planarBytes(f);
    }
    return rowBytes(*m_format, m_width) * m_height;
}

bool FrameReader::next(Frame& frame, std::string& error) {
    error.clear();
    if (is(*m_format, "png")) {
        if (!m_pngPending) return false;
        m_pngPending = false;
        frame = std::move(m_png);
        return true;
    }
    if (is(*m_format, "y4m")) {
        // "FRAME", then the frame's parameters (ignored) or at once its newline.
        char marker[6];
        const size_t n = std::fread(marker, 1, sizeof marker, m_in);
        if (n == 0) return false;
        std::map<char, std::string> ignored;
        if (n < sizeof marker || std::memcmp(marker, "FRAME", 5) != 0 || (marker[5] != '\n' && marker[5] != ' ') ||
            (marker[5] == ' ' && !readY4mLine(m_in, ignored)))
            return error = "malformed y4m frame header", false;
    }
    const size_t size = is(*m_format, "y4m") ? frameBytes() - 6 : frameBytes();
    std::vector<uint8_t>& bytes = m_bytes;
    size_t got = 0;
    if (!readGrowing(m_in, bytes, size, got)) {
        if (got == 0 && !is(*m_format, "y4m")) return false; // a clean end between frames
        return error = "truncated frame: " + std::to_string(got) + " of " + std::to_string(size) + " bytes", false;
    }
    // The samples are made only once their bytes are all there.
    frame.allocate(m_kind, m_width, m_height, m_bits);
    if (is(*m_format, "y4m") || is(*m_format, "yuv422p10le") || is(*m_format, "yuv444p10le"))
        decodePlanar(bytes.data(), frame);
    else
        decodeRaw(*m_format, bytes.data(), frame);
    return true;
}

// --- writing ---

void FrameWriter::target(const FrameFormat& format, const Frame& like, Frame::eKind& kind, unsigned& bits) {
    if (is(format, "png")) {
        kind = Frame::eRGB, bits = like.kind == Frame::eRGB ? like.bits : (like.bits > 8 ? 16 : 8);
    } else if (is(format, "y4m")) {
        kind = like.kind == Frame::eRGB ? Frame::eYCbCr422 : like.kind;
        bits = like.bits > 8 ? 10 : 8;
    } else {
        kind = format.kind, bits = format.bits;
    }
}

bool FrameWriter::write(const Frame& frame, std::string& error) {
    std::vector<uint8_t>& bytes = m_bytes;
    std::string header;
    if (is(m_format, "png")) {
        if (m_frames > 0) return error = "a PNG file holds one frame; the input has more", false;
        const Ptr<HostImage> image =
            HostImage::create({int(frame.width), int(frame.height)}, frame.bits == 8 ? iGPUImage::eRGBA8 : iGPUImage::eRGBA16);
        if (!image) return error = "the picture is too large", false;
        for (size_t i = 0; i < frame.samples.size(); ++i) {
            if (frame.bits == 8)
                image->data()[i] = uint8_t(frame.samples[i]);
            else
                reinterpret_cast<uint16_t*>(image->data())[i] = frame.samples[i];
        }
        if (!PngFile::encode(*image, bytes, error)) return false;
    } else if (is(m_format, "y4m")) {
        if (m_frames == 0)
            header = "YUV4MPEG2 W" + std::to_string(frame.width) + " H" + std::to_string(frame.height) + " F" + m_rate +
                     " Ip A1:1 C" + y4mTag(frame.kind, frame.bits) + "\n";
        header += "FRAME\n";
        encodePlanar(frame, bytes);
    } else {
        encodeRaw(m_format, frame, bytes);
    }
    if (bytes.empty()) return error = std::string(m_format.name) + " cannot hold a frame " + pixelsWide(frame.width), false;
    ++m_frames;
    if ((!header.empty() && std::fwrite(header.data(), 1, header.size(), m_out) != header.size()) ||
        std::fwrite(bytes.data(), 1, bytes.size(), m_out) != bytes.size())
        return error = std::string("cannot write the output: ") + std::strerror(errno), false;
    return true;
}

Frame withDepth(const Frame& frame, unsigned bits) {
    if (frame.bits == bits) return frame;
    Frame out = frame;
    out.bits = bits;
    for (uint16_t& v : out.samples) v = sampleAtDepth(frame.kind, v, frame.bits, bits);
    return out;
}
