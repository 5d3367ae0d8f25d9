// Qf::Image::GPU::applyLUT: a 3D LUT applied on the GPU by the effect
// "ApplyCubeLUT" (resources/shaders/ApplyCubeLUT.fx).
#include "image/GPU.h"

#include "effects/ShaderEffectInfo.h"
#include "host/CriticalSection.h"
#include "host/Log.h"
#include "host/OS.h"
#include "host/Paths.h"
#include "host/Strings.h"

namespace Qf::Image {

namespace {

// Held while the shared effect's parameters are set and it draws.
CriticalSection g_lutEffectLock;

// The compiled effect, kept per GPU service and shaders directory (tests
// switch both). Until the effect manager finds effects by name, it is
// compiled here from the shaders directory on first use.
Ptr<iShaderEffect> lutEffect(iGPUService& gpu) {
    static iGPUService* s_gpu = nullptr;
    static LightweightString<wchar_t> s_path;
    static Ptr<iShaderEffect> s_effect;
    const LightweightString<wchar_t> path = joinPaths(getShadersDir(), L"ApplyCubeLUT.fx");
    if (s_effect && s_gpu == &gpu && s_path == path) return s_effect;
    const Ptr<ShaderEffectInfo> info = makePtr<ShaderEffectInfo>(path, 0);
    const ShaderCompilationOutput out = info->compile();
    if (!out.shader) {
        Log("Qf::Image::GPU : cannot compile %s\n", toUTF8(path).c_str());
        for (const ShaderError& e : out.errors) Log("   %s\n", e.message.c_str());
        return nullptr;
    }
    s_gpu = &gpu;
    s_path = path;
    s_effect = out.shader;
    return s_effect;
}

bool isRGBASurface(const Surface& s) {
    const Format f = s.getDataFormat();
    return f == Format::eRGBA || f == Format::eRGBAHalf || f == Format::eRGBAFloat;
}

bool setFloat(iShaderEffect& effect, const char* name, float value) {
    const Ptr<iShaderParam> p = effect.getParam(LightweightString<char>(name));
    return p && p->setFloat(value);
}

bool setFloat3(iShaderEffect& effect, const char* name, const std::array<float, 3>& value) {
    const Ptr<iShaderParam> p = effect.getParam(LightweightString<char>(name));
    return p && p->setFloat3(value.data());
}

} // namespace

bool GPU::applyLUT(const Surface& sourceSurface, Surface& destination, const Ptr<iGPUImage>& lut, const LUTMapping& mapping,
                   eLUTInterpolation interpolation) {
    // A shallow copy: the source may be the destination itself.
    const Surface source = sourceSurface;
    iGPUService* gpu = OS()->gpu();
    const Ptr<iGPUImage> input = source.getGPUSurface();
    if (!gpu || !input || input->is3D() || !isRGBASurface(source)) return false;
    if (!lut || !lut->is3D() || lut->getSize().x < 2 || lut->getSize().x != lut->getSize().y ||
        lut->getSize().x != lut->getDepth())
        return false;
    if (interpolation != eTrilinear && interpolation != eTetrahedral) return false;

    Ptr<iGPUImage> target = destination.getGPUSurface();
    const bool reuse = target && !target->is3D() && target->getSize() == input->getSize() && target != input;
    if (!reuse) target = gpu->createImage(input->getSize(), input->getFormat());
    if (!target) return false;

    CriticalSectionLock hold(g_lutEffectLock);
    const Ptr<iShaderEffect> effect = lutEffect(*gpu);
    if (!effect) return false;
    const bool set = setFloat(*effect, "LutSize", float(lut->getSize().x)) && setFloat3(*effect, "InScale", mapping.inScale) &&
                     setFloat3(*effect, "InOffset", mapping.inOffset) && setFloat(*effect, "OutScale", mapping.outScale) &&
                     setFloat(*effect, "OutOffset", mapping.outOffset) && effect->setTechnique(uint16_t(interpolation));
    if (!set) return false;
    if (!effect->draw(target, {ShaderInputBinding::whole("Input", input), ShaderInputBinding::whole("Lut", lut)})) return false;

    if (!reuse) destination = Surface::forGPUImage(target);
    destination.copyMetadataFrom(source);
    return true;
}

} // namespace Qf::Image
