#include "platform/gl/EglContext.h"

#include "platform/gl/GLApi.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

namespace {

bool hasExtension(const char* list, std::string_view name) {
    if (!list) return false;
    std::string_view all(list);
    for (size_t at = all.find(name); at != std::string_view::npos; at = all.find(name, at + 1)) {
        const bool startsWord = at == 0 || all[at - 1] == ' ';
        const size_t end = at + name.size();
        if (startsWord && (end == all.size() || all[end] == ' ')) return true;
    }
    return false;
}

struct Candidate {
    EGLDisplay display;
    std::string name;
};

// Hardware devices first, then Mesa's surfaceless platform, then software
// devices, then the default display.
std::vector<Candidate> candidateDisplays() {
    const char* client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    std::vector<Candidate> hardware, software;
    if (hasExtension(client, "EGL_EXT_platform_device")) {
        auto queryDevices = reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
        auto deviceString = reinterpret_cast<PFNEGLQUERYDEVICESTRINGEXTPROC>(eglGetProcAddress("eglQueryDeviceStringEXT"));
        EGLint count = 0;
        if (queryDevices && queryDevices(0, nullptr, &count) && count > 0) {
            std::vector<EGLDeviceEXT> devices(size_t(count), nullptr);
            if (queryDevices(count, devices.data(), &count)) {
                for (EGLint i = 0; i < count; ++i) {
                    const char* ext = deviceString ? deviceString(devices[size_t(i)], EGL_EXTENSIONS) : nullptr;
                    const bool isSoftware = hasExtension(ext, "EGL_MESA_device_software");
                    EGLDisplay d = eglGetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[size_t(i)], nullptr);
                    if (d == EGL_NO_DISPLAY) continue;
                    (isSoftware ? software : hardware)
                        .push_back({d, (isSoftware ? "software EGL device " : "EGL device ") + std::to_string(i)});
                }
            }
        }
    }
    std::vector<Candidate> all = std::move(hardware);
    if (hasExtension(client, "EGL_MESA_platform_surfaceless")) {
        EGLDisplay d = eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (d != EGL_NO_DISPLAY) all.push_back({d, "EGL surfaceless"});
    }
    all.insert(all.end(), software.begin(), software.end());
    EGLDisplay d = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (d != EGL_NO_DISPLAY) all.push_back({d, "EGL default display"});
    return all;
}

std::string eglErrorText(const char* what) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%04X", unsigned(eglGetError()));
    return std::string(what) + " failed (EGL error " + code + ")";
}

} // namespace

