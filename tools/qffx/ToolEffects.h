// What the qffx commands share: finding and reading the effect a command
// names, starting the GPU service, and reporting failures the same way.
#pragma once

#include "Reporter.h"

#include "effects/ShaderEffectInfo.h"
#include "host/base/Ptr.h"
#include "host/os/OS.h"

#include <string>
#include <vector>

// EFFECT is a path to an .fx file, or the name of an effect that the effect
// manager finds in the shaders or effect-templates directory (without regard
// to case, ".fx" optional; the shaders directory's wins). Returns the effect,
// not yet read, with `path` set; on failure reports why (exit status 2) and
// returns null.
Ptr<ShaderEffectInfo> openEffect(const Reporter& report, const std::string& effect, std::string* path = nullptr);

// Prints each error of a read or compile of `effect` on standard error at the
// effect file's own line, in the form compilers use so that editors can jump
// to it: "FILE.fx:LINE: MESSAGE", then the file's line. A driver message
// loses its place in the generated text (shown at the file's line instead);
// one in the shaders directory's _utils.glsl is shown at that file's line;
// one with no place at all as "FILE.fx: MESSAGE".
void printEffectErrors(const ShaderEffectInfo& effect, const std::vector<ShaderError>& errors);

#ifdef QFFX_HAVE_PLATFORM
namespace Qf::FxResources {
class Manager;
}

// Installs the Linux services; the GPU service starts only when first asked for.
void installServices();
// Starts the effect manager for look-ups alone: the background queue is held
// before the manager starts, so nothing is compiled but what the command
// compiles itself (the held task is dropped at exit).
Qf::FxResources::Manager& startManagerForLookup();

// Installs the Linux services and returns the GPU service; on failure reports
// why (exit status 2) and returns null.
iGPUService* startGPU(const Reporter& report);

// What every command that draws an effect starts with: the effect named
// `effect` (openEffect) and the GPU service (startGPU). Returns the GPU service
// with `found` set, or null when either failed (already reported, exit status 2).
iGPUService* openEffectOnGPU(const Reporter& report, const std::string& effect, Ptr<ShaderEffectInfo>& found);

// Compiles a fresh copy of the effect file at `path` and prints its errors as
// printEffectErrors does; false when it does not compile. The manager logs a
// failed compile's records; this shows the same failure at the file's lines.
bool printEffectFileErrors(const LightweightString<wchar_t>& path);
// printEffectFileErrors for each effect of the list that has no compiled
// shader; returns how many there were.
int printFailedEffects(const std::vector<Ptr<ShaderEffectInfo>>& effects);
#endif
