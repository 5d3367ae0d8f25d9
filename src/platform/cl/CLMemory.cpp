#include "platform/cl/CLMemory.h"

bool CLBuffer::write(const void* data, size_t bytes, size_t offset) {
    if (!fits(bytes, offset) || (!data && bytes)) return false;
    return bytes == 0 ||
           clEnqueueWriteBuffer(m_context->queue(), m_mem, CL_TRUE, offset, bytes, data, 0, nullptr, nullptr) == CL_SUCCESS;
}

bool CLBuffer::read(void* data, size_t bytes, size_t offset) const {
    if (!fits(bytes, offset) || (!data && bytes)) return false;
    return bytes == 0 ||
           clEnqueueReadBuffer(m_context->queue(), m_mem, CL_TRUE, offset, bytes, data, 0, nullptr, nullptr) == CL_SUCCESS;
}

bool CLBuffer::clear() {
    const cl_uchar zero = 0;
    return clEnqueueFillBuffer(m_context->queue(), m_mem, &zero, sizeof zero, 0, m_size, 0, nullptr, nullptr) == CL_SUCCESS;
}
