// Turns an OpenGL driver's compile or link log into error records.
//
// Each non-empty line of the log becomes one ShaderError carrying the
// driver's text unchanged. When the line names a place in source string
// `sourceString` (the generated effect text, which the program starts with
// "#line 1 <sourceString>"), the record's line is that 0-based line; other
// lines (the prelude, link messages, unknown formats) get line 0.
//
// Recognised places: "S:L(C): ..." (Mesa), "S(L) : ..." (NVIDIA),
// "ERROR: S:L: ..." (AMD and others).
#pragma once

#include "host/os/ShaderEffect.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

// The source string numbers of a fragment program: the shaders directory's
// _utils.glsl comes first, then the generated effect text.
constexpr int kUtilsSourceString = 1;
constexpr int kGeneratedSourceString = 0;

std::vector<ShaderError> parseInfoLog(std::string_view log, int sourceString);

// The place one line of a driver log names: the source string, the 1-based
// line, where the place begins and where the driver's words after it start
// (so that a tool can show the words at another place). Nothing when the
// line names no place in a recognised form.
struct GLLogPlace {
    long source = 0;
    long line = 0;
    size_t begin = 0, textStart = 0;
};
std::optional<GLLogPlace> parseInfoLogPlace(std::string_view line);
