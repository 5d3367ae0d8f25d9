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
// Threads: the value and its pending flag are guarded by `mutex_`; name,
// type and location never change.
#pragma once

#include "host/ShaderEffect.h"
#include "platform/gl/GLApi.h"

#include <mutex>

class GLParam : public iShaderParam {
public:
    GLParam(const LightweightString<char>& name, GLenum glType, GLint location);

    static eType typeOf(GLenum glType);

    LightweightString<char> getName() const override { return name_; }
    eType getType() const override { return type_; }
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

    const LightweightString<char> name_;
    const eType type_;
    const GLint location_;
    std::mutex mutex_;
    bool pending_ = false;
    float values_[9] = {};
    int integer_ = 0;
};
