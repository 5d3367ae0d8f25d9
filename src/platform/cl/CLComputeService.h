// CLComputeService: the compute service (iGPUComputeService) on OpenCL.
//
// createComputeContext looks at every platform the ICD loader lists and
// takes the first GPU device that is available and has a compiler; where
// there is none it takes the first available device of any kind (PoCL's
// CPU device on a machine without a GPU). No OpenCL calls are made before
// the first request. A failure is logged once per distinct reason, since
// the effect manager asks again each time a context is wanted.
//
// Threads: any thread may call; `m_mutex` guards the remembered reason.
#pragma once

#include "host/os/GPUCompute.h"

#include <mutex>
#include <string>

class CLContext;

class CLComputeService final : public iGPUComputeService {
public:
    Ptr<iGPUComputeContext> createComputeContext(int deviceFlags) override;

    // The context on the device the rule above chooses; null with `error`
    // ("no OpenCL platform is installed ...") when there is none.
    static Ptr<CLContext> createContext(int deviceFlags, std::string& error);

private:
    std::mutex m_mutex;
    std::string m_lastFailure; // guarded by m_mutex
};
