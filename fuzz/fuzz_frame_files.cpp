// libFuzzer target: arbitrary bytes as a frame file of qffx convert. The first
// byte picks the input format, the next two the --size of raw input (1 to
// 64 a side); the rest is the stream. Every frame read is written through
// every writer that needs no GPU (the formats of the frame's kind, and y4m,
// png). Nothing may crash; a refusal always says why; no buffer may be taken
// for more than the data read plus one frame (ASan's allocation limit and
// -rss_limit_mb catch a header's claim believed before its data).
#include "FrameFormats.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

std::vector<const FrameFormat*> allFormats() {
    std::vector<const FrameFormat*> formats;
    std::string names = frameFormatNames() + ", ";
    for (size_t at = 0, comma; (comma = names.find(", ", at)) != std::string::npos; at = comma + 2)
        formats.push_back(findFrameFormat(names.substr(at, comma - at)));
    return formats;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::vector<const FrameFormat*> formats = allFormats();
    if (size < 3) return 0;
    const FrameFormat& from = *formats[data[0] % formats.size()];
    const uint32_t width = 1 + data[1] % 64, height = 1 + data[2] % 64;
    std::FILE* in = fmemopen(const_cast<uint8_t*>(data + 3), size - 3, "rb");
    if (!in) return 0;
    std::FILE* out = std::fopen("/dev/null", "wb");
    std::string error;
    FrameReader reader;
    if (reader.open(from, in, from.raw ? width : 0, from.raw ? height : 0, error)) {
        Frame frame;
        for (int frames = 0; frames < 4 && reader.next(frame, error); ++frames) {
            if (frame.width != reader.width() || frame.height != reader.height() ||
                frame.samples.size() != frame.samplesPerRow() * frame.height)
                __builtin_trap();
            for (const FrameFormat* to : formats) {
                Frame::eKind kind;
                unsigned bits;
                FrameWriter::target(*to, frame, kind, bits);
                if (kind != frame.kind) continue; // a conversion on the GPU
                FrameWriter writer(*to, out, reader.frameRate());
                std::string writeError;
                if (!writer.write(withDepth(frame, bits), writeError) && writeError.empty()) __builtin_trap();
            }
        }
    } else if (error.empty()) {
        __builtin_trap(); // a refusal always says why
    }
    std::fclose(out);
    std::fclose(in);
    return 0;
}
