// GLShaderEffect: a compiled effect (iShaderEffect) on OpenGL.
//
// What it holds: the program, its parameters (the default-block uniforms
// that are not samplers, in declaration order), its samplers (each with a
// texture unit and the filter and edge mode set for it), and its techniques
// read from the pass map of the compile definitions.
//
// Techniques and passes: the pass map names each pass "_T<t>_P<p>". To draw
// technique t, passes 0..n-2 are rendered, in order, each into a texture of
// the target's size and format, which is then bound to the sampler named
// after the pass for the passes after it; the last pass (the technique's
// entry function) renders into the target. A pass is selected by setting the
// `_entryPoint` uniform to its case number, counted across all techniques in
// order. Without a pass map the effect has one technique of one pass.
// Techniques are named "T1", "T2", ... as in Cg effect text.
//
// Each draw writes the pending parameter values, then the special
// parameters that the compile definitions name and the program declares:
// _OUTPUTWIDTH and _OUTPUTHEIGHT (the target's size), _OUTPUTASPECTRATIO
// (width / height), and _PROGRESS, _OUTPUTFPS, _LENGTH, _LENGTHFRAMES from
// the render context. Inputs are matched to samplers by name; input N (from
// 1) of the binding list also gives the texture coordinates uvN, with u
// divided by the bound image's width. Bindings that name no sampler, have
// no image, or have an image of the wrong dimension are ignored.
//
// Ownership and threads: the effect owns its program (freed under the
// context lock when the last reference goes) and its parameters; it keeps
// its device alive. `m_mutex` guards the selected technique, the sampler
// states and the render context; each parameter guards its own value. Draws
// run under the context lock, one at a time.
#pragma once

#include "host/os/ShaderEffect.h"
#include "host/own/ShaderContract.h"
#include "platform/gl/GLDevice.h"
#include "platform/gl/GLParam.h"
#include "platform/gl/GLProgram.h"

#include <array>
#include <mutex>
#include <vector>

class GLImage;

class GLShaderEffect : public iShaderEffect {
public:
    // Under the lock: takes over `build.program`. Null, with `errors` filled, when
    // the pass map is malformed (the program is then freed).
    static Ptr<GLShaderEffect> create(const Ptr<GLDevice>& device, GLProgramBuild&& build, const ShaderDefinitions& definitions,
                                      std::vector<ShaderError>& errors);
    ~GLShaderEffect() override;

    Ptr<iShaderParam> getParam(uint16_t index) const override;
    Ptr<iShaderParam> getParam(const LightweightString<char>& name) const override;
    bool setSamplerState(const LightweightString<char>& inputName, eScalingMethod scaling, eEdgeReadMode edge) override;
    bool setTechnique(const LightweightString<char>& name) override;
    bool setTechnique(uint16_t index) override;
    void setRenderContext(const RenderContext& context) override;
    // False when the target is not a live 2D image of this service, when an
    // input is the target itself, or when an intermediate texture cannot be made.
    bool draw(const Ptr<iGPUImage>& target, const std::vector<ShaderInputBinding>& inputs, int flags = 0) override;

    // Under the lock: a draw into a tiny target with placeholder textures, so that
    // the driver finishes compiling now rather than at the first real draw.
    void prime();

private:
    // In the order of ShaderContract::kSpecialParameters.
    enum eSpecial { eWidth, eHeight, eAspect, eProgress, eFps, eLength, eLengthFrames, eSpecialCount };
    static_assert(eSpecialCount == ShaderContract::kSpecialParameterCount);

    struct Sampler {
        LightweightString<char> name;
        GLint unit;
        bool is3D;
        int pass; // index into m_passes when the sampler reads a pass's result, else -1
        eScalingMethod scaling = Linear;
        eEdgeReadMode edge = ClampToEdge;
    };
    struct Pass {
        LightweightString<char> name;
        int caseNumber;
        int position; // within its technique
    };

    GLShaderEffect() = default;
    bool readPassMap(const ShaderDefinitions& definitions, std::vector<ShaderError>& errors);
    bool drawLocked(GLImage& target, const std::vector<ShaderInputBinding>& inputs);
    void writeSpecialParameters(int width, int height, const RenderContext& context);
    void writeCorners(const std::vector<ShaderInputBinding>& inputs);

    Ptr<GLDevice> m_device;
    GLuint m_program = 0;
    std::vector<Ptr<GLParam>> m_params;
    std::vector<Sampler> m_samplers; // states guarded by m_mutex
    std::vector<Pass> m_passes;
    std::vector<std::vector<int>> m_techniques; // indices into m_passes, in order
    std::array<GLint, eSpecialCount> m_special{};
    GLint m_entryPoint = -1;
    GLint m_corners = -1;

    mutable std::mutex m_mutex;
    size_t m_technique = 0;
    RenderContext m_context;
};
