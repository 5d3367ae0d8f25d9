// GLService: the GPU service (iGPUService) on OpenGL 4.5 core through EGL.
//
// It compiles effects as GLSL (shading language 1), makes images, and owns a
// reference to the device, whose context lock serialises every OpenGL call
// (see GLContextLock). Effects and
// images made here keep that device alive on their own, so they may outlive
// the service.
//
// A compile reads _utils.glsl from the shaders directory each time (so an
// edited file is picked up), builds and links the program under the context lock
// and then primes it with a tiny draw: the driver does most of its compiling
// at a program's first draw, and a background compile should carry that cost
// rather than the first real use. A compile therefore holds up other GPU work
// for the length of one compile.
//
// All operations may be called from any thread.
#pragma once

#include "host/os/OS.h"
#include "platform/gl/GLDevice.h"

#include <memory>
#include <string>

class GLService : public iGPUService {
public:
    // Null, with `error` telling why, when EGL or OpenGL 4.5 cannot start.
    static std::unique_ptr<GLService> create(std::string& error);

    eShadingLanguage getShadingLanguage() const override { return eShadingLanguageGLSL; }
    ShaderCompilationOutput compileEffectFile(const LightweightString<wchar_t>& path,
                                              const ShaderDefinitions& definitions) override;
    ShaderCompilationOutput compileEffectText(const LightweightString<char>& text, const ShaderDefinitions& definitions) override;
    Ptr<iGPUImage> createImage(XY<int> size, iGPUImage::eFormat format) override;
    Ptr<iGPUImage> create3DImage(int width, int height, int depth, iGPUImage::eFormat format) override;
    // Frees the intermediate pass textures kept for multi-pass effects.
    void releaseGPUResources() override;
    void finish() override;
    int maxImageSide() const override;
    // FreeType fonts through fontconfig (platform/fonts/); their atlases are images of this service.
    Ptr<iFont> createFont(const LightweightString<wchar_t>& faceName, int pixelSize, int style) override;
    // GL_TIME_ELAPSED queries (GLTimer).
    Ptr<iGPUTimer> createTimer() override;

    // Which display and renderer the context runs on.
    const std::string& description() const { return m_device->description(); }
    const Ptr<GLDevice>& device() const { return m_device; }

private:
    explicit GLService(const Ptr<GLDevice>& device) : m_device(device) {}
    Ptr<GLDevice> m_device;
};
