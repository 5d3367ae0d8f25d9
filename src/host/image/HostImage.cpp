#include "host/image/HostImage.h"

#include "host/os/OS.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

uint16_t halfFromFloat(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const uint16_t sign = uint16_t((bits >> 16) & 0x8000u);
    const uint32_t magnitude = bits & 0x7fffffffu;
    if (magnitude >= 0x7f800000u) // infinity, or NaN kept quiet
        return uint16_t(sign | 0x7c00u | (magnitude > 0x7f800000u ? 0x200u : 0u));
    if (magnitude >= 0x477ff000u) // 65520 and above round to infinity
        return uint16_t(sign | 0x7c00u);
    if (magnitude >= 0x38800000u) { // normal half: rebias the exponent, round off 13 bits
        uint32_t h = (magnitude - 0x38000000u) >> 13;
        const uint32_t rest = magnitude & 0x1fffu;
        if (rest > 0x1000u || (rest == 0x1000u && (h & 1u))) ++h;
        return uint16_t(sign | h);
    }
    // Subnormal half: the value in units of 2^-24.
    const uint32_t exponent = magnitude >> 23;
    const uint32_t shift = 126u - exponent;
    if (shift > 24) return sign;
    const uint32_t mantissa = (magnitude & 0x7fffffu) | 0x800000u;
    uint32_t h = mantissa >> shift;
    const uint32_t rest = mantissa & ((1u << shift) - 1u);
    const uint32_t halfway = 1u << (shift - 1);
    if (rest > halfway || (rest == halfway && (h & 1u))) ++h;
    return uint16_t(sign | h);
}

