#include "platform/gl/GLService.h"

#include "host/Paths.h"
#include "host/Strings.h"
#include "host/TextFile.h"
#include "platform/gl/GLImage.h"
#include "platform/gl/GLProgram.h"
#include "platform/gl/GLShaderEffect.h"

namespace {

std::string joinLines(const TextFile& file) {
    std::string text;
    for (const LightweightString<char>& line : file.lines()) {
        text += line.view();
        text += '\n';
    }
    return text;
}

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

ShaderCompilationOutput GLService::compileEffectFile(const LightweightString<wchar_t>& path, const ShaderDefinitions& definitions) {
    const TextFile file(path);
    if (!file.loaded()) return failure("Cannot read the effect file " + toUTF8(path));
    return compileEffectText(LightweightString<char>(joinLines(file)), definitions);
}

ShaderCompilationOutput GLService::compileEffectText(const LightweightString<char>& text, const ShaderDefinitions& definitions) {
    const LightweightString<wchar_t> utilsPath = getShadersDir() + L"_utils.glsl";
    const TextFile utils(utilsPath);
    if (!utils.loaded()) return failure("Cannot read the shader helpers " + toUTF8(utilsPath));
    const std::string source = assembleFragmentSource(joinLines(utils), text.view());

    return device_->run([&] {
        ShaderCompilationOutput out;
        GLProgramBuild build = buildProgram(device_->vertexShader(), source);
        if (!build.program) {
            out.errors = std::move(build.errors);
            return out;
        }
        Ptr<GLShaderEffect> effect = GLShaderEffect::create(device_, std::move(build), definitions, out.errors);
        if (effect) {
            effect->prime();
            out.shader = effect;
        }
        return out;
    });
}

Ptr<iGPUImage> GLService::createImage(XY<int> size, iGPUImage::eFormat format) {
    return GLImage::create(device_, size.x, size.y, 1, false, format);
}

Ptr<iGPUImage> GLService::create3DImage(int width, int height, int depth, iGPUImage::eFormat format) {
    return GLImage::create(device_, width, height, depth, true, format);
}

void GLService::releaseGPUResources() {
    device_->run([&] { device_->dropPassTargets(); });
}

void GLService::finish() {
    device_->run([] { glFinish(); });
}
