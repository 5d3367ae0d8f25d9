// resourceStrW: the user-visible texts of the library, by number.
//
// One table of our own texts; an unknown number gives an empty string.
#pragma once

#include "host/base/LightweightString.h"

namespace ResourceIds {
inline constexpr int kAllManufacturers = 10005; // the LUT manufacturer choice that shows every LUT
inline constexpr int kCompilingEffects = 12047; // the background compilation's title
inline constexpr int kEffectsCaption = 12048;   // heading of messages about effects
inline constexpr int kBuiltInLUTs = 12777;      // the category of the LUTs that ship with the library
} // namespace ResourceIds

// The text of `id`; empty for a number that has none.
LightweightString<wchar_t> resourceStrW(int id);
