// Qf::FxResources::Manager: the process's registry of effects.
//
// Start-up lists the effect files (*.fx) of the shaders directory and then of
// the effect-templates directory, in byte order of the file name, skipping
// include files (names beginning with "_"). Each becomes a ShaderEffectInfo
// (not yet read), filed under its file name without extension in a
// case-insensitive name table where the first file found keeps a name. One
// ShaderCompilationTask then compiles every effect on the background queue;
// an effect asked for before its turn is compiled on demand in the caller's
// thread, and the background task waits (200 ms steps) while any on-demand
// compile runs. The same table holds effects built at run time from
// generated text (createShaderFromCode, the cached reorder effects).
//
// Shut-down: startup registers an exit callback at priority 450. It stops the
// background compilation after the effect in hand, releases the effects and
// the GPU's cached resources, destroys the manager, and then runs the
// ResourceShutdown registrations (font cache cleared, LUT manager last).
// instance() after that starts a new manager, which lists the directories again.
//
// Threads and locks (all recursive CriticalSections):
//  - compileLock: held by the background compilation for its whole run;
//  - shaderUsageLock: every read and write of the name table and the effect
//    list, run-time effect building, the compute context and GPU programs,
//    and callers' parameter-write-and-draw sequences (getShaderUsageLock);
//    it is never held across a wait for compileLock;
//  - each effect's own lock around its compile.
// Look-ups copy the Ptr out under the lock and compile outside it, so a long
// compile never holds up another thread's look-up.
//
// GPU compute (ManagerCompute.cpp): the process's one compute context, made
// by the compute service on first request, and a table of programs keyed by
// kernel file name (case-sensitive; a failed build is kept as a null entry).
// Building reads the file from the shaders directory and holds
// shaderUsageLock for the whole build, as every program-table access does.
#pragma once

#include "effects/ShaderEffectInfo.h"
#include "host/CriticalSection.h"
#include "host/GPUCompute.h"
#include "host/LightweightString.h"
#include "host/Ptr.h"
#include "host/Shutdown.h"
#include "host/TaskLog.h"
#include "manager/EffectNames.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <vector>

namespace Qf::FxResources {

class ShaderCompilationTask;

class Manager {
public:
    // Creates the manager once (later calls do nothing) and starts it.
    static void startup(bool flag);
    // The manager, started first if need be.
    static Manager& instance();
    // Whether a manager exists now (does not start one).
    static bool isStarted();

    // Files `effect` under its file name; an effect already filed under that
    // name is replaced, in the effect list too when it has the same path.
    void addEffect(const Ptr<ShaderEffectInfo>& effect);
    // The effect of that name (case-insensitive); with `compileIfNeeded`, an
    // effect from a file is compiled first when it has no shader yet.
    Ptr<ShaderEffectInfo> findEffect(const LightweightString<char>& name, bool compileIfNeeded) const;
    // The compiled shader of that name, compiled now when need be; null when
    // unknown or when compiling fails (the next call tries again).
    Ptr<iShaderEffect> findShader(const LightweightString<char>& name) const;
    CriticalSection& getShaderUsageLock() { return m_shaderUsageLock; }

    // Once the background compilation has finished: compiles effect files
    // that are new, and recompiles those whose modification stamp changed,
    // replacing each changed effect in place. Logs what it did.
    void recompileAll();

    // Compiles generated source and files it under `name` unless that name is
    // taken; returns the shader (null on failure; a failure is not filed).
    Ptr<iShaderEffect> createShaderFromCode(const LightweightString<char>& name,
                                            const std::vector<LightweightString<char>>& lines);
    // The cached effect copying the `from` components into the `to` ones,
    // flipped vertically when `flip` is not empty; null when from == to without flip.
    Ptr<ShaderEffectInfo> buildReorderEffect(const LightweightString<char>& from, const LightweightString<char>& to,
                                             const LightweightString<char>& flip);
    Ptr<iShaderEffect> findReorderShader(const LightweightString<char>& from, const LightweightString<char>& to,
                                         const LightweightString<char>& flip);
    // The nine lines of a reorder effect, and its key (no separator: "rg"+"ba" == "rgb"+"a").
    static std::vector<LightweightString<char>> reorderEffectText(const LightweightString<char>& from,
                                                                  const LightweightString<char>& to,
                                                                  const LightweightString<char>& flip);
    static LightweightString<char> reorderKey(const LightweightString<char>& from, const LightweightString<char>& to,
                                              const LightweightString<char>& flip);

    // The compute context, made on first use (double-checked under
    // shaderUsageLock); null while the host has no compute service or device.
    Ptr<iGPUComputeContext> getGPUComputeContext();
    // The program built from the kernel file `fileName` in the shaders
    // directory: built on first request, or anew when `rebuild` is true; a
    // null result (no context, no build) is kept like a program.
    Ptr<iGPUProgram> getGPUProgram(const LightweightString<wchar_t>& fileName, bool rebuild);
    // Kernel files are read with a 16-bit line counter: a file must stay
    // below 65,536 lines, and a longer one is refused with a log line.
    static constexpr size_t kMaxKernelFileLines = 65535;

    // The effects found on disk, in discovery order (a copy: for listings and tests).
    std::vector<Ptr<ShaderEffectInfo>> getEffects() const;
    // The name an effect is filed under: its file name without directory and extension.
    static LightweightString<char> registryName(const ShaderEffectInfo& effect);
    // Number of on-demand compiles running now.
    int foregroundCompiles() const { return m_foregroundCompiles.load(std::memory_order_acquire); }

private:
    friend class ShaderCompilationTask;
    friend struct OnDemandCompilerInstaller;

    Manager();
    ~Manager();
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    static void shutdown(Shutdown::eExitType exitType);
    void init(bool flag);
    void fini();
    static void getFXFiles(std::vector<Ptr<ShaderEffectInfo>>& out);
    void compileAll(Ptr<iTaskLog> log);
    void waitForEffectsToCompile() const;
    // Timed on-demand compile in the caller's thread.
    Ptr<iShaderEffect> compile(const ShaderEffectInfo& effect) const;
    static Ptr<iShaderEffect> compileOnDemand(const ShaderEffectInfo& effect);
    Ptr<ShaderEffectInfo> effectAt(size_t index, size_t& count) const;
    // Builds `fileName` into m_gpuPrograms, with "HardwareAdvancedScopesEnabled"
    // false during the build and true after it (also without a context).
    void buildCLKernels(const LightweightString<wchar_t>& fileName);

    std::vector<Ptr<ShaderEffectInfo>> m_effects;
    std::map<LightweightString<char>, Ptr<ShaderEffectInfo>, EffectNameLess> m_effectsByName;
    mutable CriticalSection m_compileLock;
    mutable CriticalSection m_shaderUsageLock;
    Ptr<iGPUComputeContext> m_computeContext; // written under shaderUsageLock
    // Set (release) once m_computeContext holds a context: the unlocked first
    // test of the double check reads this, never the Ptr being written.
    std::atomic<bool> m_computeContextReady{false};
    std::map<LightweightString<wchar_t>, Ptr<iGPUProgram>> m_gpuPrograms;
    mutable std::atomic<int32_t> m_foregroundCompiles{0};
    std::atomic<bool> m_active{true};
    // The queued background compilation; fini detaches it and waits for a run in progress.
    Ptr<ShaderCompilationTask> m_task;
};

} // namespace Qf::FxResources
