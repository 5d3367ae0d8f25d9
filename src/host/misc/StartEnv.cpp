#include "host/misc/StartEnv.h"

#include <mutex>

namespace {
std::mutex g_mutex;
std::vector<LightweightString<wchar_t>> g_args;
} // namespace

StartEnv& StartEnv::programEnv() {
    static StartEnv env;
    return env;
}

void StartEnv::setArgs(std::vector<LightweightString<wchar_t>> args) {
    std::lock_guard<std::mutex> hold(g_mutex);
    g_args = std::move(args);
}

std::vector<LightweightString<wchar_t>> StartEnv::args() const {
    std::lock_guard<std::mutex> hold(g_mutex);
    return g_args;
}

int StartEnv::arg(const wchar_t* name) const {
    if (!name) return 0;
    std::lock_guard<std::mutex> hold(g_mutex);
    for (size_t i = 0; i < g_args.size(); ++i)
        if (g_args[i] == name) return int(i) + 1;
    return 0;
}
