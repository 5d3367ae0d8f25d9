#include "host/misc/SystemWatchdog.h"

#include <mutex>

namespace {

std::mutex g_mutex;
int g_depth = 0;                  // guarded by g_mutex
std::function<void(bool)> g_hook; // guarded by g_mutex

} // namespace

namespace SystemWatchdog {

void beginLifeSupport() {
    std::lock_guard<std::mutex> hold(g_mutex);
    if (g_depth++ == 0 && g_hook) g_hook(true);
}

void endLifeSupport() {
    std::lock_guard<std::mutex> hold(g_mutex);
    if (g_depth == 0) return; // unmatched: ignored
    if (--g_depth == 0 && g_hook) g_hook(false);
}

int lifeSupportDepth() {
    std::lock_guard<std::mutex> hold(g_mutex);
    return g_depth;
}

std::function<void(bool)> setHook(std::function<void(bool)> hook) {
    std::lock_guard<std::mutex> hold(g_mutex);
    std::swap(g_hook, hook);
    return hook;
}

} // namespace SystemWatchdog
