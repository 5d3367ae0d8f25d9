// The GPU compute service: a compute context, the programs built on it from
// kernel source lines, and the buffers and images their kernels work on.
//
// The library holds one context (the effect manager makes it on first use)
// and a table of programs by kernel file name. The Linux host implements
// these on OpenCL (src/platform/cl/); any thread may call any operation.
//
// Errors: operations that make something return null (or false) and fill
// `error` with a message naming the object and the reason; a program that
// does not build also leaves its compiler output as the context's last
// build log, and the service logs it.
#pragma once

#include "host/base/LightweightString.h"
#include "host/base/Ptr.h"
#include "host/base/XY.h"
#include "host/os/GPUImage.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Device memory that kernels read and write (a `global` pointer argument).
class iGPUBuffer : public iObject {
public:
    virtual size_t getSize() const = 0;
    // Host memory to and from the buffer, `bytes` at `offset`. They wait for
    // the copy and so for every kernel queued before them on the context;
    // false when the range does not lie inside the buffer or the device fails.
    virtual bool write(const void* data, size_t bytes, size_t offset = 0) = 0;
    virtual bool read(void* data, size_t bytes, size_t offset = 0) const = 0;
    // Queues setting every byte to zero (ordered before later kernels).
    virtual bool clear() = 0;
};

// A 2D RGBA image that kernels read (`read_only image2d_t`): read_imagef gives
// the texels as the GPU service's images hold them (unsigned normalised
// formats as 0..1, half and float as they are).
class iGPUComputeImage : public iObject {
public:
    virtual XY<int> getSize() const = 0;
    virtual iGPUImage::eFormat getFormat() const = 0;
    // True when the kernels read the GPU service's image itself; false when
    // its texels were copied in through host memory.
    virtual bool isShared() const = 0;
};

// One kernel argument, in the order of the kernel's parameters.
struct GPUKernelArg {
    enum eKind : uint8_t { eBuffer, eImage, eInt, eFloat, eLocalBytes };
    eKind kind = eInt;
    Ptr<iGPUBuffer> buffer;
    Ptr<iGPUComputeImage> image;
    int32_t intValue = 0;
    float floatValue = 0;
    size_t localBytes = 0; // eLocalBytes: the size of a `local` pointer's memory

    static GPUKernelArg of(Ptr<iGPUBuffer> b) {
        GPUKernelArg a;
        a.kind = eBuffer;
        a.buffer = std::move(b);
        return a;
    }
    static GPUKernelArg of(Ptr<iGPUComputeImage> i) {
        GPUKernelArg a;
        a.kind = eImage;
        a.image = std::move(i);
        return a;
    }
    static GPUKernelArg of(int32_t v) {
        GPUKernelArg a;
        a.intValue = v;
        return a;
    }
    static GPUKernelArg of(float v) {
        GPUKernelArg a;
        a.kind = eFloat;
        a.floatValue = v;
        return a;
    }
    static GPUKernelArg local(size_t bytes) {
        GPUKernelArg a;
        a.kind = eLocalBytes;
        a.localBytes = bytes;
        return a;
    }
};

// The range a kernel runs over: `dimensions` (1 or 2) sizes of work-items and
// of work-groups. A local size of 0 lets the device choose; with a local size
// given, the global size is rounded up to a multiple of it, so kernels check
// their ids against the real extent they are passed.
struct GPUWorkSize {
    int dimensions = 1;
    size_t global[2] = {1, 1};
    size_t local[2] = {0, 0};

    static GPUWorkSize of(size_t width) {
        GPUWorkSize s;
        s.global[0] = width;
        return s;
    }
    static GPUWorkSize of(size_t width, size_t height) {
        GPUWorkSize s;
        s.dimensions = 2;
        s.global[0] = width;
        s.global[1] = height;
        return s;
    }
};

// A built program: its kernels by name.
class iGPUProgram : public iObject {
public:
    // What the compiler said while building (warnings); often empty.
    virtual LightweightString<char> getBuildLog() const = 0;
    virtual std::vector<LightweightString<char>> getKernelNames() const = 0;
    // Queues `kernel` over `size` with `args`; it runs after everything queued
    // before it on the context (read a buffer to wait for it). False, with
    // `error` naming the kernel, when the kernel is unknown, an argument
    // does not fit its parameter, or the device refuses the launch.
    virtual bool run(const LightweightString<char>& kernel, const std::vector<GPUKernelArg>& args, const GPUWorkSize& size,
                     std::string& error) = 0;
};

class iGPUComputeContext : public iObject {
public:
    // Builds kernel source given as lines (joined with line breaks, so the
    // compiler's line numbers are the file's). Null when it does not build;
    // the compiler's output is then logged and kept as getLastBuildLog().
    virtual Ptr<iGPUProgram> createProgram(const std::vector<LightweightString<char>>& sourceLines) = 0;
    // The compiler's output of the last createProgram, built or not.
    virtual LightweightString<char> getLastBuildLog() const = 0;

    // "platform: device" for reports, e.g. "Portable Computing Language: cpu-x86-64".
    virtual LightweightString<char> getDeviceDescription() const = 0;
    // Whether kernels can read the GPU service's images in place; where they
    // cannot, importImage copies the texels through host memory.
    virtual bool sharesGPUImages() const = 0;

    virtual Ptr<iGPUBuffer> createBuffer(size_t bytes, std::string& error) = 0;
    // An image holding `texels`: rows of width x texel bytes, top row first,
    // `rowStride` bytes apart (0: tightly packed).
    virtual Ptr<iGPUComputeImage> createImage(XY<int> size, iGPUImage::eFormat format, const void* texels, size_t rowStride,
                                              std::string& error) = 0;
    // A 2D GPU image of the GPU service for kernels to read, as it is now.
    virtual Ptr<iGPUComputeImage> importImage(const iGPUImage& image, std::string& error) = 0;
    // Waits until every kernel and copy queued so far has completed.
    virtual void finish() = 0;
};

// The compute service of the services object (iOS::compute()).
class iGPUComputeService : public iVirtual {
public:
    // The context on the device that `deviceFlags` chooses: 0 prefers a GPU
    // and takes any other device where there is none. Null when the machine
    // has no compute platform or the device cannot start (the service logs why).
    virtual Ptr<iGPUComputeContext> createComputeContext(int deviceFlags) = 0;
};
