// Frame formats of qffx convert: the byte layouts of docs/formats.md and of
// FFmpeg's raw pixel formats, read and written one frame at a time.
#include "FrameFormats.h"

#include "host/image/HostImage.h"
#include "platform/png/PngFile.h"

#include <algorithm>
#include <cstring>

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

bool readExactly(std::FILE* in, void* data, size_t size, size_t& got) {
    got = size ? std::fread(data, 1, size, in) : 0;
    return got == size;
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
        std::vector<uint8_t> bytes;
        uint8_t chunk[65536];
        for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, in)) > 0;) bytes.insert(bytes.end(), chunk, chunk + n);
        const Ptr<HostImage> image = PngFile::decode(bytes.data(), bytes.size(), error, "the PNG input");
        if (!image) return false;
        m_width = uint32_t(image->getWidth()), m_height = uint32_t(image->getHeight());
        m_bits = image->getFormat() == iGPUImage::eRGBA8 ? 8 : 16;
        const Ptr<HostImage> pixels = m_bits == 8 ? image : image->convertedTo(iGPUImage::eRGBA16);
        m_png.allocate(Frame::eRGB, m_width, m_height, m_bits);
        for (size_t i = 0; i < m_png.samples.size(); ++i)
            m_png.samples[i] = m_bits == 8 ? pixels->data()[i] : reinterpret_cast<const uint16_t*>(pixels->data())[i];
        m_pngPending = true;
        return true;
    }
    if (is(format, "y4m")) {
        std::string header;
        for (int c; (c = std::fgetc(in)) != EOF && c != '\n' && header.size() < 4096;) header += char(c);
        if (!header.starts_with("YUV4MPEG2 ")) return error = "the input is not a YUV4MPEG2 stream", false;
        std::string colour = "420jpeg";
        uint32_t w = 0, h = 0;
        for (size_t at = 10; at < header.size();) {
            const size_t end = std::min(header.find(' ', at), header.size());
            const std::string token = header.substr(at, end - at);
            if (!token.empty() && token[0] == 'W') w = uint32_t(std::strtoul(token.c_str() + 1, nullptr, 10));
            if (!token.empty() && token[0] == 'H') h = uint32_t(std::strtoul(token.c_str() + 1, nullptr, 10));
            if (!token.empty() && token[0] == 'F') m_rate = token.substr(1);
            if (!token.empty() && token[0] == 'C') colour = token.substr(1);
            at = end + 1;
        }
        if (colour == "422" || colour == "444" || colour == "422p10" || colour == "444p10") {
            m_kind = colour.starts_with("444") ? Frame::eYCbCr444 : Frame::eYCbCr422;
            m_bits = colour.ends_with("p10") ? 10 : 8;
        } else {
            return error = "y4m colour space C" + colour + " is not supported (422, 444, 422p10, 444p10)", false;
        }
        if (w == 0 || h == 0 || w > 16384 || h > 16384) return error = "the y4m header has no valid size", false;
        if ((width || height) && (width != w || height != h))
            return error = "--size " + std::to_string(width) + "x" + std::to_string(height) + " differs from the y4m size " +
                           std::to_string(w) + "x" + std::to_string(h),
                   false;
        m_width = w, m_height = h;
        return true;
    }
    if (!width || !height) return error = "--size WxH is needed for raw " + std::string(format.name) + " input", false;
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
    frame.allocate(m_kind, m_width, m_height, m_bits);
    if (is(*m_format, "y4m")) {
        std::string marker;
        int c = std::fgetc(m_in);
        if (c == EOF) return false;
        for (; c != EOF && c != '\n' && marker.size() < 1024; c = std::fgetc(m_in)) marker += char(c);
        if (!marker.starts_with("FRAME")) return error = "malformed y4m frame header", false;
    }
    const size_t size = is(*m_format, "y4m") ? frameBytes() - 6 : frameBytes();
    std::vector<uint8_t>& bytes = m_bytes;
    bytes.resize(size);
    size_t got = 0;
    if (!readExactly(m_in, bytes.data(), size, got)) {
        if (got == 0 && !is(*m_format, "y4m")) return false; // a clean end between frames
        return error = "truncated frame: " + std::to_string(got) + " of " + std::to_string(size) + " bytes", false;
    }
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
    ++m_frames;
    if ((!header.empty() && std::fwrite(header.data(), 1, header.size(), m_out) != header.size()) ||
        std::fwrite(bytes.data(), 1, bytes.size(), m_out) != bytes.size())
        return error = "cannot write the output", false;
    return true;
}

Frame withDepth(const Frame& frame, unsigned bits) {
    if (frame.bits == bits) return frame;
    Frame out = frame;
    out.bits = bits;
    for (uint16_t& v : out.samples) v = sampleAtDepth(frame.kind, v, frame.bits, bits);
    return out;
}
