#include "model/ShaderModel.h"

namespace Shader {

LightweightString<char> typeName(iShaderParam::eType type) {
    switch (type) {
    case iShaderParam::eFloat: return "float";
    case iShaderParam::eBool: return "bool";
    case iShaderParam::eInt: return "int";
    case iShaderParam::eFloat4: return "float4";
    case iShaderParam::eFloat3x3: return "float3x3";
    case iShaderParam::eFloat3: return "float3";
    case iShaderParam::eUnused: break;
    }
    return {};
}

LightweightString<char> textureNameFor(const LightweightString<char>& name) { return "_" + name; }

LightweightString<char> passFunctionName(const LightweightString<char>& name) { return name + "_pass"; }

} // namespace Shader
