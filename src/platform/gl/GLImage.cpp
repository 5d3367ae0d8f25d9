#include "platform/gl/GLImage.h"

#include <algorithm>
#include <cstring>
#include <vector>

GLImage::GLImage(const Ptr<GLDevice>& device, int width, int height, int depth, bool is3D, eFormat format)
    : m_device(device), m_width(width), m_height(height), m_depth(depth), m_is3D(is3D), m_format(format) {}

Ptr<GLImage> GLImage::create(const Ptr<GLDevice>& device, int width, int height, int depth, bool is3D, eFormat format) {
    const GLFormat* f = glFormat(format);
    if (!device || !f) return nullptr;
    const int limit = is3D ? device->max3DTextureSize() : device->maxTextureSize();
    if (width < 1 || height < 1 || depth < 1 || width > limit || height > limit || depth > limit) return nullptr;
    if (!is3D && depth != 1) return nullptr;
    // The limits keep each factor below 2^15 or so, so the product cannot overflow 64 bits.
    const uint64_t bytes = uint64_t(width) * uint64_t(height) * uint64_t(depth) * f->bytesPerTexel;
    if (bytes > kMaxBytes) return nullptr;

    Ptr<GLImage> image(new GLImage(device, width, height, depth, is3D, format));
    GLImage* im = image.get();
    im->m_texture =
        device->run([&] { return is3D ? createTexture3D(width, height, depth, *f) : createTexture2D(width, height, *f); });
    if (!im->m_texture) return nullptr;
    return image;
}

// No job can be using the names any more: every job on this image ran for a
// caller that held a reference, and that caller has seen the job finish.
GLImage::~GLImage() {
    const GLTarget target{m_texture, m_framebuffer};
    if (target.texture || target.framebuffer) m_device->post([target] { deleteTarget(target); });
}

void GLImage::releaseGPUResources() {
    m_device->run([&] {
        deleteTarget({m_texture, m_framebuffer});
        m_texture = 0;
        m_framebuffer = 0;
    });
}

GLuint GLImage::framebuffer() {
    if (!m_framebuffer && m_texture && !m_is3D) m_framebuffer = createFramebuffer(m_texture);
    return m_framebuffer;
}

// The stride of host rows (0: tightly packed); false when it is shorter than a
// row or too long for GL to describe in texels.
static bool usableStride(size_t rowStride, size_t row, unsigned texel, size_t& stride) {
    if (rowStride != 0 && rowStride < row) return false;
    stride = rowStride ? rowStride : row;
    return stride / texel <= size_t(INT32_MAX);
}

bool GLImage::upload(const void* texels, size_t rowStride) {
    const size_t row = rowBytes();
    const unsigned texel = texelBytes();
    size_t stride = 0;
    if (!texels || !usableStride(rowStride, row, texel, stride)) return false;
    const GLFormat& f = *glFormat(m_format);
    return m_device->run([&] {
        if (!m_texture) return false;
        const void* source = texels;
        std::vector<unsigned char> packed;
        if (stride % texel != 0) {
            // GL_UNPACK_ROW_LENGTH counts whole texels: repack other strides.
            const size_t rows = size_t(m_height) * size_t(m_depth);
            packed.resize(rows * row);
            for (size_t r = 0; r < rows; ++r)
                std::memcpy(packed.data() + r * row, static_cast<const unsigned char*>(texels) + r * stride, row);
            source = packed.data();
            glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
        } else {
            glPixelStorei(GL_UNPACK_ROW_LENGTH, GLint(stride / texel));
        }
        while (glGetError() != GL_NO_ERROR) {}
        if (m_is3D)
            glTextureSubImage3D(m_texture, 0, 0, 0, 0, m_width, m_height, m_depth, GL_RGBA, f.type, source);
        else
            glTextureSubImage2D(m_texture, 0, 0, 0, m_width, m_height, GL_RGBA, f.type, source);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
        return glGetError() == GL_NO_ERROR;
    });
}

bool GLImage::readBack(void* texels, size_t rowStride) const {
    const size_t row = rowBytes();
    const unsigned texel = texelBytes();
    size_t stride = 0;
    if (!texels || !usableStride(rowStride, row, texel, stride)) return false;
    const GLFormat& f = *glFormat(m_format);
    return m_device->run([&] {
        if (!m_texture) return false;
        while (glGetError() != GL_NO_ERROR) {}
        // Read in bands of whole rows of one slice, each well under the
        // 2 GiB that a GLsizei buffer size can describe.
        const bool repack = stride % texel != 0;
        const size_t bandRows = std::max<size_t>(1, (size_t(1) << 30) / stride);
        std::vector<unsigned char> packed;
        glPixelStorei(GL_PACK_ROW_LENGTH, repack ? 0 : GLint(stride / texel));
        for (int z = 0; z < m_depth; ++z) {
            for (size_t y = 0; y < size_t(m_height); y += bandRows) {
                const size_t n = std::min(bandRows, size_t(m_height) - y);
                unsigned char* out = static_cast<unsigned char*>(texels) + (size_t(z) * size_t(m_height) + y) * stride;
                const size_t bytes = (n - 1) * (repack ? row : stride) + row;
                unsigned char* into = out;
                if (repack) {
                    packed.resize(n * row);
                    into = packed.data();
                }
                glGetTextureSubImage(m_texture, 0, 0, GLint(y), z, m_width, GLsizei(n), 1, GL_RGBA, f.type, GLsizei(bytes), into);
                if (repack)
                    for (size_t r = 0; r < n; ++r) std::memcpy(out + r * stride, packed.data() + r * row, row);
            }
        }
        glPixelStorei(GL_PACK_ROW_LENGTH, 0);
        return glGetError() == GL_NO_ERROR;
    });
}
