// CLBuffer and CLImage: device memory of a CLContext (iGPUBuffer,
// iGPUComputeImage). Both are CLMemory: one reference to the cl_mem and one
// to the context, whose queue carries their copies; a kernel launch finds
// the cl_mem of either through that base.
#pragma once

#include "host/os/GPUCompute.h"
#include "platform/cl/CLApi.h"
#include "platform/cl/CLContext.h"

class CLMemory {
public:
    CLMemory(Ptr<CLContext> context, cl_mem mem) : m_context(std::move(context)), m_mem(mem) {}
    virtual ~CLMemory() { clReleaseMemObject(m_mem); }
    CLMemory(const CLMemory&) = delete;
    CLMemory& operator=(const CLMemory&) = delete;

    cl_mem handle() const { return m_mem; }
    const CLContext* context() const { return m_context.get(); }

protected:
    Ptr<CLContext> m_context;
    cl_mem m_mem;
};

class CLBuffer final : public iGPUBuffer, public CLMemory {
public:
    CLBuffer(Ptr<CLContext> context, cl_mem mem, size_t size) : CLMemory(std::move(context), mem), m_size(size) {}

    size_t getSize() const override { return m_size; }
    bool write(const void* data, size_t bytes, size_t offset) override;
    bool read(void* data, size_t bytes, size_t offset) const override;
    bool clear() override;

private:
    bool fits(size_t bytes, size_t offset) const { return offset <= m_size && bytes <= m_size - offset; }

    size_t m_size;
};

class CLImage final : public iGPUComputeImage, public CLMemory {
public:
    CLImage(Ptr<CLContext> context, cl_mem mem, XY<int> size, iGPUImage::eFormat format, bool shared)
        : CLMemory(std::move(context), mem), m_size(size), m_format(format), m_shared(shared) {}

    XY<int> getSize() const override { return m_size; }
    iGPUImage::eFormat getFormat() const override { return m_format; }
    bool isShared() const override { return m_shared; }

private:
    XY<int> m_size;
    iGPUImage::eFormat m_format;
    bool m_shared;
};