// The context is made current on the calling thread to check its version,
// and released again before it is returned.
std::unique_ptr<EglContext> EglContext::create(std::string& error) {
    // Whatever the calling thread had current is put back at the end.
    struct Restore {
        EGLenum api = eglQueryAPI();
        EGLDisplay display = eglGetCurrentDisplay();
        EGLContext context = eglGetCurrentContext();
        EGLSurface draw = eglGetCurrentSurface(EGL_DRAW), read = eglGetCurrentSurface(EGL_READ);
        ~Restore() {
            if (context != EGL_NO_CONTEXT) eglMakeCurrent(display, draw, read, context);
            eglBindAPI(api);
        }
    } restoreCaller;
    std::vector<Candidate> candidates = candidateDisplays();
    if (candidates.empty()) {
        error = "no EGL display";
        return nullptr;
    }
    std::string reasons;
    for (const Candidate& c : candidates) {
        auto fail = [&](const std::string& why) {
            if (!reasons.empty()) reasons += "; ";
            reasons += c.name + ": " + why;
        };
        EGLint major = 0, minor = 0;
        if (!eglInitialize(c.display, &major, &minor)) {
            fail(eglErrorText("eglInitialize"));
            continue;
        }
        if (!eglBindAPI(EGL_OPENGL_API)) {
            fail(eglErrorText("eglBindAPI(OpenGL)"));
            continue;
        }
        const char* ext = eglQueryString(c.display, EGL_EXTENSIONS);
        const bool surfaceless = hasExtension(ext, "EGL_KHR_surfaceless_context");
        EGLConfig config = EGL_NO_CONFIG_KHR;
        if (!surfaceless || !hasExtension(ext, "EGL_KHR_no_config_context")) {
            const EGLint wanted[] = {EGL_RENDERABLE_TYPE,
                                     EGL_OPENGL_BIT,
                                     EGL_SURFACE_TYPE,
                                     surfaceless ? 0 : EGL_PBUFFER_BIT,
                                     EGL_RED_SIZE,
                                     8,
                                     EGL_GREEN_SIZE,
                                     8,
                                     EGL_BLUE_SIZE,
                                     8,
                                     EGL_ALPHA_SIZE,
                                     8,
                                     EGL_NONE};
            EGLint n = 0;
            if (!eglChooseConfig(c.display, wanted, &config, 1, &n) || n < 1) {
                fail("no OpenGL config");
                continue;
            }
        }
        const EGLint attributes[] = {
            EGL_CONTEXT_MAJOR_VERSION,           4,       EGL_CONTEXT_MINOR_VERSION, 5, EGL_CONTEXT_OPENGL_PROFILE_MASK,
            EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE};
        EGLContext context = eglCreateContext(c.display, config, EGL_NO_CONTEXT, attributes);
        if (context == EGL_NO_CONTEXT) {
            fail(eglErrorText("eglCreateContext(OpenGL 4.5 core)"));
            continue;
        }
        EGLSurface surface = EGL_NO_SURFACE;
        if (!surfaceless) {
            const EGLint size[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
            surface = eglCreatePbufferSurface(c.display, config, size);
            if (surface == EGL_NO_SURFACE) {
                fail(eglErrorText("eglCreatePbufferSurface"));
                eglDestroyContext(c.display, context);
                continue;
            }
        }
        if (!eglMakeCurrent(c.display, surface, surface, context)) {
            fail(eglErrorText("eglMakeCurrent"));
            if (surface != EGL_NO_SURFACE) eglDestroySurface(c.display, surface);
            eglDestroyContext(c.display, context);
            continue;
        }

        std::unique_ptr<EglContext> result(new EglContext);
        result->m_display = c.display;
        result->m_context = context;
        result->m_surface = surface;
        GLint glMajor = 0, glMinor = 0;
        glGetIntegerv(GL_MAJOR_VERSION, &glMajor);
        glGetIntegerv(GL_MINOR_VERSION, &glMinor);
        if (glMajor * 10 + glMinor < 45) {
            fail("OpenGL " + std::to_string(glMajor) + "." + std::to_string(glMinor) + " is older than 4.5");
            eglMakeCurrent(c.display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
            continue; // the destructor of `result` destroys the context
        }
        const char* renderer = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
        const char* version = reinterpret_cast<const char*>(glGetString(GL_VERSION));
        result->m_description = c.name + ": " + (renderer ? renderer : "?") + ", OpenGL " + (version ? version : "?");
        eglMakeCurrent(c.display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        return result;
    }
    error = reasons;
    return nullptr;
}

EglContext::~EglContext() {
    if (m_surface) eglDestroySurface(m_display, m_surface);
    eglDestroyContext(m_display, m_context);
}

// Releasing a context goes by the thread's current API, so the OpenGL API
// is bound while ours is current, and the thread's own API put back after.
EglContext::Saved EglContext::makeCurrent() {
    Saved saved;
    saved.api = eglQueryAPI();
    if (saved.api != EGL_OPENGL_API) eglBindAPI(EGL_OPENGL_API);
    saved.display = eglGetCurrentDisplay();
    saved.context = eglGetCurrentContext();
    saved.draw = eglGetCurrentSurface(EGL_DRAW);
    saved.read = eglGetCurrentSurface(EGL_READ);
    eglMakeCurrent(m_display, m_surface, m_surface, m_context);
    return saved;
}

void EglContext::restore(const Saved& saved) {
    if (saved.context != EGL_NO_CONTEXT && saved.context != m_context)
        eglMakeCurrent(saved.display, saved.draw, saved.read, saved.context);
    else
        eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (saved.api != EGL_OPENGL_API) eglBindAPI(saved.api);
}
