#include "host/own/ResourceShutdown.h"

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

// Function-local: singletons register from their own static initialisers,
// which may run before this file's.
std::mutex& registrationMutex() {
    static std::mutex mutex;
    return mutex;
}
std::vector<Registration>& registrations() { // kept sorted by order, stable
    static std::vector<Registration> list;
    return list;
}

} // namespace

namespace ResourceShutdown {

void add(const char* key, int order, Action action) {
    if (!key || !action) return;
    std::lock_guard<std::mutex> hold(registrationMutex());
    std::erase_if(registrations(), [&](const Registration& r) { return r.key == key; });
    const auto at = std::upper_bound(registrations().begin(), registrations().end(), order,
                                     [](int o, const Registration& r) { return o < r.order; });
    registrations().insert(at, {key, order, std::move(action)});
}

void remove(const char* key) {
    if (!key) return;
    std::lock_guard<std::mutex> hold(registrationMutex());
    std::erase_if(registrations(), [&](const Registration& r) { return r.key == key; });
}

void runAll(bool managerExisted) {
    std::vector<Registration> copy;
    {
        std::lock_guard<std::mutex> hold(registrationMutex());
        copy = registrations();
    }
    for (const Registration& r : copy) r.action(managerExisted);
}

} // namespace ResourceShutdown
