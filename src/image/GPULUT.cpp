// Qf::Image::GPU::applyLUT: a 3D LUT applied on the GPU by the effect
// "ApplyCubeLUT" (resources/shaders/ApplyCubeLUT.fx).
#include "image/GPU.h"

#include "host/base/CriticalSection.h"
#include "host/os/OS.h"
#include "image/RuntimeEffects.h"
#include "manager/Manager.h"

namespace Qf::Image {

using detail::isRGBASurface;

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
    // A shaper's three curves must fit in the table's texels.
    const size_t side = size_t(lut->getSize().x);
    if (mapping.shaperSize < 0 || mapping.shaperSize == 1 || size_t(mapping.shaperSize) * 3 > side * side * side) return false;

    Ptr<iGPUImage> target = destination.getGPUSurface();
    const bool reuse = target && !target->is3D() && target->getSize() == input->getSize() && target != input;
    if (!reuse) target = gpu->createImage(input->getSize(), input->getFormat());
    if (!target) return false;

    // The effect is shared: its parameters are set and it draws under the
    // manager's shader-usage lock, as every shared effect is.
    Qf::FxResources::Manager& manager = Qf::FxResources::Manager::instance();
    CriticalSectionLock hold(manager.getShaderUsageLock());
    const Ptr<iShaderEffect> effect = manager.findShader("ApplyCubeLUT");
    if (!effect) return false;
    const bool set = detail::setFloatParam(*effect, "LutSize", float(lut->getSize().x)) &&
                     detail::setFloat3Param(*effect, "InScale", mapping.inScale.data()) &&
                     detail::setFloat3Param(*effect, "InOffset", mapping.inOffset.data()) &&
                     detail::setFloatParam(*effect, "OutScale", mapping.outScale) &&
                     detail::setFloatParam(*effect, "OutOffset", mapping.outOffset) &&
                     detail::setFloatParam(*effect, "ShaperSize", float(mapping.shaperSize)) &&
                     detail::setFloat3Param(*effect, "LatticeScale", mapping.latticeScale.data()) &&
                     detail::setFloat3Param(*effect, "LatticeOffset", mapping.latticeOffset.data()) &&
                     effect->setTechnique(uint16_t(interpolation));
    if (!set) return false;
    if (!effect->draw(target, {ShaderInputBinding::whole("Input", input), ShaderInputBinding::whole("Lut", lut)})) return false;

    if (!reuse) destination = Surface::forGPUImage(target);
    destination.copyMetadataFrom(source);
    return true;
}

} // namespace Qf::Image
