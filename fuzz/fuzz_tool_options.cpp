// libFuzzer target: the command-line parsers of qffx. The bytes are split at
// NUL into arguments for the option parser (with a table of flags, values and
// repeatable options), and each argument is also given to the value parsers:
// frame sizes, colour names, LUT colorimetries and parameter numbers.
#include "ColourNames.h"
#include "FrameFormats.h"
#include "Options.h"
#include "ParameterValues.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr OptionSpec kOptions[] = {
    {"--json", "", "a flag"},
    {"--out", "FILE", "a value", OptionSpec::eRequired},
    {"--set", "NAME=VALUE", "repeatable", OptionSpec::eRepeatable},
    {"--size", "WxH", "a size"},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CommandArgs args;
    std::string current;
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            args.push_back(current);
            current.clear();
        } else {
            current += char(data[i]);
        }
    }
    args.push_back(current);
    const ParsedArgs parsed = parseArgs(args, kOptions);
    if (parsed.error.empty()) {
        for (const auto& [name, values] : parsed.options)
            if (values.empty() || (values.size() > 1 && name != "--set")) __builtin_trap();
        (void)parsed.value("--out");
    }
    for (const std::string& a : args) {
        uint32_t w = 0, h = 0;
        if (parseFrameSize(a, w, h) && (w == 0 || h == 0 || w > kMaxFrameSide || h > kMaxFrameSide)) __builtin_trap();
        const uint32_t side = parseFrameSide(a);
        if (side > kMaxFrameSide) __builtin_trap();
        (void)videoColourimetry(a);
        (void)videoRange(a);
        (void)lutColorimetry(a);
        std::vector<float> numbers;
        if (parseFloats(a, numbers))
            for (float v : numbers)
                if (!(v == v) || v - v != 0) __builtin_trap(); // NaN and infinities are refused
    }
    return 0;
}