float floatFromHalf(uint16_t half) {
    const uint32_t sign = uint32_t(half & 0x8000u) << 16;
    const uint32_t exponent = (half >> 10) & 0x1fu;
    const uint32_t mantissa = half & 0x3ffu;
    if (exponent == 0) {
        const float v = std::ldexp(float(mantissa), -24);
        return sign ? -v : v;
    }
    const uint32_t bits =
        exponent == 31 ? (sign | 0x7f800000u | (mantissa << 13)) : (sign | ((exponent + 112u) << 23) | (mantissa << 13));
    float v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

namespace {

float unitClamp(float v) { return std::isnan(v) ? 0.0f : std::clamp(v, 0.0f, 1.0f); }

} // namespace

RGBAf readTexel(iGPUImage::eFormat format, const void* texel) {
    RGBAf out{};
    switch (format) {
    case iGPUImage::eRGBA8: {
        const auto* p = static_cast<const uint8_t*>(texel);
        for (int i = 0; i < 4; ++i) out[size_t(i)] = float(p[i]) / 255.0f;
        break;
    }
    case iGPUImage::eRGBA16: {
        uint16_t c[4];
        std::memcpy(c, texel, sizeof c);
        for (int i = 0; i < 4; ++i) out[size_t(i)] = float(c[i]) / 65535.0f;
        break;
    }
    case iGPUImage::eRGBA16F: {
        uint16_t c[4];
        std::memcpy(c, texel, sizeof c);
        for (int i = 0; i < 4; ++i) out[size_t(i)] = floatFromHalf(c[i]);
        break;
    }
    case iGPUImage::eRGBA32F: std::memcpy(out.data(), texel, sizeof(float) * 4); break;
    }
    return out;
}

void writeTexel(iGPUImage::eFormat format, const RGBAf& value, void* texel) {
    switch (format) {
    case iGPUImage::eRGBA8: {
        auto* p = static_cast<uint8_t*>(texel);
        for (int i = 0; i < 4; ++i) p[i] = uint8_t(std::lround(unitClamp(value[size_t(i)]) * 255.0f));
        break;
    }
    case iGPUImage::eRGBA16: {
        uint16_t c[4];
        for (int i = 0; i < 4; ++i) c[i] = uint16_t(std::lround(unitClamp(value[size_t(i)]) * 65535.0f));
        std::memcpy(texel, c, sizeof c);
        break;
    }
    case iGPUImage::eRGBA16F: {
        uint16_t c[4];
        for (int i = 0; i < 4; ++i) c[i] = halfFromFloat(value[size_t(i)]);
        std::memcpy(texel, c, sizeof c);
        break;
    }
    case iGPUImage::eRGBA32F: std::memcpy(texel, value.data(), sizeof(float) * 4); break;
    }
}

// --- HostImage ---

HostImage::HostImage(XY<int> size, eFormat format)
    : m_size(size), m_format(format), m_pixels(size_t(size.x) * size_t(size.y) * (bitsPerTexel(format) / 8)) {}

Ptr<HostImage> HostImage::create(XY<int> size, eFormat format) {
    if (size.x < 1 || size.y < 1 || size.x > kMaxDimension || size.y > kMaxDimension) return nullptr;
    if (bitsPerTexel(format) == 0) return nullptr;
    if (size_t(size.x) * size_t(size.y) * (bitsPerTexel(format) / 8) > kMaxBytes) return nullptr;
    try {
        return Ptr<HostImage>(new HostImage(size, format));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Ptr<HostImage> HostImage::fromGPUImage(const iGPUImage& image) {
    if (image.is3D()) return nullptr;
    Ptr<HostImage> host = create(image.getSize(), image.getFormat());
    if (!host || !host->readBackFrom(image)) return nullptr;
    return host;
}

Ptr<HostImage> HostImage::convertedTo(eFormat format) const {
    Ptr<HostImage> out = create(m_size, format);
    if (!out) return nullptr;
    if (format == m_format) {
        std::memcpy(out->data(), data(), m_pixels.size());
        return out;
    }
    for (int y = 0; y < m_size.y; ++y)
        for (int x = 0; x < m_size.x; ++x) out->setTexel(x, y, getTexel(x, y));
    return out;
}

bool HostImage::matches(const iGPUImage& image) const {
    return !image.is3D() && image.getSize() == m_size && image.getFormat() == m_format;
}

bool HostImage::uploadTo(iGPUImage& image) const { return matches(image) && image.upload(data(), getStride()); }

bool HostImage::readBackFrom(const iGPUImage& image) { return matches(image) && image.readBack(data(), getStride()); }

Ptr<iGPUImage> HostImage::createGPUImage(iGPUService& gpu) const {
    Ptr<iGPUImage> image = gpu.createImage(m_size, m_format);
    if (!image || !uploadTo(*image)) return nullptr;
    return image;
}

// --- HostImage3D ---

HostImage3D::HostImage3D(int width, int height, int depth, int channels)
    : m_width(width), m_height(height), m_depth(depth), m_channels(channels),
      m_values(size_t(width) * size_t(height) * size_t(depth) * size_t(channels)) {}

Ptr<HostImage3D> HostImage3D::create(int width, int height, int depth, int channels) {
    if (channels != 3 && channels != 4) return nullptr;
    for (int side : {width, height, depth})
        if (side < 1 || side > kMaxDimension) return nullptr;
    if (size_t(width) * size_t(height) * size_t(depth) > kMaxTexels) return nullptr;
    try {
        return Ptr<HostImage3D>(new HostImage3D(width, height, depth, channels));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Ptr<HostImage3D> HostImage3D::fromGPUImage(const iGPUImage& image, int channels) {
    if (!image.is3D()) return nullptr;
    Ptr<HostImage3D> host = create(image.getSize().x, image.getSize().y, image.getDepth(), channels);
    if (!host || !host->readBackFrom(image)) return nullptr;
    return host;
}

// Room for one image in a GPU texel format; false when memory runs out.
static bool allocateStaging(std::vector<uint8_t>& staging, size_t bytes) {
    try {
        staging.resize(bytes);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool HostImage3D::matches(const iGPUImage& image) const {
    return image.is3D() && image.getSize() == XY<int>(m_width, m_height) && image.getDepth() == m_depth;
}

bool HostImage3D::uploadTo(iGPUImage& image) const {
    if (!matches(image)) return false;
    if (m_channels == 4 && image.getFormat() == iGPUImage::eRGBA32F) return image.upload(m_values.data());
    const unsigned texelBytes = image.texelBytes();
    std::vector<uint8_t> staging;
    if (!allocateStaging(staging, getNumTexels() * texelBytes)) return false;
    const float* in = m_values.data();
    for (size_t i = 0; i < getNumTexels(); ++i, in += m_channels) {
        const RGBAf texel{in[0], in[1], in[2], m_channels == 4 ? in[3] : 1.0f};
        writeTexel(image.getFormat(), texel, staging.data() + i * texelBytes);
    }
    return image.upload(staging.data());
}

bool HostImage3D::readBackFrom(const iGPUImage& image) {
    if (!matches(image)) return false;
    if (m_channels == 4 && image.getFormat() == iGPUImage::eRGBA32F) return image.readBack(m_values.data());
    const unsigned texelBytes = image.texelBytes();
    std::vector<uint8_t> staging;
    if (!allocateStaging(staging, getNumTexels() * texelBytes)) return false;
    if (!image.readBack(staging.data())) return false;
    float* out = m_values.data();
    for (size_t i = 0; i < getNumTexels(); ++i, out += m_channels) {
        const RGBAf texel = readTexel(image.getFormat(), staging.data() + i * texelBytes);
        std::copy_n(texel.begin(), m_channels, out);
    }
    return true;
}

Ptr<iGPUImage> HostImage3D::createGPUImage(iGPUService& gpu, iGPUImage::eFormat format) const {
    Ptr<iGPUImage> image = gpu.create3DImage(m_width, m_height, m_depth, format);
    if (!image || !uploadTo(*image)) return nullptr;
    return image;
}
