// EglContext: a headless OpenGL 4.5 core context through EGL.
//
// The display is chosen in this order: a hardware device of
// EGL_EXT_platform_device (a GPU), Mesa's surfaceless platform (llvmpipe when
// there is no GPU), a software device, then the default display. The context
// has no window: it renders into framebuffer objects only, and is made
// current without a surface where EGL_KHR_surfaceless_context allows it, or
// with a 1x1 pbuffer otherwise.
//
// The display is never terminated: EGL keeps one display object per platform
// and native display in the process, and terminating it would break every
// other context on it (another service, or bare OpenGL in a benchmark).
//
// Ownership and threads: the object owns its context and the pbuffer, if
// any. The context is current on no thread between uses: makeCurrent() makes
// it current on the calling thread and restore() puts back what that thread
// had before. Callers serialise these (GLContextLock); the destructor needs
// the context current nowhere.
#pragma once

#include <memory>
#include <string>

class EglContext {
public:
    // What a thread had current before makeCurrent().
    struct Saved {
        void* display;
        void* draw;
        void* read;
        void* context;
        unsigned api;
    };

    // Null, with `error` telling why, when no display gives a 4.5 core context.
    static std::unique_ptr<EglContext> create(std::string& error);
    ~EglContext();
    EglContext(const EglContext&) = delete;
    EglContext& operator=(const EglContext&) = delete;

    Saved makeCurrent();
    void restore(const Saved& saved);

    // "<which display>: <GL_RENDERER>, OpenGL <GL_VERSION>".
    const std::string& description() const { return m_description; }

private:
    EglContext() = default;

    void* m_display = nullptr; // EGLDisplay
    void* m_context = nullptr; // EGLContext
    void* m_surface = nullptr; // EGLSurface, null when surfaceless
    std::string m_description;
};
