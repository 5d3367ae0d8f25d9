#include "platform/gl/GLParam.h"

#include <algorithm>

GLParam::GLParam(const LightweightString<char>& name, GLenum glType, GLint location)
    : m_name(name), m_type(typeOf(glType)), m_location(location) {}

iShaderParam::eType GLParam::typeOf(GLenum glType) {
    switch (glType) {
    case GL_FLOAT: return eFloat;
    case GL_BOOL: return eBool;
    case GL_INT: return eInt;
    case GL_FLOAT_VEC4: return eFloat4;
    case GL_FLOAT_MAT3: return eFloat3x3;
    case GL_FLOAT_VEC3: return eFloat3;
    default: return eUnused;
    }
}

bool GLParam::store(eType type, const float* values, int count, int integer) {
    if (type != m_type || (count > 0 && !values)) return false;
    std::lock_guard<std::mutex> hold(m_mutex);
    if (count > 0) std::copy(values, values + count, m_values);
    m_integer = integer;
    m_pending = true;
    return true;
}

bool GLParam::setFloat(float value) { return store(eFloat, &value, 1, 0); }
bool GLParam::setBool(bool value) { return store(eBool, nullptr, 0, value ? 1 : 0); }
bool GLParam::setInt(int value) { return store(eInt, nullptr, 0, value); }
bool GLParam::setFloat3(const float* xyz) { return store(eFloat3, xyz, 3, 0); }
bool GLParam::setFloat4(const float* xyzw) { return store(eFloat4, xyzw, 4, 0); }
bool GLParam::setMatrix3x3(const float* rows) { return store(eFloat3x3, rows, 9, 0); }

void GLParam::apply(GLuint program) {
    std::lock_guard<std::mutex> hold(m_mutex);
    if (!m_pending) return;
    m_pending = false;
    switch (m_type) {
    case eFloat: glProgramUniform1f(program, m_location, m_values[0]); break;
    case eBool:
    case eInt: glProgramUniform1i(program, m_location, m_integer); break;
    case eFloat3: glProgramUniform3fv(program, m_location, 1, m_values); break;
    case eFloat4: glProgramUniform4fv(program, m_location, 1, m_values); break;
    case eFloat3x3: glProgramUniformMatrix3fv(program, m_location, 1, GL_TRUE, m_values); break;
    case eUnused: break;
    }
}
