// The OpenGL texture formats behind iGPUImage::eFormat, and the texture and
// framebuffer objects that images and intermediate passes are made of.
//
// Every format is RGBA: 8 or 16 bits unsigned normalised, 16-bit half float
// or 32-bit float per component. Host memory holds components in R, G, B, A
// order in the same representation (16F as raw IEEE half floats), so uploads
// and read-backs copy bits and round-trip exactly.
#pragma once

#include "host/os/GPUImage.h"
#include "platform/gl/GLApi.h"

struct GLFormat {
    GLenum internalFormat;
    GLenum type; // pixel type of host memory; the pixel format is always GL_RGBA
    unsigned bytesPerTexel;
};

// Null for a value outside the enumeration.
const GLFormat* glFormat(iGPUImage::eFormat format);

// A texture with its framebuffer (0 until one is needed). Under the lock only.
struct GLTarget {
    GLuint texture = 0;
    GLuint framebuffer = 0;
};

// Immutable storage of one level, no mipmaps; 0 (and no GL error left
// pending) when the driver refuses, for instance out of memory.
GLuint createTexture2D(int width, int height, const GLFormat& format);
GLuint createTexture3D(int width, int height, int depth, const GLFormat& format);
// A framebuffer whose only colour attachment is `texture`; 0 when incomplete.
GLuint createFramebuffer(GLuint texture);
void deleteTarget(const GLTarget& target);
