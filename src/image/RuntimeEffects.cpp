#include "image/RuntimeEffects.h"

#include "host/os/OS.h"
#include "manager/Manager.h"

namespace Qf::Image::detail {

ShaderInputBinding spanBinding(const char* name, const Ptr<iGPUImage>& image, float left, float right) {
    ShaderInputBinding b;
    b.name = name;
    b.image = image;
    b.corners[0] = {left, 0};
    b.corners[1] = {right, 0};
    b.corners[2] = {left, 1};
    b.corners[3] = {right, 1};
    return b;
}

bool isRGBASurface(const Surface& s) {
    const Format f = s.getDataFormat();
    return f == Format::eRGBA || f == Format::eRGBAHalf || f == Format::eRGBAFloat;
}

bool setFloatParam(iShaderEffect& effect, const char* name, float value) {
    const Ptr<iShaderParam> p = effect.getParam(LightweightString<char>(name));
    return p && p->setFloat(value);
}

bool setFloat3Param(iShaderEffect& effect, const char* name, const float* xyz) {
    const Ptr<iShaderParam> p = effect.getParam(LightweightString<char>(name));
    return p && p->setFloat3(xyz);
}

bool setFloat4Param(iShaderEffect& effect, const char* name, const float* xyzw) {
    const Ptr<iShaderParam> p = effect.getParam(LightweightString<char>(name));
    return p && p->setFloat4(xyzw);
}

DrawTarget drawTargetFor(const Surface& destination, XY<int> size, iGPUImage::eFormat format, const Ptr<iGPUImage>& avoid) {
    const Ptr<iGPUImage> own = destination.getGPUSurface();
    if (own && isRGBASurface(destination) && own != avoid && !own->is3D() && own->getSize() == size && own->getFormat() == format)
        return {own, true};
    iGPUService* gpu = OS() ? OS()->gpu() : nullptr;
    return {gpu ? gpu->createImage(size, format) : Ptr<iGPUImage>(), false};
}

void adoptDrawTarget(Surface& destination, const DrawTarget& target) {
    if (!target.reused) destination = Surface::forGPUImage(target.image);
}

Ptr<iShaderEffect> runtimeShader(const char* name, const std::vector<LightweightString<char>>& lines) {
    Qf::FxResources::Manager& manager = Qf::FxResources::Manager::instance();
    if (Ptr<iShaderEffect> shader = manager.findShader(name)) return shader;
    return manager.createShaderFromCode(name, lines);
}

} // namespace Qf::Image::detail
