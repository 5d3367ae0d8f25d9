#include "platform/gl/GLImage.h"

#include <algorithm>
#include <cstring>
#include <vector>

GLImage::GLImage(const Ptr<GLDevice>& device, int width, int height, int depth, bool is3D, eFormat format)
    : device_(device), width_(width), height_(height), depth_(depth), is3D_(is3D), format_(format) {}

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
    im->texture_ = device->run([&] {
        return is3D ? createTexture3D(width, height, depth, *f) : createTexture2D(width, height, *f);
    });
    if (!im->texture_) return nullptr;
    return image;
}

// No job can be using the names any more: every job on this image ran for a
// caller that held a reference, and that caller has seen the job finish.
GLImage::~GLImage() {
    const GLTarget target{texture_, framebuffer_};
    if (target.texture || target.framebuffer) device_->post([target] { deleteTarget(target); });
}

void GLImage::releaseGPUResources() {
    device_->run([&] {
        deleteTarget({texture_, framebuffer_});
        texture_ = 0;
        framebuffer_ = 0;
    });
}

GLuint GLImage::framebuffer() {
    if (!framebuffer_ && texture_ && !is3D_) framebuffer_ = createFramebuffer(texture_);
    return framebuffer_;
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
    const GLFormat& f = *glFormat(format_);
    return device_->run([&] {
        if (!texture_) return false;
        const void* source = texels;
        std::vector<unsigned char> packed;
        if (stride % texel != 0) {
            // GL_UNPACK_ROW_LENGTH counts whole texels: repack other strides.
            const size_t rows = size_t(height_) * size_t(depth_);
            packed.resize(rows * row);
            for (size_t r = 0; r < rows; ++r)
                std::memcpy(packed.data() + r * row, static_cast<const unsigned char*>(texels) + r * stride, row);
            source = packed.data();
            glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
        } else {
            glPixelStorei(GL_UNPACK_ROW_LENGTH, GLint(stride / texel));
        }
        while (glGetError() != GL_NO_ERROR) {}
        if (is3D_)
            glTextureSubImage3D(texture_, 0, 0, 0, 0, width_, height_, depth_, GL_RGBA, f.type, source);
        else
            glTextureSubImage2D(texture_, 0, 0, 0, width_, height_, GL_RGBA, f.type, source);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
        return glGetError() == GL_NO_ERROR;
    });
}

bool GLImage::readBack(void* texels, size_t rowStride) const {
    const size_t row = rowBytes();
    const unsigned texel = texelBytes();
    size_t stride = 0;
    if (!texels || !usableStride(rowStride, row, texel, stride)) return false;
    const GLFormat& f = *glFormat(format_);
    return device_->run([&] {
        if (!texture_) return false;
        while (glGetError() != GL_NO_ERROR) {}
        // Read in bands of whole rows of one slice, each well under the
        // 2 GiB that a GLsizei buffer size can describe.
        const bool repack = stride % texel != 0;
        const size_t bandRows = std::max<size_t>(1, (size_t(1) << 30) / stride);
        std::vector<unsigned char> packed;
        glPixelStorei(GL_PACK_ROW_LENGTH, repack ? 0 : GLint(stride / texel));
        for (int z = 0; z < depth_; ++z) {
            for (size_t y = 0; y < size_t(height_); y += bandRows) {
                const size_t n = std::min(bandRows, size_t(height_) - y);
                unsigned char* out = static_cast<unsigned char*>(texels) + (size_t(z) * size_t(height_) + y) * stride;
                const size_t bytes = (n - 1) * (repack ? row : stride) + row;
                unsigned char* into = out;
                if (repack) {
                    packed.resize(n * row);
                    into = packed.data();
                }
                glGetTextureSubImage(texture_, 0, 0, GLint(y), z, width_, GLsizei(n), 1, GL_RGBA, f.type,
                                     GLsizei(bytes), into);
                if (repack)
                    for (size_t r = 0; r < n; ++r) std::memcpy(out + r * stride, packed.data() + r * row, row);
            }
        }
        glPixelStorei(GL_PACK_ROW_LENGTH, 0);
        return glGetError() == GL_NO_ERROR;
    });
}
