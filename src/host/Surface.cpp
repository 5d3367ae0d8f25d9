#include "Surface.h"

#include "OS.h"

#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr FormatDescription kFormats[] = {
    {Format::eRGBA, ePixelPacking::eInterleaved, false, false, 8},
    {Format::eBGRA, ePixelPacking::eInterleaved, false, false, 8},
    {Format::eARGB, ePixelPacking::eInterleaved, false, false, 8},
    {Format::eRGBAHalf, ePixelPacking::eInterleaved, false, true, 16},
    {Format::eRGBAFloat, ePixelPacking::eInterleaved, false, true, 32},
    {Format::eUYVY, ePixelPacking::ePacked422, true, false, 8},
    {Format::eYUY2, ePixelPacking::ePacked422, true, false, 8},
    {Format::eV210, ePixelPacking::ePacked10Bit, true, false, 10},
    {Format::eM101, ePixelPacking::ePacked10Bit, true, false, 10},
    {Format::eDVS1, ePixelPacking::ePacked10Bit, true, false, 10},
    {Format::ePlanarRGB, ePixelPacking::ePlanar, false, false, 8},
    {Format::ePlanarYCbCr, ePixelPacking::ePlanar, true, false, 8},
};

uint32_t divUp(uint32_t a, uint32_t b) { return (a + b - 1) / b; }

} // namespace

std::string formatName(Format format) {
    std::string name(4, '?');
    for (int i = 0; i < 4; ++i) {
        char c = char((uint32_t(format) >> (8 * i)) & 0xff);
        if (c >= 0x20 && c < 0x7f) name[size_t(i)] = c;
    }
    return name;
}

Format formatFromName(std::string_view name) {
    if (name.size() != 4) return Format::eNone;
    uint32_t code = 0;
    for (size_t i = 0; i < 4; ++i) code |= uint32_t(uint8_t(name[i])) << (8 * i);
    return Format(code);
}

const FormatDescription* describeFormat(Format format) {
    for (const FormatDescription& d : kFormats)
        if (d.format == format) return &d;
    return nullptr;
}

uint16_t bitsPerPixelFor(Format format, unsigned bitsPerComponent) {
    const FormatDescription* d = describeFormat(format);
    if (!d) return 0;
    const unsigned bpc = bitsPerComponent;
    switch (d->packing) {
    case ePixelPacking::eInterleaved:
        if (d->isFloat) return bpc == d->defaultBitsPerComponent ? uint16_t(4 * bpc) : 0;
        return (bpc == 8 || bpc == 16) ? uint16_t(4 * bpc) : 0;
    case ePixelPacking::ePacked422:
        // A pixel is one Y' and half a Cb/Cr pair; 10-bit samples sit in 16-bit words.
        if (bpc == 8) return 16;
        if (bpc == 10 || bpc == 16) return 32;
        return 0;
    case ePixelPacking::ePacked10Bit:
        // Nominal: two 10-bit samples a pixel (v210 and DVS1 pad beyond this).
        return bpc == 10 ? 20 : 0;
    case ePixelPacking::ePlanar: return bpc == 8 ? 24 : 0;
    case ePixelPacking::eUnknown: break;
    }
    return 0;
}

std::optional<TexelLayout> texelLayoutFor(Format format, unsigned bitsPerComponent, uint32_t width, uint32_t height) {
    const FormatDescription* d = describeFormat(format);
    if (!d || bitsPerPixelFor(format, bitsPerComponent) == 0) return std::nullopt;
    TexelLayout t;
    t.rows = height;
    switch (d->packing) {
    case ePixelPacking::eInterleaved:
        t.texelFormat = d->isFloat ? (bitsPerComponent == 32 ? iGPUImage::eRGBA32F : iGPUImage::eRGBA16F)
                                   : (bitsPerComponent == 8 ? iGPUImage::eRGBA8 : iGPUImage::eRGBA16);
        t.texelsPerRow = width;
        break;
    case ePixelPacking::ePacked422:
        t.texelFormat = bitsPerComponent == 8 ? iGPUImage::eRGBA8 : iGPUImage::eRGBA16;
        t.texelsPerRow = divUp(width, 2);
        break;
    case ePixelPacking::ePacked10Bit:
        t.texelFormat = iGPUImage::eRGBA8;
        if (format == Format::eV210) {
            // Blocks of 6 pixels in 4 words; rows padded to 48 pixels (128 bytes).
            t.texelsPerRow = divUp(width, 48) * 32;
        } else if (format == Format::eM101) {
            // 8 pixels in 5 words; the packer's size rule, (W x 10) >> 4, in 32-bit arithmetic.
            t.texelsPerRow = (width * 10u) >> 4;
        } else {
            // DVS1: three samples a word, a pixel pair has four samples.
            t.texelsPerRow = divUp(divUp(width, 2) * 4, 3);
        }
        break;
    case ePixelPacking::ePlanar:
        t.texelFormat = iGPUImage::eRGBA8;
        t.texelsPerRow = divUp(width, 4);
        t.rows = height * 3;
        break;
    case ePixelPacking::eUnknown: return std::nullopt;
    }
    t.texelBytes = bitsPerTexel(t.texelFormat) / 8;
    t.minStride = t.texelsPerRow * t.texelBytes;
    return t;
}

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

unsigned Surface::getPixelsPerTexel() const {
    if (m_bitsPerPixel == 0) return 0;
    return getTexelSize() * 8u / m_bitsPerPixel;
}

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
