#include "platform/gl/GLFormats.h"

namespace {

constexpr GLFormat kFormats[] = {
    {GL_RGBA8, GL_UNSIGNED_BYTE, 4},   // eRGBA8
    {GL_RGBA16, GL_UNSIGNED_SHORT, 8}, // eRGBA16
    {GL_RGBA16F, GL_HALF_FLOAT, 8},    // eRGBA16F
    {GL_RGBA32F, GL_FLOAT, 16},        // eRGBA32F
};

// Drains the error flags; true when there were none.
bool noGLError() {
    bool clean = true;
    while (glGetError() != GL_NO_ERROR) clean = false;
    return clean;
}

GLuint finishTexture(GLuint texture) {
    if (!noGLError()) {
        glDeleteTextures(1, &texture);
        return 0;
    }
    return texture;
}

} // namespace

const GLFormat* glFormat(iGPUImage::eFormat format) {
    const int i = int(format);
    if (i < 0 || i >= int(sizeof kFormats / sizeof kFormats[0])) return nullptr;
    return &kFormats[i];
}

GLuint createTexture2D(int width, int height, const GLFormat& format) {
    noGLError();
    GLuint texture = 0;
    glCreateTextures(GL_TEXTURE_2D, 1, &texture);
    glTextureStorage2D(texture, 1, format.internalFormat, width, height);
    return finishTexture(texture);
}

GLuint createTexture3D(int width, int height, int depth, const GLFormat& format) {
    noGLError();
    GLuint texture = 0;
    glCreateTextures(GL_TEXTURE_3D, 1, &texture);
    glTextureStorage3D(texture, 1, format.internalFormat, width, height, depth);
    return finishTexture(texture);
}

GLuint createFramebuffer(GLuint texture) {
    GLuint framebuffer = 0;
    glCreateFramebuffers(1, &framebuffer);
    glNamedFramebufferTexture(framebuffer, GL_COLOR_ATTACHMENT0, texture, 0);
    if (glCheckNamedFramebufferStatus(framebuffer, GL_DRAW_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        glDeleteFramebuffers(1, &framebuffer);
        return 0;
    }
    return framebuffer;
}

void deleteTarget(const GLTarget& target) {
    if (target.framebuffer) glDeleteFramebuffers(1, &target.framebuffer);
    if (target.texture) glDeleteTextures(1, &target.texture);
}
