#include "ColourNames.h"

#include <charconv>

namespace {

using Video = Data::Video;
using namespace Qf::Image;

constexpr ColourName kColourNames[] = {
    {"bt601", Video::eBT601, eRec601},
    {"bt709", Video::eBT709, eRec709},
    {"bt2020", Video::eBT2020, eRec2020},
    {"bt2020-hlg", Video::eBT2100HLG, eRec2020HLG},
    {"bt2020-pq", Video::eBT2100PQ, eRec2020ST2084},
    {"p3-dci", Video::eDCIP3, eP3DCI},
    {"p3-display", Video::eP3D65, eP3Display},
    {"aces", Video::eColourimetryUnknown, eACES},
};

constexpr std::pair<std::string_view, Video::eRange> kRanges[] = {
    {"full", Video::eFullRange},
    {"legal", Video::eLegalRange},
};

} // namespace

std::span<const ColourName> colourNames() { return kColourNames; }

std::optional<Video::eColourimetry> videoColourimetry(std::string_view name) {
    for (const ColourName& c : kColourNames)
        if (c.name == name && c.video != Video::eColourimetryUnknown) return c.video;
    return std::nullopt;
}

std::string videoColourimetryNames() {
    std::string last, names;
    for (const ColourName& c : kColourNames) {
        if (c.video == Video::eColourimetryUnknown) continue;
        if (!last.empty()) names += (names.empty() ? "" : ", ") + last;
        last = c.name;
    }
    return names.empty() ? last : names + " or " + last;
}

std::optional<Video::eRange> videoRange(std::string_view name) {
    for (const auto& [text, range] : kRanges)
        if (text == name) return range;
    return std::nullopt;
}

std::optional<Colorimetry> lutColorimetry(std::string_view text) {
    int value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec == std::errc() && end == text.data() + text.size()) return Colorimetry(value);
    for (const ColourName& c : kColourNames)
        if (c.name == text) return c.lut;
    return std::nullopt;
}
