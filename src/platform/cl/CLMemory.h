// CLBuffer and CLImage: device memory of a CLContext (iGPUBuffer,
// iGPUComputeImage). Each holds one reference to its cl_mem and one to the
// context, whose queue carries its copies.
#pragma once

#include "host/GPUCompute.h"
#include "platform/cl/CLApi.h"
#include "platform/cl/CLContext.h"

class CLBuffer final : public iGPUBuffer {
public:
    CLBuffer(Ptr<CLContext> context, cl_mem mem, size_t size) : m_context(std::move(context)), m_mem(mem), m_size(size) {}
    ~CLBuffer() override { clReleaseMemObject(m_mem); }

    size_t getSize() const override { return m_size; }
    bool write(const void* data, size_t bytes, size_t offset) override;
    bool read(void* data, size_t bytes, size_t offset) const override;
    bool clear() override;

    cl_mem handle() const { return m_mem; }
    const CLContext* context() const { return m_context.get(); }

private:
    bool fits(size_t bytes, size_t offset) const { return offset <= m_size && bytes <= m_size - offset; }

    Ptr<CLContext> m_context;
    cl_mem m_mem;
    size_t m_size;
};

class CLImage final : public iGPUComputeImage {
public:
    CLImage(Ptr<CLContext> context, cl_mem mem, XY<int> size, iGPUImage::eFormat format, bool shared)
        : m_context(std::move(context)), m_mem(mem), m_size(size), m_format(format), m_shared(shared) {}
    ~CLImage() override { clReleaseMemObject(m_mem); }

    XY<int> getSize() const override { return m_size; }
    iGPUImage::eFormat getFormat() const override { return m_format; }
    bool isShared() const override { return m_shared; }

    cl_mem handle() const { return m_mem; }
    const CLContext* context() const { return m_context.get(); }

private:
    Ptr<CLContext> m_context;
    cl_mem m_mem;
    XY<int> m_size;
    iGPUImage::eFormat m_format;
    bool m_shared;
};
