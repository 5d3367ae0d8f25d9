// Qf::Image::GPU::applyLUT: a 3D LUT applied on the GPU by the effect
// "ApplyCubeLUT" (resources/shaders/ApplyCubeLUT.fx).
#include "image/GPU.h"

#include "image/GPUPass.h"

namespace Qf::Image {

bool GPU::applyLUT(const Surface& sourceSurface, Surface& destination, const Ptr<iGPUImage>& lut, const LUTMapping& mapping,
                   eLUTInterpolation interpolation) {
    const Surface source = sourceSurface; // the source may be the destination itself
    if (!lut || !lut->is3D() || lut->getSize().x < 2 || lut->getSize().x != lut->getSize().y ||
        lut->getSize().x != lut->getDepth())
        return report("GPU::applyLUT", "the LUT is not a cube-shaped 3D image of at least 2 a side");
    if (interpolation != eTrilinear && interpolation != eTetrahedral)
        return report("GPU::applyLUT", "there is no such interpolation");
    // A shaper's three curves must fit in the table's texels.
    const size_t side = size_t(lut->getSize().x);
    if (mapping.shaperSize < 0 || mapping.shaperSize == 1 || size_t(mapping.shaperSize) * 3 > side * side * side)
        return report("GPU::applyLUT", "the shaper does not fit in the table");
    GPUPass pass(LightweightString<char>("ApplyCubeLUT"));
    const Ptr<iGPUImage> input = pass.input(source);
    pass.require(isRGBASurface(source) && !(input && input->is3D()), "the source is not an RGBA surface");
    if (input) pass.target(destination, Target::eSameSizeOrNew, input->getSize(), input->getFormat(), input);
    pass.set("LutSize", float(lut->getSize().x))
        .set("InScale", mapping.inScale)
        .set("InOffset", mapping.inOffset)
        .set("OutScale", mapping.outScale)
        .set("OutOffset", mapping.outOffset)
        .set("ShaperSize", float(mapping.shaperSize))
        .set("LatticeScale", mapping.latticeScale)
        .set("LatticeOffset", mapping.latticeOffset)
        .technique(uint16_t(interpolation))
        .draw({ShaderInputBinding::whole("Input", input), ShaderInputBinding::whole("Lut", lut)});
    return report("GPU::applyLUT", pass.finish(source, destination, Metadata::eFromSource));
}

} // namespace Qf::Image
