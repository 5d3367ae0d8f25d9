// The fixture and test pictures of the GPU image operations: frame-like
// content (smooth gradients, a hard edge, fine noise and a ramp of alpha),
// built on the CPU and uploaded to the real GPU service, and read back for
// comparison.
#pragma once

#include "platform/GLTestSupport.h"

#include "host/image/HostImage.h"
#include "host/image/Surface.h"
#include "host/os/OS.h"
#include "manager/Manager.h"

#include <cmath>
#include <cstring>
#include <random>

namespace ImageTestFrames {

// The real GPU service with the shipped effects, compiled on demand.
class ImageGPUTest : public QfGLTest::GLTest {
protected:
    void SetUp() override {
        GLTest::SetUp();
        if (m_gpu) Qf::FxResources::Manager::instance();
    }
};

// A `width` x `height` frame in `format`, written texel by texel as floats
// 0..1 in the surface's own texel format (so a packed 4:2:2 texel gets one
// frame colour as its four samples), uploaded when `gpu` is given.
inline Surface frame(iGPUService* gpu, uint32_t width, uint32_t height, Format format = Format::eRGBA, uint16_t bits = 8,
                     unsigned seed = 1) {
    Surface s(width, height, format, bits);
    const TexelLayout layout = *s.getTexelLayout();
    const uint32_t texels = layout.texelsPerRow;
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> noise(-0.08f, 0.08f);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < texels; ++x) {
            const float u = (x + 0.5f) / float(texels), v = (y + 0.5f) / float(height);
            const float edge = x > texels / 3 ? 0.35f : 0.0f;
            RGBAf c = {u * 0.8f + edge, v * 0.9f, 0.5f + 0.4f * std::sin(6.0f * u + 3.0f * v), float((x * 7 + y * 3) % 5) / 4.0f};
            for (int k = 0; k < 3; ++k) c[size_t(k)] = std::fmin(1.0f, std::fmax(0.0f, c[size_t(k)] + noise(rng)));
            writeTexel(layout.texelFormat, c, s.getRow(y) + size_t(x) * layout.texelBytes);
        }
    if (gpu) s.createGPUSurface(*gpu);
    return s;
}

// The texel at (x, y) of a surface's host memory, as floats.
inline RGBAf at(const Surface& s, uint32_t x, uint32_t y) {
    const TexelLayout layout = *s.getTexelLayout();
    return readTexel(layout.texelFormat, s.getRow(y) + size_t(x) * layout.texelBytes);
}

// The GPU image of a surface read back into a host picture of its texels.
inline Ptr<HostImage> readBack(const Surface& s) {
    return s.getGPUSurface() ? HostImage::fromGPUImage(*s.getGPUSurface()) : Ptr<HostImage>();
}

} // namespace ImageTestFrames
