// Parsing "--set NAME=VALUE" values for a compiled parameter's type.
#pragma once

#include "host/os/ShaderEffect.h"

#include <string>
#include <vector>

// Writes `text` to `param` according to its type: a number for float and
// int, true/false/1/0 for bool, comma-separated numbers for float3 (3),
// float4 (4) and float3x3 (9, rows in order). False with `error` set when the
// text does not fit the type.
bool setParameterFromText(iShaderParam& param, const std::string& text, std::string& error);

// Appends the comma-separated numbers of `text` (blanks allowed around each)
// to `out`; false for anything else, NaN and infinities included.
bool parseFloats(const std::string& text, std::vector<float>& out);
