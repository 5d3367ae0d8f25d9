#include "image/GPUPass.h"

#include "host/base/Strings.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "host/os/OS.h"
#include "manager/Manager.h"

namespace Qf::Image {

using Text = LightweightString<char>;
using Manager = Qf::FxResources::Manager;

namespace {

template <typename... F>
struct Overloaded : F... {
    using F::operator()...;
};
template <typename... F>
Overloaded(F...) -> Overloaded<F...>; // clang before 17 deduces no aggregate

ShaderInputBinding withCorners(const char* name, const Ptr<iGPUImage>& image, float u0, float u1, float v0, float v1) {
    return {name, image, {{u0, v0}, {u1, v0}, {u0, v1}, {u1, v1}}};
}

// "a\nb" -> {"a", "b"}: effect text as the manager compiles it, a line at a time.
std::vector<Text> linesOf(std::string_view code) {
    std::vector<Text> lines;
    for (size_t end; !code.empty(); code.remove_prefix(std::min(end + 1, code.size()))) {
        end = std::min(code.find('\n'), code.size());
        lines.emplace_back(std::string(code.substr(0, end)).c_str());
    }
    return lines;
}

CriticalSection& usageLock() { return Manager::instance().getShaderUsageLock(); }

} // namespace

bool writeParam(iShaderEffect& effect, const char* name, const ParamValue& value) {
    const Ptr<iShaderParam> p = effect.getParam(Text(name));
    return p &&
           std::visit(Overloaded{[&](float v) { return p->setFloat(v); }, [&](int v) { return p->setInt(v); },
                                 [&](bool v) { return p->setBool(v); }, [&](const Float3& v) { return p->setFloat3(v.data()); },
                                 [&](const Float4& v) { return p->setFloat4(v.data()); },
                                 [&](const Matrix3x3& v) { return p->setMatrix3x3(v.data()); }},
                      value);
}

ShaderInputBinding spanBinding(const char* name, const Ptr<iGPUImage>& image, float left, float right) {
    return withCorners(name, image, left, right, 0, 1);
}

ShaderInputBinding placedBinding(const char* name, const Ptr<iGPUImage>& image, XY<int> targetSize, XY<int> at) {
    const float h = float(image->getSize().y);
    return withCorners(name, image, float(-at.x), float(targetSize.x - at.x), float(-at.y) / h, float(targetSize.y - at.y) / h);
}

bool isRGBASurface(const Surface& s) {
    const Format f = s.getDataFormat();
    return f == Format::eRGBA || f == Format::eRGBAHalf || f == Format::eRGBAFloat;
}

GPUPass::GPUPass(const Text& name) : m_hold(usageLock()), m_name("\"" + name.str() + "\"") {
    const Ptr<ShaderEffectInfo> info = Manager::instance().findEffect(name, false);
    m_effect = info ? info->getShader() : nullptr;
    if (!info) fail("the effect " + m_name + " is not in " + toUTF8(getShadersDir()).str());
    if (!m_effect) fail("the effect " + m_name + " does not compile");
}

GPUPass::GPUPass(const char* name, std::string_view code) : m_hold(usageLock()), m_name("\"" + std::string(name) + "\"") {
    m_effect = Manager::instance().findShader(name);
    if (!m_effect) m_effect = Manager::instance().createShaderFromCode(name, linesOf(code));
    if (!m_effect) fail("the run-time effect " + m_name + " does not compile");
}

GPUPass::GPUPass(Ptr<iShaderEffect> effect, std::string what)
    : m_hold(usageLock()), m_effect(std::move(effect)), m_name(std::move(what)) {
    if (!m_effect) fail("there is no effect " + m_name);
}

GPUPass& GPUPass::fail(std::string reason) {
    if (!m_failure) m_failure = std::move(reason);
    return *this;
}

GPUPass& GPUPass::require(bool condition, std::string_view reason) { return condition ? *this : fail(std::string(reason)); }

Ptr<iGPUImage> GPUPass::input(const Surface& source) {
    require(bool(source.getGPUSurface()), "the source has no GPU image");
    return source.getGPUSurface();
}

GPUPass& GPUPass::set(const char* name, const ParamValue& value) {
    return !effect() || writeParam(*m_effect, name, value) ? *this : fail("the effect " + m_name + " takes no such " + name);
}

GPUPass& GPUPass::setIfDeclared(const char* name, const ParamValue& value) {
    return effect() && m_effect->getParam(Text(name)) ? set(name, value) : *this;
}

GPUPass& GPUPass::technique(uint16_t index) {
    return !effect() || m_effect->setTechnique(index)
               ? *this
               : fail("the effect " + m_name + " has no technique " + std::to_string(index));
}

GPUPass& GPUPass::sampler(const char* input, iShaderEffectBase::eScalingMethod scaling, iShaderEffectBase::eEdgeReadMode edge) {
    return !effect() || m_effect->setSamplerState(input, scaling, edge) ? *this
                                                                        : fail("the effect " + m_name + " has no input " + input);
}

Ptr<iGPUImage> GPUPass::target(Surface& destination, Target policy, XY<int> size, iGPUImage::eFormat format,
                               const Ptr<iGPUImage>& source) {
    if (m_failure) return nullptr;
    m_policy = policy;
    const Ptr<iGPUImage> own = destination.getGPUSurface();
    const bool flat = own && !own->is3D() && own != source && own->getSize() == size;
    if (policy == Target::eOwnOrNewLikeSource && source) size = source->getSize(), format = source->getFormat();
    const bool reuse = policy == Target::eDestination || policy == Target::eDestinationOrDescribed ? bool(own)
                       : policy == Target::eMatchingOrNew      ? flat && isRGBASurface(destination) && own->getFormat() == format
                       : policy == Target::eSameSizeOrNew      ? flat
                       : policy == Target::eOwnOrNewLikeSource ? own && own != source
                                                               : false;
    iGPUService* gpu = OS() ? OS()->gpu() : nullptr;
    if (reuse) return m_target = own;
    if (policy == Target::eDestination) return fail("the destination has no GPU image"), nullptr;
    if (!gpu) return fail("there is no GPU service"), nullptr;
    if (policy == Target::eDestinationOrDescribed)
        m_target = destination.isEmpty() ? nullptr : destination.createGPUSurface(*gpu);
    else if (size.x < 1 || size.y < 1 || size.x > gpu->maxImageSide() || size.y > gpu->maxImageSide())
        fail("the size " + std::to_string(size.x) + "x" + std::to_string(size.y) + " is outside the GPU's limits");
    else
        m_target = gpu->createImage(size, format);
    if (!m_target) fail("no GPU image could be made for the result");
    return m_target;
}

GPUPass& GPUPass::drawInto(const Ptr<iGPUImage>& image, const std::vector<ShaderInputBinding>& inputs) {
    if (effect() && !m_effect->draw(image, inputs, 0)) return fail("the effect " + m_name + " did not draw");
    m_drawn = m_drawn || effect();
    return *this;
}

GPUPass::Failure GPUPass::finish(const Surface& source, Surface& destination, Metadata metadata) {
    if (require(m_drawn, "nothing was drawn").m_failure) return m_failure;
    if (m_target != destination.getGPUSurface()) {
        Surface described = m_policy == Target::eOwnOrNewLikeSource ? source
                            : m_policy == Target::eNew              ? destination
                                                                    : Surface::forGPUImage(m_target);
        described.setGPUSurface(m_target);
        destination = described;
    }
    const Data::Video kept = destination.getVideoData();
    if (metadata != Metadata::eUnchanged)
        destination.copyMetadataFrom(metadata == Metadata::eFullRangeDefaults ? Surface() : source);
    Data::Video video = destination.getVideoData();
    if (metadata == Metadata::eFromSourceKeepingColour) video.colourimetry = kept.colourimetry, video.range = kept.range;
    if (metadata == Metadata::eFullRangeDefaults) video.range = Data::Video::eFullRange;
    destination.setVideoData(video);
    return {};
}

bool report(const char* owner, const GPUPass::Failure& failure) {
    if (failure) Log("%s : %s\n", owner, failure->c_str());
    return !failure;
}

bool drawOverRGBA(const char* owner, GPUPass& pass, const Surface& sourceSurface, Surface& destination,
                  std::optional<XY<int>> size, std::optional<iGPUImage::eFormat> format) {
    const Surface source = sourceSurface; // the source may be the destination itself
    const Ptr<iGPUImage> input = pass.input(source);
    pass.require(isRGBASurface(source) && !(input && input->is3D()), "the source is not an RGBA surface");
    if (input)
        pass.target(destination, Target::eMatchingOrNew, size.value_or(input->getSize()), format.value_or(input->getFormat()),
                    input);
    pass.draw({ShaderInputBinding::whole("Input", input)});
    return report(owner, pass.finish(source, destination, Metadata::eFromSource));
}

} // namespace Qf::Image
