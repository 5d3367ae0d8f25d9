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
// Formats are four-character codes stored with the first character in the
// lowest byte ("M101" is 0x3130314d, "UYVY" 0x59565955). The byte layout of
// every format the library knows is written down in docs/formats.md; the
// format together with the bits per component decides the layout (8-bit
// "UYVY" keeps a pixel pair in one RGBA8 texel, 16-bit "UYVY" in one RGBA16
// texel). texelLayoutFor() gives the GPU texel format and texture size that a
// surface of a format is stored in.
#pragma once

#include "ImageLimits.h"

#include "GPUImage.h"
#include "Ptr.h"
#include "VideoData.h"
#include "XY.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

class iGPUService;

constexpr uint32_t fourCC(const char (&code)[5]) {
    return uint32_t(uint8_t(code[0])) | uint32_t(uint8_t(code[1])) << 8 | uint32_t(uint8_t(code[2])) << 16 |
           uint32_t(uint8_t(code[3])) << 24;
}

enum class Format : uint32_t {
    eNone = 0,
    // Interleaved RGB with alpha; 8 or 16 bits per component, unsigned normalised.
    eRGBA = fourCC("RGBA"),
    eBGRA = fourCC("BGRA"),
    eARGB = fourCC("ARGB"),
    // Interleaved RGBA, 16-bit half float and 32-bit float components.
    eRGBAHalf = fourCC("RGBh"),
    eRGBAFloat = fourCC("RGBf"),
    // Y'CbCr 4:2:2, two pixels to a texel; 8, 10 (in 16-bit words) or 16 bits.
    eUYVY = fourCC("UYVY"),
    eYUY2 = fourCC("YUY2"),
    // Y'CbCr 4:2:2, 10-bit samples packed into 32-bit words.
    eV210 = fourCC("v210"),
    eM101 = fourCC("M101"),
    eDVS1 = fourCC("DVS1"),
    // Planar 4:4:4, 8 bits: three full-size planes one after another.
    ePlanarRGB = fourCC("RGBP"),
    ePlanarYCbCr = fourCC("444P"),
};

constexpr Format formatFromFourCC(const char (&code)[5]) { return Format(fourCC(code)); }
// "UYVY" from Format::eUYVY; characters outside printable ASCII become '?'.
std::string formatName(Format format);
// The format of a four-character name; eNone unless the text has four characters.
Format formatFromName(std::string_view name);

// How a format arranges its pixels.
enum class ePixelPacking : uint8_t {
    eUnknown = 0,
    eInterleaved, // one pixel in one texel
    ePacked422,   // two pixels (a Y' pair with one Cb and one Cr) in one texel
    ePacked10Bit, // 10-bit samples packed into 32-bit words (texels of four bytes)
    ePlanar,      // one 8-bit plane per component; four samples in one texel
};

struct FormatDescription {
    Format format = Format::eNone;
    ePixelPacking packing = ePixelPacking::eUnknown;
    bool isYCbCr = false;
    bool isFloat = false;
    // The depth a surface gets when none is asked for.
    uint16_t defaultBitsPerComponent = 0;
};
// The library's description of a known format; null for other codes.
const FormatDescription* describeFormat(Format format);

// Bits per pixel of a known format at a depth; 0 when the format does not
// come in that depth (or is unknown).
uint16_t bitsPerPixelFor(Format format, unsigned bitsPerComponent);

// Where a surface's pixels go on the GPU.
struct TexelLayout {
    iGPUImage::eFormat texelFormat = iGPUImage::eRGBA8;
    uint32_t texelBytes = 0;
    // Size of the GPU image in texels.
    uint32_t texelsPerRow = 0;
    uint32_t rows = 0;
    // Smallest host row stride in bytes: whole texels (and, for v210, whole
    // 48-pixel blocks). Host rows and texture rows hold the same bytes.
    uint32_t minStride = 0;
};
// The GPU layout of a width x height picture; nothing for an unknown format
// or an unsupported depth.
std::optional<TexelLayout> texelLayoutFor(Format format, unsigned bitsPerComponent, uint32_t width, uint32_t height);

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
    // Pixels per GPU texel (texel bits / bits per pixel); 0 without a GPU
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
