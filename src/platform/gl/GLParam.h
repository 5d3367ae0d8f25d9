// GLParam: one parameter (a default-block uniform) of a compiled effect.
//
// Setters keep the value here and mark it pending; the effect writes pending
// values into its program at the start of each draw, under the context lock, so a
// setter never waits for the GPU. A uniform that was never set keeps the
// value of its initialiser in the effect text.
//
// Types: float 1, bool 3, int 4, vec4 5, mat3 6, vec3 7; any other uniform
// type is 2 and refuses every setter. A setter of another type than the
// parameter's returns false and changes nothing. For an array, the setters
// write its first element.
//
// Threads: the value and its pending flag are guarded by `m_mutex`; name,
// type and location never change.
#pragma once

#include "host/os/ShaderEffect.h"
#include "platform/gl/GLApi.h"

#include <mutex>

class GLParam : public iShaderParam {
public:
    GLParam(const LightweightString<char>& name, GLenum glType, GLint location);

    static eType typeOf(GLenum glType);

    LightweightString<char> getName() const override { return m_name; }
    eType getType() const override { return m_type; }
    // GLSL has no annotations.
    bool getAnnotation(const LightweightString<char>&, int&) const override { return false; }
    bool getAnnotation(const LightweightString<char>&, LightweightString<char>&) const override { return false; }

    bool setFloat(float value) override;
    bool setBool(bool value) override;
    bool setInt(int value) override;
    bool setFloat3(const float* xyz) override;
    bool setFloat4(const float* xyzw) override;
    // Rows in order; uploaded transposed into the column-major mat3, so that
    // the effect's mul(v, M), which is v * M in GLSL, gives the row vector
    // v times M.
    bool setMatrix3x3(const float* rows) override;

    // Under the lock: writes a pending value into `program`.
    void apply(GLuint program);

private:
    bool store(eType type, const float* values, int count, int integer);

    const LightweightString<char> m_name;
    const eType m_type;
    const GLint m_location;
    std::mutex m_mutex;
    bool m_pending = false;
    float m_values[9] = {};
    int m_integer = 0;
};
