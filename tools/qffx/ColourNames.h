// The colour names that qffx's options take, and the codes they stand for.
//
// One table: each name with its code in the video metadata
// (Data::Video::eColourimetry, what a surface carries into the colour
// conversions) and its code in the LUT selection (Qf::Image::Colorimetry).
// The two enumerations are matched by their enumerators' names, never by
// number, so a renumbering of either cannot swap HLG and PQ here.
#pragma once

#include "host/image/Colorimetry.h"
#include "host/image/VideoData.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

struct ColourName {
    std::string_view name; // "bt2020-hlg"
    // The video code; eColourimetryUnknown where video has none (ACES).
    Data::Video::eColourimetry video;
    Qf::Image::Colorimetry lut;
};

std::span<const ColourName> colourNames();

// The video colourimetry a name gives (convert's --colourimetry).
std::optional<Data::Video::eColourimetry> videoColourimetry(std::string_view name);
// The names videoColourimetry takes, as a message lists them: "a, b or c".
std::string videoColourimetryNames();

// "full" or "legal" (convert's --range).
std::optional<Data::Video::eRange> videoRange(std::string_view name);

// A LUT colorimetry: a number (any integer, taken as the code it is) or a
// name of the table.
std::optional<Qf::Image::Colorimetry> lutColorimetry(std::string_view text);
