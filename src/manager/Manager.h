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
// compile runs or the queue is paused. The same table holds effects built at
// run time from generated text (createShaderFromCode, the cached reorder effects).
//
// The effect list and the name table form one Registry that is never changed
// once published: look-ups (findEffect, findShader, and createShaderFromCode's
// check) and the background task read the current one with one atomic load,
// without any lock; writers copy it, change the copy and publish it in one
// compare-and-swap (addEffect and the reorder effects under shaderUsageLock,
// createShaderFromCode without it; a writer that finds another's table
// published meanwhile starts again from that one). Replaced tables are kept
// until the manager is destroyed, so a reader's pointer stays valid.
//
// Shut-down: startup registers an exit callback at priority 450 (which also
// runs when the process leaves main without the callbacks, see Shutdown.h).
// It unpublishes the manager, stops the background compilation after the
// effect in hand, waits for every call already inside a manager on any
// thread (an on-demand compile included), releases the effects, the GPU's
// cached resources and the compute context, destroys the manager, and then
// runs the ResourceShutdown registrations (font cache cleared, LUT manager
// last, in every case). instance() after that starts a new manager, which
// lists the directories again. startup and shutdown are otherwise unguarded:
// a caller must not keep a Manager& across a shut-down, nor begin a call or
// take getShaderUsageLock() while one is under way (take instance() anew for
// each use); an effect's getShader() is always safe, as it finds the manager
// itself. Locks, their order and who takes them: docs/threads.md.
//
// GPU compute (ManagerCompute.cpp): the process's one compute context, made
// by the compute service on first request, and a table of programs keyed by
// kernel file name (case-sensitive; a failed build is kept as a null entry).
// Building reads the file from the shaders directory and holds
// shaderUsageLock for the whole build, as every program-table access does.
#pragma once

#include "effects/ShaderEffectInfo.h"
#include "host/base/CriticalSection.h"
#include "host/base/LightweightString.h"
#include "host/base/Ptr.h"
#include "host/base/Shutdown.h"
#include "host/misc/TaskLog.h"
#include "host/os/GPUCompute.h"
#include "manager/EffectNames.h"

#include <atomic>
#include <cstdint>
#include <functional>
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
    // Held by callers for a whole parameter-write-and-draw sequence, and by
    // the manager's writers; recursive.
    CriticalSection& getShaderUsageLock() QF_RETURN_CAPABILITY(m_shaderUsageLock) { return m_shaderUsageLock; }

    // Once the background compilation has finished: compiles effect files
    // that are new, and recompiles those whose modification stamp changed,
    // replacing each changed effect in place (assigned whole under the
    // effect's own lock: references from getParams, getInputs or
    // getTechniques do not survive it). Logs what it did.
    void recompileAll();

    // Compiles generated source and files it under `name` unless that name is
    // taken; returns the shader (null on failure; a failure is not filed).
    // Takes no lock.
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

    // The effect list and the name table; immutable once published. A
    // registry keeps the one it replaced (and so every earlier one) until the
    // manager is destroyed, when no reader is left: readers hold a plain
    // pointer and never count references, and the chain grows by one table
    // per change that changed something (a new name, not a repeated one).
    struct Registry {
        std::vector<Ptr<ShaderEffectInfo>> effects;
        std::map<LightweightString<char>, Ptr<ShaderEffectInfo>, EffectNameLess> effectsByName;
        const Registry* replaced = nullptr; // owned
        Registry() = default;
        Registry(const Registry& other) : effects(other.effects), effectsByName(other.effectsByName) {}
        Registry& operator=(const Registry&) = delete;
        ~Registry();
    };
    using RegistryPtr = const Registry*;

    // A call in progress inside a manager, counted so that a shut-down can
    // wait for it (Manager.cpp). Every public operation opens one.
    class Call {
    public:
        Call();
        ~Call();
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

    private:
        unsigned m_half;
    };

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
    // The current registry; valid until the manager is destroyed.
    RegistryPtr registry() const { return m_registry.load(std::memory_order_acquire); }
    // Publishes `change` applied to a copy of the current registry, unless it
    // returns false (nothing changed); when another writer published first,
    // applies it again to theirs.
    void publish(const std::function<bool(Registry&)>& change);
    // Builds `fileName` into m_gpuPrograms, with "HardwareAdvancedScopesEnabled"
    // false during the build and true after it (also without a context).
    void buildCLKernels(const LightweightString<wchar_t>& fileName) QF_REQUIRES(m_shaderUsageLock);
    // The compute context once made (read without the lock after m_computeContextReady).
    Ptr<iGPUComputeContext> readyComputeContext() const QF_NO_THREAD_SAFETY_ANALYSIS { return m_computeContext; }

    std::atomic<RegistryPtr> m_registry{new Registry()}; // owned
    mutable CriticalSection m_compileLock;
    mutable CriticalSection m_shaderUsageLock;
    Ptr<iGPUComputeContext> m_computeContext QF_GUARDED_BY(m_shaderUsageLock);
    // Set (release) once m_computeContext holds a context: the unlocked first
    // test of the double check reads this, never the Ptr being written. The
    // context is released by fini, when no call is in progress.
    std::atomic<bool> m_computeContextReady{false};
    std::map<LightweightString<wchar_t>, Ptr<iGPUProgram>> m_gpuPrograms QF_GUARDED_BY(m_shaderUsageLock);
    mutable std::atomic<int32_t> m_foregroundCompiles{0};
    std::atomic<bool> m_active{true};
    // The queued background compilation; fini detaches it and waits for a run in progress.
    Ptr<ShaderCompilationTask> m_task;
};

} // namespace Qf::FxResources
