// Drawing a compiled effect over pictures: what `run` and `preview` share.
#pragma once

#include "EffectValues.h"

#include "effects/ShaderEffectInfo.h"
#include "host/image/HostImage.h"

#include <map>
#include <string>

// Draws `shader` (the compiled `effect`) with `values` (every parameter is
// written first, see EffectValues) into an image the size and format of
// `picture`. Bindings follow the effect's inputs in declaration order, so the
// N-th input reads through uvN: an input named in `inputFiles` (NAME -> file) gets
// that file (a PNG picture; a .cube table for a 3D input), a 3D input without one an identity look-up table,
// the first other non-mask input `picture`. Returns the result read back, or
// null with `error` set.
Ptr<HostImage> drawEffect(const ShaderEffectInfo& effect, iShaderEffect& shader, const EffectValues& values, iGPUService& gpu,
                          const HostImage& picture, const std::map<std::string, std::string>& inputFiles, std::string& error);
