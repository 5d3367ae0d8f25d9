#include "Shutdown.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace {

struct Entry {
    unsigned priority;
    Shutdown::Callback callback;
};

std::mutex g_mutex;
std::vector<Entry> g_callbacks;
std::atomic<bool> g_exiting{false};

} // namespace

namespace Shutdown {

void addCallback(Callback callback, unsigned priority) {
    if (!callback) return;
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
