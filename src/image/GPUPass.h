// Qf::Image::GPUPass: one pass of one effect, the way every image operation
// draws (internal to src/image/).
//
// A pass finds its effect (a file effect by name through the effect manager,
// or a run-time effect compiled from text at its first use and filed under
// its name), writes its parameters, chooses the image to draw into by a
// Target policy, draws, and gives the destination surface that image and its
// metadata by a Metadata policy. Effects are shared objects of the manager,
// so their parameters are global state: a pass holds the manager's
// shader-usage lock (recursive) from construction to destruction.
//
// Failure is a value that sticks: the first step that fails records why, and
// every later step does nothing. The public operations log the reason
// (report()) and return false.
#pragma once

#include "host/base/CriticalSection.h"
#include "host/image/Surface.h"
#include "host/os/ShaderEffect.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Qf::Image {

// A parameter value as the GPU service takes it: Float4 is also a colour
// (RGBAf), Matrix3x3 nine floats, rows in order.
using Float3 = std::array<float, 3>;
using Float4 = std::array<float, 4>;
using Matrix3x3 = std::array<float, 9>;
using ParamValue = std::variant<float, int, bool, Float3, Float4, Matrix3x3>;

// False when the effect has no parameter `name` or the value does not fit its type.
bool writeParam(iShaderEffect& effect, const char* name, const ParamValue& value);

// Bindings (the whole image is ShaderInputBinding::whole). A span: u from
// `left` to `right` texels across the target, v over the whole image. Placed:
// texel (0, 0) of `image` on pixel `at` of a `targetSize` target, one texel a pixel.
ShaderInputBinding spanBinding(const char* name, const Ptr<iGPUImage>& image, float left, float right);
ShaderInputBinding placedBinding(const char* name, const Ptr<iGPUImage>& image, XY<int> targetSize, XY<int> at);

// An "RGBA" (8 or 16 bits), "RGBh" or "RGBf" surface: one pixel in one RGBA texel.
bool isRGBASurface(const Surface& surface);

// Where a pass draws, given the pass's size and format and the image it reads
// (the source's). "Own" is the destination's GPU image; a new image of a size
// outside 1 to the GPU's largest side fails.
enum class Target {
    eDestination,            // own; none is a failure
    eDestinationOrDescribed, // own, or a new one of the destination's described layout, attached to it
    eMatchingOrNew,          // own when the destination is an RGBA surface and own is 2D, of the size and format and not
                             // the source's; otherwise a new image, and the destination becomes its description
    eSameSizeOrNew,          // as eMatchingOrNew, but own may have any format and the destination any description
    eOwnOrNewLikeSource,     // own unless none or the source's; otherwise a new one like the source's, and the
                             // destination becomes the source's description of it
    eNew,                    // a new image, which the destination takes under its own description
};

// What the destination's metadata (Data::Video and Data::VideoSample) become.
enum class Metadata {
    eUnchanged,
    eFromSource,
    eFromSourceKeepingColour, // from the source, but the destination keeps its colourimetry and range
    eFullRangeDefaults,       // the defaults, with full range
};

class GPUPass {
public:
    using Failure = std::optional<std::string>;

    // The effect `name` of the manager (an effect file), compiled now when need be.
    explicit GPUPass(const LightweightString<char>& name);
    // The run-time effect `name` ("_..."): the one filed under that name, or
    // `code` (lines separated by '\n') compiled and filed under it now.
    GPUPass(const char* name, std::string_view code);
    // An effect the caller holds; `what` names it in failures.
    GPUPass(Ptr<iShaderEffect> effect, std::string what);
    GPUPass(const GPUPass&) = delete;
    GPUPass& operator=(const GPUPass&) = delete;

    GPUPass& require(bool condition, std::string_view reason);
    // The source's GPU image; the pass fails when there is none.
    Ptr<iGPUImage> input(const Surface& source);

    // set() fails when the effect lacks the parameter; setIfDeclared() then skips it.
    GPUPass& set(const char* name, const ParamValue& value);
    GPUPass& setIfDeclared(const char* name, const ParamValue& value);
    GPUPass& technique(uint16_t index);
    GPUPass& sampler(const char* input, iShaderEffectBase::eScalingMethod scaling, iShaderEffectBase::eEdgeReadMode edge);
    // For writers that take an effect (the coefficient setters); null once failed.
    Ptr<iShaderEffect> effect() const { return m_failure ? nullptr : m_effect; }

    // Chooses the image that draw() renders into; null (and failed) when none.
    Ptr<iGPUImage> target(Surface& destination, Target policy, XY<int> size = {}, iGPUImage::eFormat format = iGPUImage::eRGBA8,
                          const Ptr<iGPUImage>& source = {});
    GPUPass& draw(const std::vector<ShaderInputBinding>& inputs) { return drawInto(m_target, inputs); }
    GPUPass& drawInto(const Ptr<iGPUImage>& image, const std::vector<ShaderInputBinding>& inputs);
    // After the draw, the destination takes the target and the metadata as
    // the policies say; on failure it is not changed here.
    Failure finish(const Surface& source, Surface& destination, Metadata metadata);
    const Failure& failure() const { return m_failure; }

private:
    GPUPass& fail(std::string reason);

    CriticalSectionLock m_hold; // first: taken before the effect is looked up
    Ptr<iShaderEffect> m_effect;
    std::string m_name;
    Failure m_failure;
    Ptr<iGPUImage> m_target;
    Target m_policy = Target::eDestination;
    bool m_drawn = false;
};

// Logs "OWNER : REASON" through the library's log; true when there is no failure.
bool report(const char* owner, const GPUPass::Failure& failure);

// The GPU operations' common pass: the source (a 2D RGBA surface) bound whole
// as "Input", a result of `size` in `format` (the source image's by default)
// by Target::eMatchingOrNew, metadata from the source, failures reported.
bool drawOverRGBA(const char* owner, GPUPass& pass, const Surface& source, Surface& destination, std::optional<XY<int>> size = {},
                  std::optional<iGPUImage::eFormat> format = {});

} // namespace Qf::Image
