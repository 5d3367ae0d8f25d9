// Shutdown: the process's exit callbacks and its "exiting" flag.
//
// Singletons register what must run when the process ends; runCallbacks runs
// them once, lowest priority number first (equal numbers in the order they
// were added), after marking the process as exiting. Long-running work (the
// background compilation) polls isExiting() between steps.
#pragma once

#include <functional>

namespace Shutdown {

enum eExitType : int { eNormalExit = 0, eSignalExit = 1 };
using Callback = std::function<void(eExitType)>;

void addCallback(Callback callback, unsigned priority);
bool isExiting();
// Marks the process as exiting without running anything; safe in a signal handler.
void requestExit();
// Marks the process as exiting, then runs and forgets every callback.
void runCallbacks(eExitType type);
// Clears the exiting mark: for a process that goes on after its callbacks ran
// (tests, a tool that starts the library again).
void reset();

} // namespace Shutdown
