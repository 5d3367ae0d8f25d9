#include "platform/cl/CLContext.h"

#include "host/misc/Log.h"
#include "host/own/ImageLimits.h"
#include "platform/cl/CLMemory.h"
#include "platform/cl/CLProgram.h"

#include <algorithm>
#include <string_view>

namespace {

// An OpenCL info text: `get(size, value, sizeReturned)` is asked for the size
// first, then for the bytes; empty when either fails.
template <typename Get>
std::string infoText(Get get) {
    size_t size = 0;
    if (get(0, nullptr, &size) != CL_SUCCESS || size == 0) return {};
    std::string text(size, '\0');
    if (get(size, text.data(), nullptr) != CL_SUCCESS) return {};
    text.resize(std::min(text.find('\0'), size));
    return text;
}

std::string platformString(cl_platform_id platform, cl_platform_info what) {
    return infoText([&](size_t n, void* v, size_t* r) { return clGetPlatformInfo(platform, what, n, v, r); });
}

std::string deviceString(cl_device_id device, cl_device_info what) {
    return infoText([&](size_t n, void* v, size_t* r) { return clGetDeviceInfo(device, what, n, v, r); });
}

std::string programBuildLog(cl_program program, cl_device_id device) {
    std::string text = infoText(
        [&](size_t n, void* v, size_t* r) { return clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, n, v, r); });
    // Compilers end the log with blank lines; keep the text only.
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    return text;
}

std::vector<LightweightString<char>> kernelNames(cl_program program) {
    const std::string text =
        infoText([&](size_t n, void* v, size_t* r) { return clGetProgramInfo(program, CL_PROGRAM_KERNEL_NAMES, n, v, r); });
    std::vector<LightweightString<char>> names;
    // "a;b;c"
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find(';', start), text.size());
        if (end > start) names.emplace_back(text.substr(start, end - start).c_str());
        start = end + 1;
    }
    return names;
}

// The OpenCL image format of a GPU texel format: always four RGBA channels.
cl_channel_type channelType(iGPUImage::eFormat format) {
    switch (format) {
    case iGPUImage::eRGBA8: return CL_UNORM_INT8;
    case iGPUImage::eRGBA16: return CL_UNORM_INT16;
    case iGPUImage::eRGBA16F: return CL_HALF_FLOAT;
    case iGPUImage::eRGBA32F: return CL_FLOAT;
    }
    return CL_UNORM_INT8;
}

} // namespace

CLContext::CLContext(cl_context context, cl_command_queue queue, cl_device_id device, std::string description)
    : m_context(context), m_queue(queue), m_device(device), m_description(std::move(description)) {}

CLContext::~CLContext() {
    clFinish(m_queue);
    clReleaseCommandQueue(m_queue);
    clReleaseContext(m_context);
}

Ptr<CLContext> CLContext::create(cl_platform_id platform, cl_device_id device, std::string& error) {
    const cl_context_properties properties[] = {CL_CONTEXT_PLATFORM, cl_context_properties(platform), 0};
    cl_int status = CL_SUCCESS;
    const cl_context context = clCreateContext(properties, 1, &device, nullptr, nullptr, &status);
    if (!context) {
        error = clFailure("clCreateContext", status);
        return {};
    }
    const cl_command_queue queue = clCreateCommandQueue(context, device, 0, &status);
    if (!queue) {
        clReleaseContext(context);
        error = clFailure("clCreateCommandQueue", status);
        return {};
    }
    const std::string description = platformString(platform, CL_PLATFORM_NAME) + ": " + deviceString(device, CL_DEVICE_NAME);
    return Ptr<CLContext>(new CLContext(context, queue, device, description));
}

Ptr<iGPUProgram> CLContext::createProgram(const std::vector<LightweightString<char>>& sourceLines) {
    std::string log;
    Ptr<iGPUProgram> program = build(sourceLines, log);
    std::lock_guard<std::mutex> hold(m_logMutex);
    m_lastBuildLog = log.c_str();
    return program;
}

