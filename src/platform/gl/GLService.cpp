#include "platform/gl/GLService.h"

#include "host/base/Strings.h"
#include "host/misc/Paths.h"
#include "host/own/Files.h"
#include "host/own/ShaderContract.h"
#include "platform/fonts/FreeTypeFont.h"
#include "platform/gl/GLImage.h"
#include "platform/gl/GLProgram.h"
#include "platform/gl/GLShaderEffect.h"
#include "platform/gl/GLTimer.h"
#include "platform/posix/LargeStack.h"

namespace {

ShaderCompilationOutput failure(const LightweightString<char>& message) {
    ShaderCompilationOutput out;
    out.errors.push_back({message, 0});
    return out;
}

} // namespace

std::unique_ptr<GLService> GLService::create(std::string& error) {
    Ptr<GLDevice> device = GLDevice::create(error);
    if (!device) return nullptr;
    return std::unique_ptr<GLService>(new GLService(device));
}

ShaderCompilationOutput GLService::compileEffectFile(const LightweightString<wchar_t>& path,
                                                     const ShaderDefinitions& definitions) {
    std::string text, error;
    if (!Files::readWholeFile(path, Files::kMaxTextFileBytes, text, error))
        return failure("Cannot read the effect file " + error);
    return compileEffectText(LightweightString<char>(text), definitions);
}

ShaderCompilationOutput GLService::compileEffectText(const LightweightString<char>& text, const ShaderDefinitions& definitions) {
    std::string utils, error;
    if (!Files::readWholeFile(getShadersDir() + fromUTF8(ShaderContract::kGLSLUtilsFile), Files::kMaxTextFileBytes, utils, error))
        return failure("Cannot read the shader helpers " + error);
    const std::string source = assembleFragmentSource(utils, text.view());

    // The driver's compiler (and its work at the priming draw) may recurse
    // deeply: it runs on a thread with a large stack. A caller that holds the
    // context already cannot hand it over, and compiles where it is.
    ShaderCompilationOutput out;
    auto compile = [&] {
        out = m_device->run([&] {
            ShaderCompilationOutput result;
            GLProgramBuild build = buildProgram(m_device->vertexShader(), source);
            if (!build.program) {
                result.errors = std::move(build.errors);
                return result;
            }
            Ptr<GLShaderEffect> effect = GLShaderEffect::create(m_device, std::move(build), definitions, result.errors);
            if (effect) {
                effect->prime();
                result.shader = effect;
            }
            return result;
        });
    };
    if (m_device->isHeldHere())
        compile();
    else
        runOnLargeStack(compile);
    return out;
}

Ptr<iGPUImage> GLService::createImage(XY<int> size, iGPUImage::eFormat format) {
    return GLImage::create(m_device, size.x, size.y, 1, false, format);
}

Ptr<iGPUImage> GLService::create3DImage(int width, int height, int depth, iGPUImage::eFormat format) {
    return GLImage::create(m_device, width, height, depth, true, format);
}

void GLService::releaseGPUResources() {
    m_device->run([&] { m_device->dropPassTargets(); });
}

int GLService::maxImageSide() const { return m_device->maxTextureSize(); }

void GLService::finish() {
    m_device->run([] { glFinish(); });
}

Ptr<iFont> GLService::createFont(const LightweightString<wchar_t>& faceName, int pixelSize, int style) {
    return FreeTypeFonts::create(*this, faceName, pixelSize, style);
}

Ptr<iGPUTimer> GLService::createTimer() { return Ptr<iGPUTimer>(new GLTimer(m_device)); }
