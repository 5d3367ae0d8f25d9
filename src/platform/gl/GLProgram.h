// Building the OpenGL program of one effect, and what it exposes.
//
// A fragment stage is "#version 450 core", the shared helpers of
// _utils.glsl, the texture coordinates "in vec2 uv0;" to "in vec2 uv8;", then
// the generated effect text behind "#line 1 0", so that the driver's messages
// number the generated text's lines from 1 in source string 0 (the helpers
// are source string 1). It is linked with the device's vertex stage.
//
// All functions but assembleFragmentSource run under the context lock.
#pragma once

#include "host/os/ShaderEffect.h"
#include "platform/gl/GLApi.h"
#include "platform/gl/GLInfoLog.h"

#include <string>
#include <string_view>
#include <vector>

// A uniform of the program's default block.
struct GLUniformInfo {
    std::string name; // an array's name without "[0]"
    GLenum type;
    GLint location;
};

struct GLProgramBuild {
    GLuint program = 0; // 0 when compiling or linking failed
    std::vector<ShaderError> errors;
    // The active uniforms of the default block, in the order in which the
    // source first names them (declaration order), the vertex stage's own
    // ("_qf...") excluded; samplers included.
    std::vector<GLUniformInfo> uniforms;
};

std::string assembleFragmentSource(std::string_view utils, std::string_view generated);
// Compiles one stage; 0, with the driver's log in `log`, when it fails.
GLuint compileShaderStage(GLenum stage, std::string_view source, std::string& log);
GLProgramBuild buildProgram(GLuint vertexShader, const std::string& fragmentSource);

bool isSamplerType(GLenum type);
bool is3DSamplerType(GLenum type);
