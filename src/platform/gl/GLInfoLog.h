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

#include "host/ShaderEffect.h"

#include <string_view>
#include <vector>

std::vector<ShaderError> parseInfoLog(std::string_view log, int sourceString);
