// Qf::Image::Scopes::compute: the scopes kernels of Scopes.cl run on a surface.
#include "image/Scopes.h"

#include "host/base/Strings.h"
#include "host/misc/Log.h"
#include "host/os/GPUCompute.h"
#include "image/GPUPass.h"
#include "manager/Manager.h"

#include <cstring>
#include <string>

namespace Qf::Image {

namespace {

constexpr size_t kLevels = ScopesData::kLevels;

bool fail(const std::string& why) {
    Log("Qf::Image::Scopes : %s\n", why.c_str());
    return false;
}

// The kernel that counts the columns of frames of a texel format.
const char* columnsKernel(iGPUImage::eFormat format) {
    switch (format) {
    case iGPUImage::eRGBA8: return "scopes_columns_rgba8";
    case iGPUImage::eRGBA16: return "scopes_columns_rgba16";
    case iGPUImage::eRGBA16F: return "scopes_columns_rgba16f";
    case iGPUImage::eRGBA32F: return "scopes_columns_rgba32f";
    }
    return "";
}

// The frame's texels in a device buffer, rows packed tightly: from its GPU
// image when it has one (read back through host memory), else from its host
// pixels. `format` receives their texel format.
Ptr<iGPUBuffer> frameBuffer(iGPUComputeContext& context, const Surface& frame, iGPUImage::eFormat& format, std::string& error) {
    const Ptr<iGPUImage> gpu = frame.getGPUSurface();
    const std::optional<TexelLayout> layout = frame.getTexelLayout();
    if (gpu && gpu->getSize() != frame.getSize()) {
        error = "the frame's GPU image is not the frame's size";
        return {};
    }
    if (!gpu && (!frame.hasHostMemory() || !layout)) {
        error = "the frame has neither a GPU image nor host pixels";
        return {};
    }
    format = gpu ? gpu->getFormat() : layout->texelFormat;
    const size_t rowBytes = size_t(frame.getWidth()) * (bitsPerTexel(format) / 8), bytes = rowBytes * frame.getHeight();
    std::vector<uint8_t> staging;
    const uint8_t* texels = frame.getPixels();
    if (gpu) {
        staging.resize(bytes);
        if (!gpu->readBack(staging.data())) {
            error = "the frame's GPU image could not be read back";
            return {};
        }
    } else if (frame.getStride() != rowBytes) {
        staging.resize(bytes);
        for (uint32_t y = 0; y < frame.getHeight(); ++y) std::memcpy(staging.data() + y * rowBytes, frame.getRow(y), rowBytes);
    }
    if (!staging.empty()) texels = staging.data();
    Ptr<iGPUBuffer> buffer = context.createBuffer(bytes, error);
    if (buffer && !buffer->write(texels, bytes)) {
        error = "the frame could not be copied to the compute device";
        return {};
    }
    return buffer;
}

} // namespace

bool Scopes::compute(const Surface& frame, ScopesData& out) {
    if (frame.isEmpty() || !isRGBASurface(frame))
        return fail("the frame is a " + formatName(frame.getDataFormat()) + " surface of " + std::to_string(frame.getWidth()) +
                    "x" + std::to_string(frame.getHeight()) + "; scopes take non-empty RGBA, RGBh or RGBf surfaces");
    FxResources::Manager& manager = FxResources::Manager::instance();
    const Ptr<iGPUComputeContext> context = manager.getGPUComputeContext();
    if (!context) return fail("no GPU compute context (no compute platform or device)");
    const Ptr<iGPUProgram> program = manager.getGPUProgram(kKernelFile, false);
    if (!program) return fail("the kernels of " + toUTF8(kKernelFile).str() + " did not build");

    std::string error;
    iGPUImage::eFormat format = iGPUImage::eRGBA8;
    const Ptr<iGPUBuffer> texels = frameBuffer(*context, frame, format, error);
    if (!texels) return fail(error);

    const int width = int(frame.getWidth()), height = int(frame.getHeight());
    ScopesData result;
    result.device = context->getDeviceDescription();
    result.width = width;
    result.height = height;
    result.waveform.resize(size_t(width) * kLevels);
    result.vectorscope.resize(kLevels * kLevels);
    std::array<uint32_t, 4 * kLevels> histograms{};

    // Device memory of this call; after a failure the rest is not asked for.
    const auto buffer = [&](size_t bytes) { return error.empty() ? context->createBuffer(bytes, error) : Ptr<iGPUBuffer>(); };
    const Ptr<iGPUBuffer> waveform = buffer(result.waveform.size() * sizeof(uint32_t));
    const Ptr<iGPUBuffer> columns = buffer(size_t(width) * 3 * kLevels * sizeof(uint32_t));
    const Ptr<iGPUBuffer> vectorscope = buffer(result.vectorscope.size() * sizeof(uint32_t));
    const Ptr<iGPUBuffer> sums = buffer(sizeof histograms);
    if (!error.empty()) return fail(error);
    if (!vectorscope->clear()) return fail("the vectorscope buffer could not be cleared");

    if (!program->run(columnsKernel(format),
                      {GPUKernelArg::of(texels), GPUKernelArg::of(width), GPUKernelArg::of(height), GPUKernelArg::of(waveform),
                       GPUKernelArg::of(columns), GPUKernelArg::of(vectorscope)},
                      GPUWorkSize::of(size_t(width)), error) ||
        !program->run("scopes_histograms",
                      {GPUKernelArg::of(waveform), GPUKernelArg::of(columns), GPUKernelArg::of(width), GPUKernelArg::of(sums)},
                      GPUWorkSize::of(histograms.size()), error))
        return fail(error);
    // Blocking reads: they wait for the kernels queued before them.
    if (!sums->read(histograms.data(), sizeof histograms) ||
        !waveform->read(result.waveform.data(), result.waveform.size() * sizeof(uint32_t)) ||
        !vectorscope->read(result.vectorscope.data(), result.vectorscope.size() * sizeof(uint32_t)))
        return fail("the results could not be read back from the compute device");

    ScopesData::Histogram* const targets[] = {&result.luma, &result.red, &result.green, &result.blue};
    for (size_t h = 0; h < 4; ++h) std::copy_n(histograms.begin() + h * kLevels, kLevels, targets[h]->begin());
    out = std::move(result);
    return true;
}

} // namespace Qf::Image
