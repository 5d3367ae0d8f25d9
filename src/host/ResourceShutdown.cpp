#include "ResourceShutdown.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

namespace {

struct Registration {
    std::string key;
    int order;
    ResourceShutdown::Action action;
};

std::mutex g_mutex;
std::vector<Registration> g_registrations; // kept sorted by order, stable

} // namespace

namespace ResourceShutdown {

void add(const char* key, int order, Action action) {
    if (!key || !action) return;
    std::lock_guard<std::mutex> hold(g_mutex);
    std::erase_if(g_registrations, [&](const Registration& r) { return r.key == key; });
    const auto at = std::upper_bound(g_registrations.begin(), g_registrations.end(), order,
                                     [](int o, const Registration& r) { return o < r.order; });
    g_registrations.insert(at, {key, order, std::move(action)});
}

void remove(const char* key) {
    if (!key) return;
    std::lock_guard<std::mutex> hold(g_mutex);
    std::erase_if(g_registrations, [&](const Registration& r) { return r.key == key; });
}

void runAll(bool managerExisted) {
    std::vector<Registration> copy;
    {
        std::lock_guard<std::mutex> hold(g_mutex);
        copy = g_registrations;
    }
    for (const Registration& r : copy) r.action(managerExisted);
}

} // namespace ResourceShutdown
