#include "platform/gl/GLDevice.h"

#include "platform/gl/EglContext.h"
#include "platform/gl/GLProgram.h"

namespace {

// Row 0 of every texture holds the top row of the image (uploads start with
// the top row), and row 0 of a framebuffer lies at y = -1; so the top of the
// target is drawn at y = -1 and v = 0 addresses the top row everywhere.
// The four vertices form a strip over the corners in binding order:
// top-left, top-right, bottom-left, bottom-right.
const char* const kVertexSource = R"(#version 450 core
uniform vec2 _qfCorners[32];
out vec2 uv0;
out vec2 uv1;
out vec2 uv2;
out vec2 uv3;
out vec2 uv4;
out vec2 uv5;
out vec2 uv6;
out vec2 uv7;
out vec2 uv8;
void main()
{
   vec2 corner = vec2(float(gl_VertexID & 1), float(gl_VertexID >> 1));
   gl_Position = vec4(corner * 2.0 - 1.0, 0.0, 1.0);
   uv0 = corner;
   uv1 = _qfCorners[gl_VertexID];
   uv2 = _qfCorners[4 + gl_VertexID];
   uv3 = _qfCorners[8 + gl_VertexID];
   uv4 = _qfCorners[12 + gl_VertexID];
   uv5 = _qfCorners[16 + gl_VertexID];
   uv6 = _qfCorners[20 + gl_VertexID];
   uv7 = _qfCorners[24 + gl_VertexID];
   uv8 = _qfCorners[28 + gl_VertexID];
}
)";

GLenum wrapMode(iShaderEffectBase::eEdgeReadMode edge) {
    switch (edge) {
    case iShaderEffectBase::Border: return GL_CLAMP_TO_BORDER;
    case iShaderEffectBase::Mirror: return GL_MIRRORED_REPEAT;
    case iShaderEffectBase::Wrap: return GL_REPEAT;
    case iShaderEffectBase::ClampToEdge: break;
    }
    return GL_CLAMP_TO_EDGE;
}

} // namespace

Ptr<GLDevice> GLDevice::create(std::string& error) {
    std::unique_ptr<EglContext> context = EglContext::create(error);
    if (!context) return nullptr;
    Ptr<GLDevice> device(new GLDevice);
    device->m_description = context->description();
    device->m_lock = std::make_unique<GLContextLock>(std::move(context));
    if (!device->run([&] { return device->start(error); })) return nullptr;
    return device;
}

GLDevice::~GLDevice() {
    if (!m_lock) return;
    run([&] { tearDown(); });
    m_lock.reset(); // destroys the context, now current nowhere
}

bool GLDevice::start(std::string& error) {
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &m_maxTextureSize);
    glGetIntegerv(GL_MAX_3D_TEXTURE_SIZE, &m_max3DTextureSize);

    std::string log;
    m_vertexShader = compileShaderStage(GL_VERTEX_SHADER, kVertexSource, log);
    if (!m_vertexShader) {
        error = "the vertex stage does not compile: " + log;
        return false;
    }

    // State that stays as set for the context's whole life: the context is
    // the service's alone, whichever thread holds it.
    glCreateVertexArrays(1, &m_vertexArray);
    glBindVertexArray(m_vertexArray);
    glDisable(GL_DITHER);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);

    const GLfloat transparentBlack[4] = {0, 0, 0, 0};
    for (int s = 0; s < 2; ++s) {
        for (int e = 0; e < 4; ++e) {
            GLuint sampler = 0;
            glCreateSamplers(1, &sampler);
            const GLint filter = s == iShaderEffectBase::Point ? GL_NEAREST : GL_LINEAR;
            const GLint wrap = GLint(wrapMode(iShaderEffectBase::eEdgeReadMode(e)));
            glSamplerParameteri(sampler, GL_TEXTURE_MIN_FILTER, filter);
            glSamplerParameteri(sampler, GL_TEXTURE_MAG_FILTER, filter);
            glSamplerParameteri(sampler, GL_TEXTURE_WRAP_S, wrap);
            glSamplerParameteri(sampler, GL_TEXTURE_WRAP_T, wrap);
            glSamplerParameteri(sampler, GL_TEXTURE_WRAP_R, wrap);
            glSamplerParameterfv(sampler, GL_TEXTURE_BORDER_COLOR, transparentBlack);
            m_samplers[s][e] = sampler;
        }
    }
    return true;
}

void GLDevice::tearDown() {
    for (const PassTarget& p : m_passTargets) deleteTarget(p.target);
    m_passTargets.clear();
    deleteTarget(m_prime);
    glDeleteTextures(1, &m_dummy2D);
    glDeleteTextures(1, &m_dummy3D);
    glDeleteSamplers(8, &m_samplers[0][0]);
    glDeleteVertexArrays(1, &m_vertexArray);
    glDeleteShader(m_vertexShader);
}

GLuint GLDevice::sampler(iShaderEffectBase::eScalingMethod scaling, iShaderEffectBase::eEdgeReadMode edge) const {
    const int s = scaling == iShaderEffectBase::Point ? 1 : 0;
    const int e = int(edge) >= 0 && int(edge) < 4 ? int(edge) : int(iShaderEffectBase::ClampToEdge);
    return m_samplers[s][e];
}

GLTarget GLDevice::acquirePassTarget(int width, int height, iGPUImage::eFormat format) {
    for (PassTarget& p : m_passTargets) {
        if (!p.busy && p.width == width && p.height == height && p.format == format) {
            p.busy = true;
            return p.target;
        }
    }
    const GLFormat* f = glFormat(format);
    if (!f) return {};
    GLTarget t;
    t.texture = createTexture2D(width, height, *f);
    if (t.texture) t.framebuffer = createFramebuffer(t.texture);
    if (!t.framebuffer) {
        deleteTarget(t);
        return {};
    }
    m_passTargets.push_back({width, height, format, t, true});
    return t;
}

void GLDevice::releasePassTarget(GLuint texture) {
    for (PassTarget& p : m_passTargets)
        if (p.target.texture == texture) p.busy = false;
}

void GLDevice::dropPassTargets() {
    std::erase_if(m_passTargets, [](const PassTarget& p) {
        if (p.busy) return false;
        deleteTarget(p.target);
        return true;
    });
}

GLuint GLDevice::primeFramebuffer() {
    if (!m_prime.framebuffer) {
        deleteTarget(m_prime);
        m_prime = {};
        m_prime.texture = createTexture2D(4, 4, *glFormat(iGPUImage::eRGBA8));
        if (m_prime.texture) m_prime.framebuffer = createFramebuffer(m_prime.texture);
    }
    return m_prime.framebuffer;
}

GLuint GLDevice::dummyTexture(bool is3D) {
    GLuint& t = is3D ? m_dummy3D : m_dummy2D;
    if (!t) {
        const GLFormat& f = *glFormat(iGPUImage::eRGBA8);
        t = is3D ? createTexture3D(1, 1, 1, f) : createTexture2D(1, 1, f);
    }
    return t;
}
