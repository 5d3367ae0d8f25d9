// Host images: pictures in CPU memory in the GPU's own texel formats.
//
// HostImage is a 2D image of RGBA texels (8 or 16 bits unsigned normalised,
// 16-bit half or 32-bit float components), rows top first, tightly packed.
// HostImage3D is a 3D image of RGB or RGBA float texels, the form a LUT is
// kept in: x (red) varies fastest, then y (green), then z (blue) slices.
//
// Both move to and from a GPU image through iGPUImage's upload/readBack;
// they make no graphics calls of their own. Both are shared through Ptr;
// the factories return null for sizes they will not allocate.
#pragma once

#include "host/base/Ptr.h"
#include "host/base/XY.h"
#include "host/os/GPUImage.h"
#include "host/own/ImageLimits.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

class iGPUService;

using RGBAf = std::array<float, 4>;

// Half-float conversions (IEEE binary16, round to nearest even).
uint16_t halfFromFloat(float value);
float floatFromHalf(uint16_t half);

// One texel of a format to and from normalised floats. Unsigned normalised
// formats clamp to 0..1 and round; NaN stores as 0.
RGBAf readTexel(iGPUImage::eFormat format, const void* texel);
void writeTexel(iGPUImage::eFormat format, const RGBAf& value, void* texel);

class HostImage : public iObject {
public:
    using eFormat = iGPUImage::eFormat;
    static constexpr int kMaxDimension = ImageLimits::kMaxDimension;
    static constexpr size_t kMaxBytes = ImageLimits::kMaxBytes;

    // A zeroed image; null when a side is not in 1..kMaxDimension or it
    // would take more than kMaxBytes.
    static Ptr<HostImage> create(XY<int> size, eFormat format);
    // A copy of a 2D GPU image's texels; null when the read-back fails.
    static Ptr<HostImage> fromGPUImage(const iGPUImage& image);

    XY<int> getSize() const { return m_size; }
    int getWidth() const { return m_size.x; }
    int getHeight() const { return m_size.y; }
    eFormat getFormat() const { return m_format; }
    unsigned texelBytes() const { return bitsPerTexel(m_format) / 8; }
    size_t getStride() const { return size_t(m_size.x) * texelBytes(); }
    size_t getByteSize() const { return m_pixels.size(); }
    uint8_t* data() { return m_pixels.data(); }
    const uint8_t* data() const { return m_pixels.data(); }
    uint8_t* row(int y) { return m_pixels.data() + size_t(y) * getStride(); }
    const uint8_t* row(int y) const { return m_pixels.data() + size_t(y) * getStride(); }

    // Texel access through normalised floats; coordinates must lie inside.
    RGBAf getTexel(int x, int y) const { return readTexel(m_format, texel(x, y)); }
    void setTexel(int x, int y, const RGBAf& value) { writeTexel(m_format, value, texel(x, y)); }

    // The same picture in another format (values clamped where it is narrower).
    Ptr<HostImage> convertedTo(eFormat format) const;

    // To and from a 2D GPU image of the same size and format.
    bool uploadTo(iGPUImage& image) const;
    bool readBackFrom(const iGPUImage& image);
    // A new GPU image holding this picture; null on failure.
    Ptr<iGPUImage> createGPUImage(iGPUService& gpu) const;

private:
    HostImage(XY<int> size, eFormat format);
    const uint8_t* texel(int x, int y) const { return row(y) + size_t(x) * texelBytes(); }
    uint8_t* texel(int x, int y) { return row(y) + size_t(x) * texelBytes(); }
    bool matches(const iGPUImage& image) const;

    XY<int> m_size;
    eFormat m_format;
    std::vector<uint8_t> m_pixels;
};

// How a 3D image used as a look-up table is addressed: a colour c reaches
// the lattice coordinate c * inScale + inOffset (0..1 spans the lattice, per
// channel, clamped), and a value v read from the lattice stands for
// v * outScale + outOffset. Identity for plain volumes; CubeLUT sets it from
// a file's domain and video-range tags, which are affine and so travel as
// these few numbers instead of resampled data.
//
// With a shaper (shaperSize > 0, a .cube file's 1D table before its 3D one)
// the colour first goes through one curve per channel: c * inScale +
// inOffset (clamped to 0..1) spans the curve's shaperSize points, linearly
// interpolated, and the curve's value s reaches the lattice coordinate
// s * latticeScale + latticeOffset (clamped). The curves are kept in the
// image's alpha channel, red's then green's then blue's, point i of channel
// k in the texel k * shaperSize + i of the image's memory order.
struct LUTMapping {
    std::array<float, 3> inScale{1, 1, 1};
    std::array<float, 3> inOffset{0, 0, 0};
    float outScale = 1;
    float outOffset = 0;
    int shaperSize = 0;
    std::array<float, 3> latticeScale{1, 1, 1};
    std::array<float, 3> latticeOffset{0, 0, 0};
    friend bool operator==(const LUTMapping&, const LUTMapping&) = default;
};

class HostImage3D : public iObject {
public:
    static constexpr int kMaxDimension = 1024;
    static constexpr size_t kMaxTexels = size_t(1) << 26;

    // A zeroed image of 3 (RGB) or 4 (RGBA) float channels; null for other
    // channel counts and sides outside 1..kMaxDimension (or too many texels).
    static Ptr<HostImage3D> create(int width, int height, int depth, int channels);
    // A copy of a 3D GPU image's texels as float RGBA (or RGB: alpha dropped).
    static Ptr<HostImage3D> fromGPUImage(const iGPUImage& image, int channels = 4);

    int getWidth() const { return m_width; }
    int getHeight() const { return m_height; }
    int getDepth() const { return m_depth; }
    int getChannels() const { return m_channels; }
    size_t getNumTexels() const { return size_t(m_width) * size_t(m_height) * size_t(m_depth); }
    float* data() { return m_values.data(); }
    const float* data() const { return m_values.data(); }
    float* texel(int x, int y, int z) { return m_values.data() + index(x, y, z); }
    const float* texel(int x, int y, int z) const { return m_values.data() + index(x, y, z); }

    // To and from a 3D GPU image of the same size, in any texel format: RGB
    // texels gain alpha 1 on the way up and drop it on the way back.
    bool uploadTo(iGPUImage& image) const;
    bool readBackFrom(const iGPUImage& image);
    Ptr<iGPUImage> createGPUImage(iGPUService& gpu, iGPUImage::eFormat format = iGPUImage::eRGBA32F) const;

    const LUTMapping& getLUTMapping() const { return m_lutMapping; }
    void setLUTMapping(const LUTMapping& mapping) { m_lutMapping = mapping; }

private:
    HostImage3D(int width, int height, int depth, int channels);
    size_t index(int x, int y, int z) const {
        return ((size_t(z) * size_t(m_height) + size_t(y)) * size_t(m_width) + size_t(x)) * size_t(m_channels);
    }
    bool matches(const iGPUImage& image) const;

    int m_width;
    int m_height;
    int m_depth;
    int m_channels;
    std::vector<float> m_values;
    LUTMapping m_lutMapping;
};
