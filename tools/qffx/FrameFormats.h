// Frames of qffx convert and the file formats that hold them: PNG, YUV4MPEG2
// and raw frames named as FFmpeg names its pixel formats (plus "m101" and
// "dvs10" for the capture-card layouts of docs/formats.md).
//
// A Frame keeps samples as plain numbers, whatever the file's packing:
// RGB frames R, G, B, A per pixel (8 or 16 bits); 4:2:2 frames Cb, Y0, Cr,
// Y1 per pixel pair, ceil(W/2) pairs a row; 4:4:4 frames Y', Cb, Cr per
// pixel (4:2:2 and 4:4:4 at 8 or 10 bits).
#pragma once

#include "host/image/PixelFormats.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

struct Frame {
    enum eKind { eRGB, eYCbCr422, eYCbCr444 };
    eKind kind = eRGB;
    uint32_t width = 0, height = 0;
    unsigned bits = 8;
    std::vector<uint16_t> samples;

    size_t samplesPerRow() const;
    void allocate(eKind k, uint32_t w, uint32_t h, unsigned b);
};

struct FrameFormat {
    const char* name;
    Frame::eKind kind;
    unsigned bits;
    bool raw; // headerless frames of a size fixed by --size
    // The library's pixel format whose rows hold the same bytes (its row
    // size comes from the catalogue); eNone for png, y4m and the planar files.
    Format layout = Format::eNone;
};
// The format of that name, or null. "png" and "y4m" take their kind and
// depth from the file.
const FrameFormat* findFrameFormat(const std::string& name);
std::string frameFormatNames();

// The largest side of a frame, in pixels.
constexpr uint32_t kMaxFrameSide = 16384;
// A side of 1 to kMaxFrameSide pixels written in decimal digits alone (no
// sign, no blanks), or 0: a number that does not fit is refused, not wrapped.
uint32_t parseFrameSide(std::string_view text);
// "WxH", each side as parseFrameSide takes it; false otherwise.
bool parseFrameSize(std::string_view text, uint32_t& width, uint32_t& height);

// Reads a PNG file from a stream as far as its IEND chunk, chunk by chunk,
// so that an input that never ends (a pipe, /dev/zero) is refused at its
// first bytes or at `limit` bytes, not read into memory without end.
// Truncated files come back as they are, for the decoder to describe.
bool readPngStream(std::FILE* in, size_t limit, std::string& bytes, std::string& error);

// Reads frames one by one from a stream.
class FrameReader {
public:
    // Reads the header (y4m) or the whole picture (png); false with `error`.
    bool open(const FrameFormat& format, std::FILE* in, uint32_t width, uint32_t height, std::string& error);
    uint32_t width() const { return m_width; }
    uint32_t height() const { return m_height; }
    Frame::eKind kind() const { return m_kind; }
    unsigned bits() const { return m_bits; }
    const std::string& frameRate() const { return m_rate; }
    // The next frame: true; false at a clean end (error empty) or on a
    // truncated or malformed frame (error set).
    bool next(Frame& frame, std::string& error);
    // Bytes of one frame in the file (0 for png).
    size_t frameBytes() const;

private:
    const FrameFormat* m_format = nullptr;
    std::FILE* m_in = nullptr;
    uint32_t m_width = 0, m_height = 0;
    Frame::eKind m_kind = Frame::eRGB;
    unsigned m_bits = 8;
    std::string m_rate = "25:1";
    bool m_pngPending = false;
    Frame m_png;
    std::vector<uint8_t> m_bytes; // one frame as read, reused from frame to frame
};

// Writes frames of one kind and depth; a y4m header is written before the first.
class FrameWriter {
public:
    FrameWriter(const FrameFormat& format, std::FILE* out, const std::string& frameRate)
        : m_format(format), m_out(out), m_rate(frameRate) {}
    // The kind and depth frames must have to be written (for png and y4m, chosen from `like`).
    static void target(const FrameFormat& format, const Frame& like, Frame::eKind& kind, unsigned& bits);
    bool write(const Frame& frame, std::string& error);

private:
    const FrameFormat& m_format;
    std::FILE* m_out;
    std::string m_rate;
    int m_frames = 0;
    std::vector<uint8_t> m_bytes; // one frame as written, reused from frame to frame
};

// The same picture at another depth (8 <-> 10 <-> 16 bits, exact where it
// widens, rounded where it narrows). Kinds do not change.
Frame withDepth(const Frame& frame, unsigned bits);
// One sample of a frame of `kind` from `from` bits to `to` bits, as withDepth.
inline uint16_t sampleAtDepth(Frame::eKind kind, uint16_t v, unsigned from, unsigned to) {
    if (from == to) return v;
    if (kind == Frame::eRGB) return to == 16 ? uint16_t(v * 257) : uint16_t((uint32_t(v) * 255 + 32767) / 65535);
    return to > from ? uint16_t(v << (to - from)) : uint16_t(std::min(255, (v + 2) >> 2));
}
// 4:2:2 <-> 4:4:4 need colour maths on the way; this is only for equal kinds.
