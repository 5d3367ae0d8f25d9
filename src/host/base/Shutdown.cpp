#include "host/base/Shutdown.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#if defined(__linux__)
#include <unistd.h>
#endif

namespace {

struct Entry {
    unsigned priority;
    Shutdown::Callback callback;
};

std::mutex g_mutex;
std::vector<Entry> g_callbacks;
std::atomic<bool> g_exiting{false};
std::atomic<bool> g_atexitArmed{false};

#if defined(__linux__)
bool onMainThread() { return gettid() == getpid(); }
#else
// The thread that loaded the library (static initialisation runs there),
// where the main thread cannot be asked for directly.
const std::thread::id g_loadingThread = std::this_thread::get_id();
bool onMainThread() { return std::this_thread::get_id() == g_loadingThread; }
#endif

void runAtExit() { Shutdown::runCallbacks(Shutdown::eNormalExit); }

// Lives in the main thread's thread-local storage: destroyed when main
// returns or exit() is called there, before static destructors and atexit handlers.
struct ExitGuard {
    bool armed = false;
    ~ExitGuard() {
        if (armed) runAtExit();
    }
};
thread_local ExitGuard t_exitGuard;

void armExitHandler() {
    if (onMainThread()) {
        t_exitGuard.armed = true;
    } else if (!g_atexitArmed.exchange(true)) {
        std::atexit(runAtExit);
    }
}

} // namespace

namespace Shutdown {

void addCallback(Callback callback, unsigned priority) {
    if (!callback) return;
    armExitHandler();
    std::lock_guard<std::mutex> hold(g_mutex);
    g_callbacks.push_back({priority, std::move(callback)});
}

bool isExiting() { return g_exiting.load(std::memory_order_acquire); }

void requestExit() { g_exiting.store(true, std::memory_order_release); }

void runCallbacks(eExitType type) {
    requestExit();
    std::vector<Entry> callbacks;
    {
        std::lock_guard<std::mutex> hold(g_mutex);
        callbacks.swap(g_callbacks);
    }
    // A callback may add another (a library restarting itself); those wait for the next run.
    std::stable_sort(callbacks.begin(), callbacks.end(), [](const Entry& a, const Entry& b) { return a.priority < b.priority; });
    for (Entry& e : callbacks) e.callback(type);
}

void reset() { g_exiting.store(false, std::memory_order_release); }

} // namespace Shutdown
