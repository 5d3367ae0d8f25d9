// Shutdown: the process's exit callbacks and its "exiting" flag.
//
// Singletons register what must run when the process ends; runCallbacks runs
// them once, lowest priority number first (equal numbers in the order they
// were added), after marking the process as exiting. Long-running work (the
// background compilation) polls isExiting() between steps.
//
// runCallbacks is the host's documented way out. A program that leaves main
// (or calls exit) without it still gets the callbacks: the first addCallback
// on the main thread arms a thread-local guard there, and C++ destroys the
// exiting thread's thread-local objects before any static object and before
// any atexit handler, so the callbacks run while every driver and library is
// still whole (a GL driver loaded later registers its own exit handlers, which
// would otherwise run first). A first addCallback on another thread arms an
// atexit handler instead, which runs before whatever was registered earlier
// but after the exit handlers and static objects made later (a driver loaded
// since, a singleton made since): a weaker guarantee, so a host starts the
// library from its main thread, or runs the callbacks itself.
// Callbacks run once: a second runCallbacks, or the guard after an explicit
// run, finds nothing left. _exit, quick_exit and fatal signals run nothing.
#pragma once

#include <functional>

namespace Shutdown {

enum eExitType : int { eNormalExit = 0, eSignalExit = 1 };
using Callback = std::function<void(eExitType)>;

// Registers `callback`; also makes sure the callbacks run at process exit.
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
