// CLProgram: a built OpenCL program (iGPUProgram) and its kernels.
//
// A cl_kernel holds its arguments between calls, so setting them and
// queueing the launch is one step under `m_mutex`; the launch takes a copy
// of the arguments, so the lock is not held while the kernel runs. Kernel
// objects are made on first use and kept.
#pragma once

#include "host/os/GPUCompute.h"
#include "platform/cl/CLApi.h"
#include "platform/cl/CLContext.h"

#include <map>
#include <mutex>
#include <string>

class CLProgram final : public iGPUProgram {
public:
    CLProgram(Ptr<CLContext> context, cl_program program, LightweightString<char> buildLog,
              std::vector<LightweightString<char>> kernelNames);
    ~CLProgram() override;

    LightweightString<char> getBuildLog() const override { return m_buildLog; }
    std::vector<LightweightString<char>> getKernelNames() const override { return m_kernelNames; }
    bool run(const LightweightString<char>& kernel, const std::vector<GPUKernelArg>& args, const GPUWorkSize& size,
             std::string& error) override;

private:
    // The kernel of that name, made on first use; null with `error` when unknown.
    cl_kernel kernel(const std::string& name, std::string& error);
    bool setArgument(cl_kernel k, cl_uint index, const GPUKernelArg& arg, const std::string& name, std::string& error);

    Ptr<CLContext> m_context;
    cl_program m_program;
    const LightweightString<char> m_buildLog;
    const std::vector<LightweightString<char>> m_kernelNames;
    std::mutex m_mutex;
    std::map<std::string, cl_kernel> m_kernels; // guarded by m_mutex
};
