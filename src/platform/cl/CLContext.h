// CLContext: the compute context (iGPUComputeContext) on one OpenCL device.
//
// It owns the cl_context and one in-order command queue: kernels, copies
// and fills run in the order they were queued, whichever thread queued them,
// and a blocking read waits for everything before it. Programs, buffers and
// images made here hold a reference to the context, so they may outlive the
// caller's reference; OpenCL keeps its own objects alive the same way.
//
// Images: the GPU service's images are textures of an EGL/OpenGL context.
// Reading them in place needs cl_khr_gl_sharing with that EGL context named
// when the OpenCL context is made; PoCL has no such extension, and no platform
// that has it was at hand to test, so importImage reads the texels back
// through host memory and makes an OpenCL image of them (sharesGPUImages()
// is false). At 1920x1080 RGBA8 the read-back costs about 0.6 ms on llvmpipe.
//
// All operations may be called from any thread: OpenCL's entry points are
// thread-safe, the last build log has its own mutex, and each program
// serialises its argument setting and launch (see CLProgram).
#pragma once

#include "host/os/GPUCompute.h"
#include "platform/cl/CLApi.h"

#include <mutex>
#include <string>

class CLContext final : public iGPUComputeContext {
public:
    // A context and queue on `device` of `platform`; null with `error` on failure.
    static Ptr<CLContext> create(cl_platform_id platform, cl_device_id device, std::string& error);
    ~CLContext() override;

    Ptr<iGPUProgram> createProgram(const std::vector<LightweightString<char>>& sourceLines) override;
    LightweightString<char> getLastBuildLog() const override;
    LightweightString<char> getDeviceDescription() const override { return m_description.c_str(); }
    bool sharesGPUImages() const override { return false; }
    Ptr<iGPUBuffer> createBuffer(size_t bytes, std::string& error) override;
    Ptr<iGPUComputeImage> createImage(XY<int> size, iGPUImage::eFormat format, const void* texels, size_t rowStride,
                                      std::string& error) override;
    Ptr<iGPUComputeImage> importImage(const iGPUImage& image, std::string& error) override;
    void finish() override;

    cl_context handle() const { return m_context; }
    cl_command_queue queue() const { return m_queue; }
    cl_device_id device() const { return m_device; }

private:
    CLContext(cl_context context, cl_command_queue queue, cl_device_id device, std::string description);
    // The program, or null (logged); `log` receives the compiler's output.
    Ptr<iGPUProgram> build(const std::vector<LightweightString<char>>& sourceLines, std::string& log);

    cl_context m_context;
    cl_command_queue m_queue;
    cl_device_id m_device;
    const std::string m_description;
    mutable std::mutex m_logMutex;
    LightweightString<char> m_lastBuildLog; // guarded by m_logMutex
};
