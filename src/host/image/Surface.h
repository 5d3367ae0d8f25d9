// Surface: an image as the video pipeline sees it.
//
// A surface is a description (pixel format, size in pixels, bits per
// component, bits per pixel, layout, stride), optional host pixel memory, an
// optional GPU image, and the video metadata (Data::Video,
// Data::VideoSample). The GPU image operations take a `const Surface&` source
// and a `Surface&` destination.
//
// Surface is a value type with shallow copies: a copy shares the host pixel
// memory and the GPU image and owns its own description and metadata, so
// passing one around costs two reference counts. clone() copies the pixels.
//
// A surface's format is a four-character code; PixelFormats.h is the
// catalogue of the formats the library knows (depths, texels, packed-width
// rules), and texelLayoutFor() there gives the GPU texel format and texture
// size that a surface of a format is stored in. The byte layouts are written
// down in docs/formats.md.
#pragma once

#include "host/own/ImageLimits.h"

#include "host/base/Ptr.h"
#include "host/base/XY.h"
#include "host/image/PixelFormats.h"
#include "host/image/VideoData.h"
#include "host/os/GPUImage.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

class iGPUService;

class Surface {
public:
    // Layout 0 keeps the components of a pixel (or a packed group of pixels)
    // together; layout 1 keeps each component in its own plane.
    enum eLayout : uint8_t { ePacked = 0, ePlanar = 1 };
    // eAllocHost allocates zeroed host memory; eAllocNone describes the
    // picture only (its pixels live in a GPU image attached afterwards).
    enum eAlloc : uint8_t { eAllocHost = 0, eAllocNone = 1 };

    static constexpr uint32_t kMaxDimension = ImageLimits::kMaxDimension;

    Surface() = default;
    // A surface with host memory; bitsPerComponent 0 takes the format's
    // default. An unsupported format or size gives an empty surface.
    Surface(uint32_t width, uint32_t height, Format format, uint16_t bitsPerComponent = 0);

    // Describes a new picture and drops the previous pixels, GPU image and
    // metadata. bitsPerComponent or bitsPerPixel 0 take the format's values;
    // stride 0 takes the format's minimum. A known format checks depth,
    // bits per pixel, layout and stride against its own layout; an unknown
    // code is taken as described (bitsPerPixel required). On failure the
    // surface is left as it was and false is returned.
    bool init(uint32_t width, uint32_t height, Format format, uint16_t bitsPerComponent, uint16_t bitsPerPixel,
              eLayout layout = ePacked, eAlloc alloc = eAllocHost, uint32_t stride = 0);

    // A surface describing a GPU image of RGBA texels ("RGBA" at 8 or 16
    // bits, "RGBh" or "RGBf"), with no host memory. Empty for a null image.
    static Surface forGPUImage(Ptr<iGPUImage> image);

    // Copies the host pixels into memory of its own; the GPU image stays shared.
    Surface clone() const;

    bool isEmpty() const { return m_width == 0 || m_height == 0; }

    // --- description ---
    Format getDataFormat() const { return m_format; }
    uint32_t getWidth() const { return m_width; }
    uint32_t getHeight() const { return m_height; }
    XY<int> getSize() const { return {int(m_width), int(m_height)}; }
    uint16_t getBitsPerComponent() const { return m_bitsPerComponent; }
    uint16_t getBitsPerPixel() const { return m_bitsPerPixel; }
    eLayout getLayout() const { return m_layout; }
    uint32_t getStride() const { return m_stride; }
    // The GPU layout of this description; nothing for an unknown format.
    std::optional<TexelLayout> getTexelLayout() const;

    // These rewrite the description only (no reallocation): a conversion
    // uses them to say what its GPU image now holds.
    void setDataFormat(Format format) { m_format = format; }
    void setBitsPerComponent(uint16_t bits) { m_bitsPerComponent = bits; }
    void setBitsPerPixel(uint16_t bits) { m_bitsPerPixel = bits; }
    void setStride(uint32_t bytes) { m_stride = bytes; }

    // --- host memory ---
    bool hasHostMemory() const { return bool(m_pixels); }
    uint8_t* getPixels() { return m_pixels.get(); }
    const uint8_t* getPixels() const { return m_pixels.get(); }
    size_t getByteSize() const { return m_byteSize; }
    // Start of row y of plane p (planes follow each other, height rows each);
    // null without host memory or outside the picture.
    uint8_t* getRow(uint32_t y, unsigned plane = 0);
    const uint8_t* getRow(uint32_t y, unsigned plane = 0) const;
    unsigned getNumPlanes() const { return m_layout == ePlanar ? 3 : 1; }

    // --- GPU image ---
    Ptr<iGPUImage> getGPUSurface() const { return m_gpu; }
    void setGPUSurface(Ptr<iGPUImage> image) { m_gpu = std::move(image); }
    // Bytes per texel of the GPU image; 0 when there is none.
    unsigned getTexelSize() const { return m_gpu ? m_gpu->texelBytes() : 0; }
    // Pixels per texel of the attached GPU image (pixelsPerTexel() of its
    // texel bits and this description's bits per pixel); 0 without a GPU
    // image or bits per pixel, and when a texel holds less than one pixel.
    unsigned getPixelsPerTexel() const;

    // Makes a GPU image of the texel layout, attaches it and uploads the host
    // pixels (if any). Returns the image, null on failure (nothing attached).
    Ptr<iGPUImage> createGPUSurface(iGPUService& gpu);
    // Host pixels to the attached GPU image, and back (allocating host memory
    // when there is none). False when there is no image, no layout, or the
    // image's format or size differ from the layout.
    bool uploadToGPU() const;
    bool readBackFromGPU();

    // --- video metadata ---
    const Data::Video& getVideoData() const { return m_video; }
    void setVideoData(const Data::Video& video) { m_video = video; }
    const Data::VideoSample& getVideoSampleData() const { return m_sample; }
    void setVideoSampleData(const Data::VideoSample& sample) { m_sample = sample; }
    uint32_t getColourimetry() const { return m_video.colourimetry; }
    uint32_t getRange() const { return m_video.range; }
    // Copies both metadata records from another surface.
    void copyMetadataFrom(const Surface& other) {
        m_video = other.m_video;
        m_sample = other.m_sample;
    }

private:
    bool matchesGPUImage() const;

    Format m_format = Format::eNone;
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    uint16_t m_bitsPerComponent = 0;
    uint16_t m_bitsPerPixel = 0;
    eLayout m_layout = ePacked;
    uint32_t m_stride = 0;
    std::shared_ptr<uint8_t[]> m_pixels;
    size_t m_byteSize = 0;
    Ptr<iGPUImage> m_gpu;
    Data::Video m_video;
    Data::VideoSample m_sample;
};
