// Finding and reading the effect a command names.
#pragma once

#include "effects/ShaderEffectInfo.h"
#include "host/Ptr.h"

#include <string>

// EFFECT is a path to an .fx file, or the name of an effect in the shaders
// directory (matched without regard to case, ".fx" optional). Returns the
// path, or an empty string with `error` set.
std::string resolveEffectPath(const std::string& effect, std::string& error);

// Reads the effect at `path`; null with `error` set when it cannot be read.
Ptr<ShaderEffectInfo> loadEffect(const std::string& path, std::string& error);
