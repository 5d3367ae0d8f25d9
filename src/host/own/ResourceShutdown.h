// ResourceShutdown: what the library's singletons must do when the effect
// manager shuts down, in a fixed order.
//
// The manager sits below the LUT manager and the font cache, so it cannot call
// them; they register here instead (with a key, so that registering twice
// replaces; the LUT manager when the library loads, the font cache on first
// use) and the manager's exit callback runs the registrations after it
// has finalised and destroyed itself: the font cache is cleared, then the LUT
// manager shuts down last. Each action is told whether a manager existed (the
// font cache is only cleared then; the LUT manager shuts down in every case).
#pragma once

#include <functional>

namespace ResourceShutdown {

inline constexpr int kFontCacheOrder = 100;
inline constexpr int kLUTManagerOrder = 200;

using Action = std::function<void(bool managerExisted)>;

void add(const char* key, int order, Action action);
void remove(const char* key);
// Runs every registration, lowest order first; registrations stay for the next run.
void runAll(bool managerExisted);

} // namespace ResourceShutdown
