#include "host/os/OS.h"

#include <atomic>

namespace {

class NoServices final : public iOS {
public:
    iGPUService* gpu() override { return nullptr; }
};

NoServices g_noServices;
std::atomic<iOS*> g_os{nullptr};

} // namespace

iOS* OS() {
    iOS* os = g_os.load(std::memory_order_acquire);
    return os ? os : &g_noServices;
}

iOS* installOS(iOS* os) { return g_os.exchange(os, std::memory_order_acq_rel); }
