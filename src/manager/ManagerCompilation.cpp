// Manager: the background compilation, on-demand compiles and recompiling
// changed files.
#include "manager/Manager.h"

#include "host/base/Strings.h"
#include "host/base/Time.h"
#include "host/misc/BackgroundTasks.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "host/misc/StartEnv.h"
#include "host/os/OS.h"

#include <thread>

namespace Qf::FxResources {

namespace {

constexpr unsigned kYieldMilliseconds = 200;

void sleepFor(unsigned milliseconds) {
    if (iThreadService* threads = OS()->threads())
        threads->sleep(milliseconds);
    else
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace

Ptr<iShaderEffect> Manager::compile(const ShaderEffectInfo& effect) const {
    const double start = msecsNow();
    m_foregroundCompiles.fetch_add(1, std::memory_order_acq_rel);
    // Compiling stores the shader in the effect; the output is not needed here.
    const_cast<ShaderEffectInfo&>(effect).compile({});
    m_foregroundCompiles.fetch_sub(1, std::memory_order_acq_rel);
    ErrorLogLogger::log("Manager::compile()", msecsNow() - start);
    return effect.getCompiledShader();
}

void Manager::waitForEffectsToCompile() const {
    m_compileLock.enter();
    m_compileLock.leave();
}

// Holds compileLock throughout, so that waitForEffectsToCompile blocks until
// the run is over, and takes no other manager lock: a caller holding the
// shader-usage lock may wait for this run (recompileAll). The effect list may
// grow meanwhile (addEffect); each step reads the registry then current.
void Manager::compileAll(Ptr<iTaskLog> log) {
    CriticalSectionLock hold(m_compileLock);
    if (!StartEnv::programEnv().arg(L"-transcode")) {
        if (!m_active.load(std::memory_order_acquire)) return;
        BackgroundTaskQueueBase& queue = UIBackgroundTasksQueue::instance();
        for (size_t i = 0;; ++i) {
            const RegistryPtr r = registry();
            if (i >= r->effects.size()) break;
            const Ptr<ShaderEffectInfo> effect = r->effects[i];
            const size_t count = r->effects.size();
            if (Shutdown::isExiting()) m_active.store(false, std::memory_order_release);
            // On-demand compiles go first; a paused queue holds the work (the
            // queue stops reporting its pause once the process is exiting).
            while ((m_foregroundCompiles.load(std::memory_order_acquire) != 0 && m_active.load(std::memory_order_acquire)) ||
                   queue.getCurrentTaskStatus() == iBackgroundTask::ePaused)
                sleepFor(kYieldMilliseconds);

            const LightweightString<wchar_t> fileName = stripPath(effect->getFullPath());
            if (log) log->setCurrentItem(fileName, 0);
            const ShaderCompilationOutput out = effect->compile({});
            if (!out.shader) {
                LogBoth("Failed to compile %s\n", toUTF8(fileName).c_str());
                for (const ShaderError& e : out.errors) LogBoth("   %s\n", e.message.c_str());
            }
            if (log) log->setProgress(double(float(i + 1) / float(count)));
            if (!m_active.load(std::memory_order_acquire)) break;
        }
    }
    if (m_active.load(std::memory_order_acquire))
        mora_printf("QfFxResources::Manager : %d pixel shaders loaded\n", int(registry()->effects.size()));
}

void Manager::recompileAll() {
    const Call call;
    waitForEffectsToCompile();
    std::vector<Ptr<ShaderEffectInfo>> fresh;
    getFXFiles(fresh);
    const RegistryPtr r = registry();
    for (const Ptr<ShaderEffectInfo>& f : fresh) {
        // Known effects are read under their locks: another thread's
        // recompileAll may be replacing one in place.
        Ptr<ShaderEffectInfo> known;
        uint64_t knownTime = 0;
        for (const Ptr<ShaderEffectInfo>& e : r->effects) {
            const ShaderEffectInfo::FileIdentity identity = e->getFileIdentity();
            if (identity.path == f->getFullPath()) {
                known = e;
                knownTime = identity.time;
                break;
            }
        }
        const LightweightString<char> path = toUTF8(f->getFullPath());
        if (!known) {
            // The timed on-demand compile, on this manager.
            if (compile(*f))
                addEffect(f);
            else
                mora_printf("Failed to compile %s\n", path.c_str());
            continue;
        }
        if (knownTime == f->getFileTime()) continue;
        const Ptr<ShaderEffectInfo> replacement = makePtr<ShaderEffectInfo>(f->getFullPath(), f->getFileTime());
        const ShaderCompilationOutput out = replacement->compile({});
        if (out.shader) {
            // In place, whole, under the effect's own lock: every holder of
            // the effect sees the new one, never half of it.
            *known = std::move(*replacement);
            mora_printf("Recompiled %s\n", path.c_str());
        } else {
            mora_printf("Failed to recompile %s\n", path.c_str());
            for (const ShaderError& e : out.errors) mora_printf("   %s\n", e.message.c_str());
        }
    }
}

} // namespace Qf::FxResources
