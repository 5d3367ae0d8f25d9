#include "platform/cl/CLProgram.h"

#include "platform/cl/CLMemory.h"

CLProgram::CLProgram(Ptr<CLContext> context, cl_program program, LightweightString<char> buildLog,
                     std::vector<LightweightString<char>> kernelNames)
    : m_context(std::move(context)), m_program(program), m_buildLog(std::move(buildLog)), m_kernelNames(std::move(kernelNames)) {}

CLProgram::~CLProgram() {
    for (const auto& [name, k] : m_kernels) clReleaseKernel(k);
    clReleaseProgram(m_program);
}

cl_kernel CLProgram::kernel(const std::string& name, std::string& error) {
    if (const auto it = m_kernels.find(name); it != m_kernels.end()) return it->second;
    cl_int status = CL_SUCCESS;
    const cl_kernel k = clCreateKernel(m_program, name.c_str(), &status);
    if (!k) {
        std::string known;
        for (const LightweightString<char>& n : m_kernelNames) known += (known.empty() ? "" : ", ") + n.str();
        error = "kernel '" + name + "': " + clFailure("clCreateKernel", status) + " (the program has: " + known + ")";
        return nullptr;
    }
    m_kernels.emplace(name, k);
    return k;
}

bool CLProgram::setArgument(cl_kernel k, cl_uint index, const GPUKernelArg& arg, const std::string& name, std::string& error) {
    const std::string what = "kernel '" + name + "' argument " + std::to_string(index);
    cl_int status = CL_SUCCESS;
    switch (arg.kind) {
    case GPUKernelArg::eBuffer:
    case GPUKernelArg::eImage: {
        const bool buffer = arg.kind == GPUKernelArg::eBuffer;
        const auto* memory =
            buffer ? dynamic_cast<const CLMemory*>(arg.buffer.get()) : dynamic_cast<const CLMemory*>(arg.image.get());
        if (!memory || memory->context() != m_context.get()) {
            error = what + (buffer ? ": not a buffer" : ": not an image") + " of this compute context";
            return false;
        }
        const cl_mem mem = memory->handle();
        status = clSetKernelArg(k, index, sizeof mem, &mem);
        break;
    }
    case GPUKernelArg::eInt: status = clSetKernelArg(k, index, sizeof(cl_int), &arg.intValue); break;
    case GPUKernelArg::eFloat: status = clSetKernelArg(k, index, sizeof(cl_float), &arg.floatValue); break;
    case GPUKernelArg::eLocalBytes: status = clSetKernelArg(k, index, arg.localBytes, nullptr); break;
    }
    if (status != CL_SUCCESS) {
        error = what + ": " + clFailure("clSetKernelArg", status);
        return false;
    }
    return true;
}

bool CLProgram::run(const LightweightString<char>& kernelName, const std::vector<GPUKernelArg>& args, const GPUWorkSize& size,
                    std::string& error) {
    const std::string name = kernelName.str();
    if (size.dimensions < 1 || size.dimensions > 2) {
        error = "kernel '" + name + "': work sizes have 1 or 2 dimensions, not " + std::to_string(size.dimensions);
        return false;
    }
    size_t global[2], local[2];
    bool localGiven = true;
    for (int d = 0; d < size.dimensions; ++d) localGiven = localGiven && size.local[d] != 0;
    for (int d = 0; d < size.dimensions; ++d) {
        if (size.global[d] == 0) {
            error = "kernel '" + name + "': an empty work size";
            return false;
        }
        local[d] = size.local[d];
        // Rounded up to whole work-groups; the kernel checks its ids.
        global[d] = localGiven ? (size.global[d] + local[d] - 1) / local[d] * local[d] : size.global[d];
    }
    std::lock_guard<std::mutex> hold(m_mutex);
    const cl_kernel k = kernel(name, error);
    if (!k) return false;
    cl_uint parameters = 0;
    clGetKernelInfo(k, CL_KERNEL_NUM_ARGS, sizeof parameters, &parameters, nullptr);
    if (parameters != args.size()) {
        error = "kernel '" + name + "' takes " + std::to_string(parameters) + " arguments, not " + std::to_string(args.size());
        return false;
    }
    for (size_t i = 0; i < args.size(); ++i)
        if (!setArgument(k, cl_uint(i), args[i], name, error)) return false;
    const cl_int status = clEnqueueNDRangeKernel(m_context->queue(), k, cl_uint(size.dimensions), nullptr, global,
                                                 localGiven ? local : nullptr, 0, nullptr, nullptr);
    if (status != CL_SUCCESS) {
        error = "kernel '" + name + "': " + clFailure("clEnqueueNDRangeKernel", status);
        return false;
    }
    return true;
}
