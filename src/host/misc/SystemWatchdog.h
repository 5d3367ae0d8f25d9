// SystemWatchdog: keeps the host's hang watchdog quiet while long work runs.
//
// beginLifeSupport/endLifeSupport pairs may nest and come from any thread.
// Linux has no watchdog of its own: a host that runs one installs a hook,
// which is told when the first pair opens (true) and the last closes (false).
#pragma once

#include <functional>

namespace SystemWatchdog {

void beginLifeSupport();
void endLifeSupport();
// Pairs open now (for tests and for the hook's owner).
int lifeSupportDepth();
// Installs the hook and returns the previous one; empty for none.
std::function<void(bool alive)> setHook(std::function<void(bool alive)> hook);

} // namespace SystemWatchdog
