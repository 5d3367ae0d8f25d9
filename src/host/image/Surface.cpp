#include "host/image/Surface.h"

#include "host/os/OS.h"

#include <cstring>
#include <new>
#include <utility>

Surface::Surface(uint32_t width, uint32_t height, Format format, uint16_t bitsPerComponent) {
    const FormatDescription* d = describeFormat(format);
    init(width, height, format, bitsPerComponent, 0, d && d->packing == ePixelPacking::ePlanar ? ePlanar : ePacked, eAllocHost,
         0);
}

bool Surface::init(uint32_t width, uint32_t height, Format format, uint16_t bitsPerComponent, uint16_t bitsPerPixel,
                   eLayout layout, eAlloc alloc, uint32_t stride) {
    if (width == 0 || height == 0 || width > kMaxDimension || height > kMaxDimension) return false;
    if (layout != ePacked && layout != ePlanar) return false;

    uint64_t rows = 0;
    if (const FormatDescription* d = describeFormat(format)) {
        const uint16_t bpc = bitsPerComponent ? bitsPerComponent : d->defaultBitsPerComponent;
        const uint16_t bpp = bitsPerPixelFor(format, bpc);
        if (bpp == 0 || (bitsPerPixel != 0 && bitsPerPixel != bpp)) return false;
        if ((layout == ePlanar) != (d->packing == ePixelPacking::ePlanar)) return false;
        const TexelLayout t = *texelLayoutFor(format, bpc, width, height);
        if (stride == 0) stride = t.minStride;
        if (stride < t.minStride || stride % t.texelBytes != 0) return false;
        bitsPerComponent = bpc;
        bitsPerPixel = bpp;
        rows = t.rows;
    } else {
        if (bitsPerPixel == 0) return false;
        const uint64_t minStride = (uint64_t(width) * bitsPerPixel + 7) / 8;
        if (stride == 0) stride = uint32_t(minStride);
        if (stride < minStride) return false;
        rows = uint64_t(height) * (layout == ePlanar ? 3 : 1);
    }

    const uint64_t bytes = rows * stride;
    if (bytes > ImageLimits::kMaxBytes) return false;
    std::shared_ptr<uint8_t[]> pixels;
    if (alloc == eAllocHost && bytes > 0) {
        try {
            pixels = std::make_shared<uint8_t[]>(size_t(bytes));
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    m_format = format;
    m_width = width;
    m_height = height;
    m_bitsPerComponent = bitsPerComponent;
    m_bitsPerPixel = bitsPerPixel;
    m_layout = layout;
    m_stride = stride;
    m_pixels = std::move(pixels);
    m_byteSize = m_pixels ? size_t(bytes) : 0;
    m_gpu = nullptr;
    m_video = {};
    m_sample = {};
    return true;
}

Surface Surface::forGPUImage(Ptr<iGPUImage> image) {
    Surface s;
    if (!image || image->is3D()) return s;
    Format format = Format::eRGBA;
    uint16_t bpc = 8;
    switch (image->getFormat()) {
    case iGPUImage::eRGBA8: break;
    case iGPUImage::eRGBA16: bpc = 16; break;
    case iGPUImage::eRGBA16F:
        format = Format::eRGBAHalf;
        bpc = 16;
        break;
    case iGPUImage::eRGBA32F:
        format = Format::eRGBAFloat;
        bpc = 32;
        break;
    }
    const XY<int> size = image->getSize();
    if (size.x <= 0 || size.y <= 0) return s;
    if (s.init(uint32_t(size.x), uint32_t(size.y), format, bpc, 0, ePacked, eAllocNone, 0)) s.m_gpu = std::move(image);
    return s;
}

Surface Surface::clone() const {
    Surface copy = *this;
    if (m_pixels) {
        copy.m_pixels = std::make_shared<uint8_t[]>(m_byteSize);
        std::memcpy(copy.m_pixels.get(), m_pixels.get(), m_byteSize);
    }
    return copy;
}

std::optional<TexelLayout> Surface::getTexelLayout() const {
    return texelLayoutFor(m_format, m_bitsPerComponent, m_width, m_height);
}

uint8_t* Surface::getRow(uint32_t y, unsigned plane) { return const_cast<uint8_t*>(std::as_const(*this).getRow(y, plane)); }

const uint8_t* Surface::getRow(uint32_t y, unsigned plane) const {
    if (!m_pixels || y >= m_height || plane >= getNumPlanes()) return nullptr;
    const size_t offset = (size_t(plane) * m_height + y) * m_stride;
    return offset + m_stride <= m_byteSize ? m_pixels.get() + offset : nullptr;
}

unsigned Surface::getPixelsPerTexel() const { return pixelsPerTexel(getTexelSize() * 8u, m_bitsPerPixel); }

bool Surface::matchesGPUImage() const {
    const std::optional<TexelLayout> t = getTexelLayout();
    if (!m_gpu || !t || m_gpu->is3D() || m_gpu->getFormat() != t->texelFormat) return false;
    if (m_gpu->getSize() != XY<int>(int(t->texelsPerRow), int(t->rows))) return false;
    return m_stride >= t->minStride && m_stride % t->texelBytes == 0;
}

Ptr<iGPUImage> Surface::createGPUSurface(iGPUService& gpu) {
    const std::optional<TexelLayout> t = getTexelLayout();
    if (!t || t->texelsPerRow == 0 || t->rows == 0) return nullptr;
    Ptr<iGPUImage> image = gpu.createImage({int(t->texelsPerRow), int(t->rows)}, t->texelFormat);
    if (!image) return nullptr;
    Ptr<iGPUImage> previous = std::exchange(m_gpu, image);
    if (m_pixels && !uploadToGPU()) {
        m_gpu = std::move(previous);
        return nullptr;
    }
    return image;
}

bool Surface::uploadToGPU() const {
    if (!m_pixels || !matchesGPUImage()) return false;
    if (size_t(m_stride) * size_t(m_gpu->getSize().y) > m_byteSize) return false;
    return m_gpu->upload(m_pixels.get(), m_stride);
}

bool Surface::readBackFromGPU() {
    if (!matchesGPUImage()) return false;
    const size_t bytes = size_t(m_stride) * size_t(m_gpu->getSize().y);
    if (!m_pixels || m_byteSize < bytes) {
        try {
            m_pixels = std::make_shared<uint8_t[]>(bytes);
        } catch (const std::bad_alloc&) {
            return false;
        }
        m_byteSize = bytes;
    }
    return m_gpu->readBack(m_pixels.get(), m_stride);
}