Ptr<iGPUProgram> CLContext::build(const std::vector<LightweightString<char>>& sourceLines, std::string& log) {
    std::string source;
    for (const LightweightString<char>& line : sourceLines) {
        source.append(line.view());
        source += '\n';
    }
    if (source.find_first_not_of(" \t\r\n") == std::string::npos) {
        Log("OpenCL : the program has no source text\n");
        return {};
    }
    const char* text = source.c_str();
    const size_t length = source.size();
    cl_int status = CL_SUCCESS;
    const cl_program program = clCreateProgramWithSource(m_context, 1, &text, &length, &status);
    if (!program) {
        Log("OpenCL : %s\n", clFailure("clCreateProgramWithSource", status).c_str());
        return {};
    }
    status = clBuildProgram(program, 1, &m_device, "", nullptr, nullptr);
    log = programBuildLog(program, m_device);
    if (status != CL_SUCCESS) {
        // The compiler's own lines, each indented as the library's error lines are.
        Log("OpenCL : the program does not build on %s: %s\n", m_description.c_str(), clErrorName(status).c_str());
        std::string_view rest = log;
        while (!rest.empty()) {
            const size_t nl = std::min(rest.find('\n'), rest.size());
            Log("   %.*s\n", int(nl), rest.data());
            rest.remove_prefix(std::min(nl + 1, rest.size()));
        }
        clReleaseProgram(program);
        return {};
    }
    return makePtr<CLProgram>(Ptr<CLContext>(this), program, LightweightString<char>(log.c_str()), kernelNames(program));
}

LightweightString<char> CLContext::getLastBuildLog() const {
    std::lock_guard<std::mutex> hold(m_logMutex);
    return m_lastBuildLog;
}

Ptr<iGPUBuffer> CLContext::createBuffer(size_t bytes, std::string& error) {
    if (bytes == 0) {
        error = "OpenCL buffer: a buffer of 0 bytes";
        return {};
    }
    cl_int status = CL_SUCCESS;
    const cl_mem mem = clCreateBuffer(m_context, CL_MEM_READ_WRITE, bytes, nullptr, &status);
    if (!mem) {
        error = "OpenCL buffer of " + std::to_string(bytes) + " bytes: " + clFailure("clCreateBuffer", status);
        return {};
    }
    return makePtr<CLBuffer>(Ptr<CLContext>(this), mem, bytes);
}

Ptr<iGPUComputeImage> CLContext::createImage(XY<int> size, iGPUImage::eFormat format, const void* texels, size_t rowStride,
                                             std::string& error) {
    const std::string what = "OpenCL image " + std::to_string(size.x) + "x" + std::to_string(size.y);
    if (size.x < 1 || size.y < 1 || size.x > ImageLimits::kMaxDimension || size.y > ImageLimits::kMaxDimension || !texels) {
        error = what + ": no texels, or a size outside 1.." + std::to_string(ImageLimits::kMaxDimension);
        return {};
    }
    const size_t rowBytes = size_t(size.x) * (bitsPerTexel(format) / 8);
    if (rowStride == 0) rowStride = rowBytes;
    if (rowStride < rowBytes) {
        error = what + ": a row stride of " + std::to_string(rowStride) + " bytes is shorter than a row";
        return {};
    }
    cl_bool images = CL_FALSE;
    clGetDeviceInfo(m_device, CL_DEVICE_IMAGE_SUPPORT, sizeof images, &images, nullptr);
    if (!images) {
        error = what + ": the device " + m_description + " has no image support";
        return {};
    }
    const cl_image_format clFormat{CL_RGBA, channelType(format)};
    cl_image_desc desc{};
    desc.image_type = CL_MEM_OBJECT_IMAGE2D;
    desc.image_width = size_t(size.x);
    desc.image_height = size_t(size.y);
    desc.image_row_pitch = rowStride;
    cl_int status = CL_SUCCESS;
    // COPY_HOST_PTR: the texels are copied before clCreateImage returns.
    const cl_mem mem =
        clCreateImage(m_context, CL_MEM_READ_ONLY | CL_MEM_COPY_HOST_PTR, &clFormat, &desc, const_cast<void*>(texels), &status);
    if (!mem) {
        error = what + ": " + clFailure("clCreateImage", status);
        return {};
    }
    return makePtr<CLImage>(Ptr<CLContext>(this), mem, size, format, false);
}

Ptr<iGPUComputeImage> CLContext::importImage(const iGPUImage& image, std::string& error) {
    if (image.is3D()) {
        error = "OpenCL image: a 3D GPU image cannot be imported";
        return {};
    }
    const XY<int> size = image.getSize();
    std::vector<uint8_t> texels(size_t(size.x) * size_t(size.y) * image.texelBytes());
    if (texels.empty() || !image.readBack(texels.data())) {
        error = "OpenCL image: the GPU image could not be read back";
        return {};
    }
    return createImage(size, image.getFormat(), texels.data(), 0, error);
}

void CLContext::finish() { clFinish(m_queue); }
