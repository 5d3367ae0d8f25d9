// A GPU service whose images are plain host memory, for the surface and
// host-image tests: uploads and read-backs copy rows with the given stride and
// are recorded, so the tests can see what would reach the GPU.
#pragma once

#include "host/OS.h"

#include <cstring>
#include <vector>

namespace SurfaceTests {

class MemoryGPUImage final : public iGPUImage {
public:
    MemoryGPUImage(int w, int h, int d, bool is3D, eFormat format)
        : size_(w, h), depth_(d), is3D_(is3D), format_(format),
          texels_(size_t(w) * size_t(h) * size_t(d) * (bitsPerTexel(format) / 8)) {}

    XY<int> getSize() const override { return size_; }
    int getDepth() const override { return depth_; }
    bool is3D() const override { return is3D_; }
    eFormat getFormat() const override { return format_; }
    unsigned getBitsPerTexel() const override { return bitsPerTexel(format_); }

    bool upload(const void* texels, size_t rowStride) override {
        ++uploads;
        lastStride = rowStride;
        const size_t row = rowBytes();
        const size_t stride = rowStride ? rowStride : row;
        for (size_t y = 0; y < rows(); ++y)
            std::memcpy(texels_.data() + y * row, static_cast<const uint8_t*>(texels) + y * stride, row);
        return true;
    }
    bool readBack(void* texels, size_t rowStride) const override {
        const size_t row = rowBytes();
        const size_t stride = rowStride ? rowStride : row;
        for (size_t y = 0; y < rows(); ++y)
            std::memcpy(static_cast<uint8_t*>(texels) + y * stride, texels_.data() + y * row, row);
        return true;
    }

    std::vector<uint8_t>& texels() { return texels_; }
    int uploads = 0;
    size_t lastStride = 0;

private:
    size_t rowBytes() const { return size_t(size_.x) * texelBytes(); }
    size_t rows() const { return size_t(size_.y) * size_t(depth_); }

    XY<int> size_;
    int depth_;
    bool is3D_;
    eFormat format_;
    std::vector<uint8_t> texels_;
};

class MemoryGPUService final : public iGPUService {
public:
    int getShadingLanguage() const override { return 1; }
    ShaderCompilationOutput compileEffectFile(const LightweightString<wchar_t>&, const ShaderDefinitions&) override { return {}; }
    ShaderCompilationOutput compileEffectText(const LightweightString<char>&, const ShaderDefinitions&) override { return {}; }
    Ptr<iGPUImage> createImage(XY<int> size, iGPUImage::eFormat format) override {
        if (size.x <= 0 || size.y <= 0) return nullptr;
        return makePtr<MemoryGPUImage>(size.x, size.y, 1, false, format);
    }
    Ptr<iGPUImage> create3DImage(int width, int height, int depth, iGPUImage::eFormat format) override {
        if (width <= 0 || height <= 0 || depth <= 0) return nullptr;
        return makePtr<MemoryGPUImage>(width, height, depth, true, format);
    }
    void releaseGPUResources() override {}
};

inline MemoryGPUImage& memory(const Ptr<iGPUImage>& image) { return dynamic_cast<MemoryGPUImage&>(*image); }

} // namespace SurfaceTests
