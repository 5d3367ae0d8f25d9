// GLImage: an iGPUImage made of one OpenGL texture (2D or 3D).
//
// Ownership: the image owns its texture and, once the image has been drawn
// into, a framebuffer over it; both are freed under the context lock when
// the last reference goes (or at releaseGPUResources()), from whichever
// thread that happens on, without waiting for the lock. The image keeps its
// GLDevice alive.
//
// Threads: size, depth and format never change after creation. upload and
// readBack run under the context lock; texture() and framebuffer() are for
// code under that lock only.
#pragma once

#include "host/own/ImageLimits.h"

#include "host/os/GPUImage.h"
#include "platform/gl/GLDevice.h"

class GLImage : public iGPUImage {
public:
    // Null for a size outside 1..the driver's limit, a total above
    // kMaxBytes, an unknown format, or when the driver refuses the storage.
    static Ptr<GLImage> create(const Ptr<GLDevice>& device, int width, int height, int depth, bool is3D, eFormat format);
    ~GLImage() override;

    // 2 GiB: four times an 8K RGBA32F frame, the largest image the editor makes.
    static constexpr size_t kMaxBytes = ImageLimits::kMaxBytes;

    XY<int> getSize() const override { return {m_width, m_height}; }
    int getDepth() const override { return m_depth; }
    bool is3D() const override { return m_is3D; }
    eFormat getFormat() const override { return m_format; }
    unsigned getBitsPerTexel() const override { return bitsPerTexel(m_format); }

    // Rows of width x texelBytes() bytes, top row first, `rowStride` apart (0:
    // packed); a 3D image takes its slices one after another, height rows each.
    // False for a null pointer, a stride shorter than a row, or a released image.
    bool upload(const void* texels, size_t rowStride = 0) override;
    bool readBack(void* texels, size_t rowStride = 0) const override;

    // Frees the GL objects now; the image is unusable afterwards (uploads,
    // read-backs and draws into it return false).
    void releaseGPUResources();

    const Ptr<GLDevice>& device() const { return m_device; }
    // --- under the lock ---
    GLuint texture() const { return m_texture; }
    // Made on first use; 0 for a 3D image or when the driver refuses.
    GLuint framebuffer();

private:
    GLImage(const Ptr<GLDevice>& device, int width, int height, int depth, bool is3D, eFormat format);
    size_t rowBytes() const { return size_t(m_width) * texelBytes(); }

    Ptr<GLDevice> m_device;
    const int m_width, m_height, m_depth;
    const bool m_is3D;
    const eFormat m_format;
    GLuint m_texture = 0;     // under the lock after creation
    GLuint m_framebuffer = 0; // under the lock
};
