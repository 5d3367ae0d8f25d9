#include "platform/cl/CLComputeService.h"

#include "host/misc/Log.h"
#include "platform/cl/CLApi.h"
#include "platform/cl/CLContext.h"

#include <vector>

namespace {

struct Candidate {
    cl_platform_id platform = nullptr;
    cl_device_id device = nullptr;
};

bool usable(cl_device_id device) {
    cl_bool available = CL_FALSE, compiler = CL_FALSE;
    clGetDeviceInfo(device, CL_DEVICE_AVAILABLE, sizeof available, &available, nullptr);
    clGetDeviceInfo(device, CL_DEVICE_COMPILER_AVAILABLE, sizeof compiler, &compiler, nullptr);
    return available && compiler;
}

// The first usable device of `type` over the platforms, in the loader's order.
Candidate firstDevice(const std::vector<cl_platform_id>& platforms, cl_device_type type) {
    for (cl_platform_id platform : platforms) {
        cl_uint count = 0;
        if (clGetDeviceIDs(platform, type, 0, nullptr, &count) != CL_SUCCESS || count == 0) continue;
        std::vector<cl_device_id> devices(count);
        if (clGetDeviceIDs(platform, type, count, devices.data(), nullptr) != CL_SUCCESS) continue;
        for (cl_device_id device : devices)
            if (usable(device)) return {platform, device};
    }
    return {};
}

} // namespace

Ptr<CLContext> CLComputeService::createContext(int deviceFlags, std::string& error) {
    if (deviceFlags != 0) {
        error = "OpenCL: device flags " + std::to_string(deviceFlags) + " are not known (0 chooses a GPU, else any device)";
        return {};
    }
    cl_uint count = 0;
    const cl_int status = clGetPlatformIDs(0, nullptr, &count);
    if (status != CL_SUCCESS || count == 0) {
        error = "no OpenCL platform is installed (" +
                (status != CL_SUCCESS ? clFailure("clGetPlatformIDs", status) : std::string("the ICD loader lists none")) +
                "; pocl-opencl-icd gives one on the CPU)";
        return {};
    }
    std::vector<cl_platform_id> platforms(count);
    clGetPlatformIDs(count, platforms.data(), nullptr);
    Candidate chosen = firstDevice(platforms, CL_DEVICE_TYPE_GPU);
    if (!chosen.device) chosen = firstDevice(platforms, CL_DEVICE_TYPE_ALL);
    if (!chosen.device) {
        error = "no available OpenCL device with a compiler on " + std::to_string(count) + " platform(s)";
        return {};
    }
    return CLContext::create(chosen.platform, chosen.device, error);
}

Ptr<iGPUComputeContext> CLComputeService::createComputeContext(int deviceFlags) {
    std::string error;
    if (Ptr<CLContext> context = createContext(deviceFlags, error)) return context;
    std::lock_guard<std::mutex> hold(m_mutex);
    if (error != m_lastFailure) Log("OpenCL : %s\n", error.c_str());
    m_lastFailure = error;
    return {};
}
