// The compiled-effect interfaces of the GPU service: iShaderEffect and its
// parameters, the compile result and the input bindings of a draw.
#pragma once

#include "host/base/LightweightString.h"
#include "host/base/Ptr.h"
#include "host/os/GPUImage.h"

#include <cstdint>
#include <vector>

class iShaderEffectBase {
public:
    enum eScalingMethod : int32_t { Linear = 0, Point = 1 };
    enum eEdgeReadMode : int32_t { Border = 0, ClampToEdge = 1, Mirror = 2, Wrap = 3 };
    virtual ~iShaderEffectBase() = default;
};

// One parameter (uniform) of a compiled effect.
class iShaderParam : public iObject {
public:
    enum eType : int32_t {
        eFloat = 1,
        eUnused = 2, // produced by no declaration
        eBool = 3,
        eInt = 4,
        eFloat4 = 5,
        eFloat3x3 = 6,
        eFloat3 = 7,
    };

    virtual LightweightString<char> getName() const = 0;
    virtual eType getType() const = 0;
    // Annotations by name; false (and `value` untouched) when the parameter
    // has none of that name and kind.
    virtual bool getAnnotation(const LightweightString<char>& name, int& value) const = 0;
    virtual bool getAnnotation(const LightweightString<char>& name, LightweightString<char>& value) const = 0;

    // Setters; false when the value does not fit the parameter's type.
    virtual bool setFloat(float value) = 0;
    virtual bool setBool(bool value) = 0;
    virtual bool setInt(int value) = 0;
    virtual bool setFloat3(const float* xyz) = 0;
    virtual bool setFloat4(const float* xyzw) = 0;
    // Nine floats, rows in order; effect code computes mul(rowVector, M).
    virtual bool setMatrix3x3(const float* rows) = 0;
};

// A name/value pair handed to a compile (special parameters, pass map).
struct ShaderDefinition {
    LightweightString<char> name;
    LightweightString<char> value;
    friend bool operator==(const ShaderDefinition&, const ShaderDefinition&) = default;
};
using ShaderDefinitions = std::vector<ShaderDefinition>;

// One error of a read or a compile: the message, and the 0-based line of the
// generated text that it concerns.
struct ShaderError {
    LightweightString<char> message;
    uint16_t line = 0;
    friend bool operator==(const ShaderError&, const ShaderError&) = default;
};

// One input of a draw: the image bound to the sampler `name`, sampled through
// the four corner coordinates of the drawn rectangle (top-left, top-right,
// bottom-left, bottom-right). u is in texels of the bound image, v in 0..1.
struct ShaderInputBinding {
    struct Corner {
        float u = 0, v = 0;
    };
    LightweightString<char> name;
    Ptr<iGPUImage> image;
    Corner corners[4];

    // The whole image: u from 0 to its width in texels, v from 0 to 1.
    static ShaderInputBinding whole(const LightweightString<char>& name, const Ptr<iGPUImage>& image);
};

// What the special parameters of a draw are computed from, besides the size
// of the target.
struct RenderContext {
    float progress = 0;     // _PROGRESS, 0..1 through the clip
    float fps = 25;         // _OUTPUTFPS
    float length = 0;       // _LENGTH, seconds
    float lengthFrames = 0; // _LENGTHFRAMES
};

class iShaderEffect : public iShaderEffectBase, public iObject {
public:
    // Parameters in the effect's order; null past the last or for an unknown name.
    virtual Ptr<iShaderParam> getParam(uint16_t index) const = 0;
    virtual Ptr<iShaderParam> getParam(const LightweightString<char>& name) const = 0;
    // Sampling of the input (sampler) named `inputName`; false when unknown.
    virtual bool setSamplerState(const LightweightString<char>& inputName, eScalingMethod scaling, eEdgeReadMode edge) = 0;
    virtual bool setTechnique(const LightweightString<char>& name) = 0;
    virtual bool setTechnique(uint16_t index) = 0;
    virtual void setRenderContext(const RenderContext& context) = 0;
    // Renders the selected technique over the whole target.
    virtual bool draw(const Ptr<iGPUImage>& target, const std::vector<ShaderInputBinding>& inputs, int flags = 0) = 0;
};

struct ShaderCompilationOutput {
    Ptr<iShaderEffect> shader;
    std::vector<ShaderError> errors;
};
