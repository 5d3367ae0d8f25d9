// GLDevice: the OpenGL context of the GPU service, the lock it is used under, and the GL
// objects that every effect and image shares.
//
// Ownership: a GLDevice is shared (Ptr) by the service and by every image and
// effect made through it, so it lives until the last of them is gone; its
// destructor runs the releases still pending, frees the shared objects and
// destroys the context.
//
// Threads: run() and post() may be called from any thread (see
// GLContextLock). Members marked "under the lock" are touched only inside
// run() or post() jobs. The limits and description are written before
// create() returns and only read afterwards.
#pragma once

#include "host/base/Ptr.h"
#include "host/os/GPUImage.h"
#include "host/os/ShaderEffect.h"
#include "platform/gl/GLContextLock.h"
#include "platform/gl/GLFormats.h"

#include <memory>
#include <string>
#include <vector>

class GLDevice : public iObject {
public:
    // Null, with `error` telling why, when no OpenGL 4.5 core context can be made.
    static Ptr<GLDevice> create(std::string& error);
    ~GLDevice() override;

    template <typename F>
    auto run(F&& f) {
        return m_lock->run(std::forward<F>(f));
    }

    void post(std::function<void()> job) { m_lock->post(std::move(job)); }
    // Whether the calling thread holds the context lock now.
    bool isHeldHere() const { return m_lock->isHeldHere(); }

    const std::string& description() const { return m_description; }
    int maxTextureSize() const { return m_maxTextureSize; }
    int max3DTextureSize() const { return m_max3DTextureSize; }

    // --- under the lock ---
    // The vertex stage that every effect program is linked with: a quad over
    // the whole target, passing uv0 and the bindings' corners as uv1..uv8.
    GLuint vertexShader() const { return m_vertexShader; }
    // Sampler objects for each filter and edge mode (Border is transparent black).
    GLuint sampler(iShaderEffectBase::eScalingMethod scaling, iShaderEffectBase::eEdgeReadMode edge) const;
    // Render targets for the intermediate passes of multi-pass effects, kept
    // for reuse; acquire and release within one job.
    GLTarget acquirePassTarget(int width, int height, iGPUImage::eFormat format);
    void releasePassTarget(GLuint texture);
    // Frees the pass targets that are not in use.
    void dropPassTargets();
    // A small RGBA8 target and 1-texel textures for the priming draw of a new program.
    GLuint primeFramebuffer();
    GLuint dummyTexture(bool is3D);

private:
    GLDevice() = default;
    bool start(std::string& error);
    // Frees the shared GL objects; the destructor runs it under the lock.
    void tearDown();

    struct PassTarget {
        int width, height;
        iGPUImage::eFormat format;
        GLTarget target;
        bool busy;
    };

    std::unique_ptr<GLContextLock> m_lock;
    std::string m_description;
    int m_maxTextureSize = 0;
    int m_max3DTextureSize = 0;

    GLuint m_vertexShader = 0;
    GLuint m_vertexArray = 0;
    GLuint m_samplers[2][4] = {};
    std::vector<PassTarget> m_passTargets;
    GLTarget m_prime;
    GLuint m_dummy2D = 0;
    GLuint m_dummy3D = 0;
};
