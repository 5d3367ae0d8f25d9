#include "platform/gl/GLProgram.h"

#include "platform/gl/GLInfoLog.h"

#include <algorithm>

namespace {

std::string infoLog(GLuint object, bool isProgram) {
    GLint length = 0;
    if (isProgram)
        glGetProgramiv(object, GL_INFO_LOG_LENGTH, &length);
    else
        glGetShaderiv(object, GL_INFO_LOG_LENGTH, &length);
    if (length <= 0) return {};
    std::string log(size_t(length), '\0');
    if (isProgram)
        glGetProgramInfoLog(object, length, nullptr, log.data());
    else
        glGetShaderInfoLog(object, length, nullptr, log.data());
    return log;
}

bool isIdentifierChar(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; }

// Where `name` is declared: its first appearance as a whole word on a line
// that has "uniform" before it (comments may mention it earlier).
size_t declarationPlace(std::string_view source, std::string_view name) {
    for (size_t at = source.find(name); at != std::string_view::npos; at = source.find(name, at + 1)) {
        const size_t end = at + name.size();
        if ((at > 0 && isIdentifierChar(source[at - 1])) || (end < source.size() && isIdentifierChar(source[end]))) continue;
        const size_t lineStart = source.rfind('\n', at);
        const std::string_view before = source.substr(lineStart == std::string_view::npos ? 0 : lineStart,
                                                      at - (lineStart == std::string_view::npos ? 0 : lineStart));
        if (before.find("uniform") != std::string_view::npos && before.find("//") == std::string_view::npos) return at;
    }
    return std::string_view::npos;
}

std::vector<GLUniformInfo> defaultBlockUniforms(GLuint program, std::string_view source) {
    GLint count = 0;
    glGetProgramInterfaceiv(program, GL_UNIFORM, GL_ACTIVE_RESOURCES, &count);
    std::vector<std::pair<size_t, GLUniformInfo>> found;
    const GLenum props[] = {GL_NAME_LENGTH, GL_TYPE, GL_LOCATION, GL_BLOCK_INDEX};
    for (GLint i = 0; i < count; ++i) {
        GLint values[4] = {};
        glGetProgramResourceiv(program, GL_UNIFORM, GLuint(i), 4, props, 4, nullptr, values);
        if (values[3] != -1 || values[2] < 0) continue; // block members, built-ins
        std::string name(size_t(std::max(values[0], 1)), '\0');
        glGetProgramResourceName(program, GL_UNIFORM, GLuint(i), values[0], nullptr, name.data());
        name.resize(name.find('\0') == std::string::npos ? name.size() : name.find('\0'));
        if (name.ends_with("[0]")) name.resize(name.size() - 3);
        if (name.starts_with("_qf") || name.starts_with("gl_")) continue;
        found.push_back({declarationPlace(source, name), GLUniformInfo{name, GLenum(values[1]), values[2]}});
    }
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<GLUniformInfo> uniforms;
    for (auto& f : found) uniforms.push_back(std::move(f.second));
    return uniforms;
}

} // namespace

std::string assembleFragmentSource(std::string_view utils, std::string_view generated) {
    std::string s;
    s.reserve(utils.size() + generated.size() + 256);
    s += "#version 450 core\n#line 1 " + std::to_string(kUtilsSourceString) + "\n";
    s += utils;
    if (!utils.empty() && utils.back() != '\n') s += '\n';
    for (int i = 0; i <= 8; ++i) s += "in vec2 uv" + std::to_string(i) + ";\n";
    s += "#line 1 " + std::to_string(kGeneratedSourceString) + "\n";
    s += generated;
    if (!generated.empty() && generated.back() != '\n') s += '\n';
    return s;
}

GLuint compileShaderStage(GLenum stage, std::string_view source, std::string& log) {
    const GLuint shader = glCreateShader(stage);
    const char* text = source.data();
    const GLint length = GLint(std::min<size_t>(source.size(), INT32_MAX));
    glShaderSource(shader, 1, &text, &length);
    glCompileShader(shader);
    GLint ok = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
    if (ok) return shader;
    log = infoLog(shader, false);
    glDeleteShader(shader);
    return 0;
}

GLProgramBuild buildProgram(GLuint vertexShader, const std::string& fragmentSource) {
    GLProgramBuild build;
    std::string log;
    const GLuint fragment = compileShaderStage(GL_FRAGMENT_SHADER, fragmentSource, log);
    if (!fragment) {
        build.errors = parseInfoLog(log, kGeneratedSourceString);
        if (build.errors.empty()) build.errors.push_back({"The driver refused the fragment shader without a message", 0});
        return build;
    }
    GLint ok = GL_FALSE;

    const GLuint program = glCreateProgram();
    glAttachShader(program, vertexShader);
    glAttachShader(program, fragment);
    glLinkProgram(program);
    glDetachShader(program, vertexShader);
    glDetachShader(program, fragment);
    glDeleteShader(fragment);
    glGetProgramiv(program, GL_LINK_STATUS, &ok);
    if (!ok) {
        build.errors = parseInfoLog(infoLog(program, true), kGeneratedSourceString);
        if (build.errors.empty()) build.errors.push_back({"The driver refused to link the program without a message", 0});
        glDeleteProgram(program);
        return build;
    }
    build.program = program;
    build.uniforms = defaultBlockUniforms(program, fragmentSource);
    return build;
}

bool isSamplerType(GLenum type) {
    switch (type) {
    case GL_SAMPLER_1D:
    case GL_SAMPLER_2D:
    case GL_SAMPLER_3D:
    case GL_SAMPLER_CUBE:
    case GL_SAMPLER_1D_SHADOW:
    case GL_SAMPLER_2D_SHADOW:
    case GL_SAMPLER_1D_ARRAY:
    case GL_SAMPLER_2D_ARRAY:
    case GL_SAMPLER_2D_RECT:
    case GL_SAMPLER_BUFFER:
    case GL_SAMPLER_2D_MULTISAMPLE:
    case GL_SAMPLER_CUBE_MAP_ARRAY:
    case GL_INT_SAMPLER_2D:
    case GL_INT_SAMPLER_3D:
    case GL_UNSIGNED_INT_SAMPLER_2D:
    case GL_UNSIGNED_INT_SAMPLER_3D: return true;
    default: return false;
    }
}

bool is3DSamplerType(GLenum type) {
    return type == GL_SAMPLER_3D || type == GL_INT_SAMPLER_3D || type == GL_UNSIGNED_INT_SAMPLER_3D;
}
