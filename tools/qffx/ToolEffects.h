// What the qffx commands share: finding and reading the effect a command
// names, starting the GPU service, and reporting failures the same way.
#pragma once

#include "effects/ShaderEffectInfo.h"
#include "host/OS.h"
#include "host/Ptr.h"

#include <string>
#include <string_view>
#include <vector>

// The text as a JSON string literal, quotes included.
std::string jsonString(std::string_view text);

// Prints "qffx COMMAND: MESSAGE" on standard error; returns exit status 2.
int failWith(const char* command, const std::string& message);

// EFFECT is a path to an .fx file, or the name of an effect that the effect
// manager finds in the shaders or effect-templates directory (without regard
// to case, ".fx" optional; the shaders directory's wins). Returns the effect,
// not yet read, with `path` set; on failure prints why and returns null.
Ptr<ShaderEffectInfo> openEffect(const char* command, const std::string& effect, std::string* path = nullptr);

// Prints each error of a read or compile as "error: line N: MESSAGE", with
// the line of generated text it points at, when there is one.
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

// Installs the Linux services and returns the GPU service; on failure prints
// why and returns null.
iGPUService* startGPU(const char* command);
#endif
