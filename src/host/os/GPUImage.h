// iGPUImage: an image that lives on the GPU (a 2D or 3D RGBA texture).
//
// Texels are RGBA with 8 or 16 bits unsigned normalised, 16-bit half or
// 32-bit float components. Host memory exchanged with upload/readBack holds
// rows of width x texelBytes() bytes, top row first, with the given stride
// (0 means tightly packed); 3D images take depth slices one after another.
#pragma once

#include "host/base/Ptr.h"
#include "host/base/XY.h"

#include <cstddef>
#include <cstdint>

class iGPUImage : public iObject {
public:
    enum eFormat : int32_t { eRGBA8 = 0, eRGBA16 = 1, eRGBA16F = 2, eRGBA32F = 3 };

    virtual XY<int> getSize() const = 0;
    // 1 for 2D images.
    virtual int getDepth() const = 0;
    virtual bool is3D() const = 0;
    virtual eFormat getFormat() const = 0;
    virtual unsigned getBitsPerTexel() const = 0;
    unsigned texelBytes() const { return getBitsPerTexel() / 8; }

    virtual bool upload(const void* texels, size_t rowStride = 0) = 0;
    virtual bool readBack(void* texels, size_t rowStride = 0) const = 0;
};

constexpr unsigned bitsPerTexel(iGPUImage::eFormat f) {
    switch (f) {
    case iGPUImage::eRGBA8: return 32;
    case iGPUImage::eRGBA16: return 64;
    case iGPUImage::eRGBA16F: return 64;
    case iGPUImage::eRGBA32F: return 128;
    }
    return 0;
}
