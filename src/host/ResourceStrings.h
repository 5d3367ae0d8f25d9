// resourceStrW: the user-visible texts of the library, by number.
#pragma once

#include "LightweightString.h"

namespace ResourceIds {
inline constexpr int kCompilingEffects = 12047; // the background compilation's title
inline constexpr int kEffectsCaption = 12048;   // heading of messages about effects
} // namespace ResourceIds

// The text of `id`; empty for a number that has none.
LightweightString<wchar_t> resourceStrW(int id);
