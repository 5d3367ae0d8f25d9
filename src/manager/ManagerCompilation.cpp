// Manager: the background compilation, on-demand compiles and recompiling
// changed files.
#include "manager/Manager.h"

#include "host/BackgroundTasks.h"
#include "host/Log.h"
#include "host/OS.h"
#include "host/Paths.h"
#include "host/StartEnv.h"
#include "host/Strings.h"
#include "host/Time.h"

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
// the run is over. The effect list may grow meanwhile (addEffect); each step
// takes the effect at its index and the current count under the usage lock.
void Manager::compileAll(Ptr<iTaskLog> log) {
    CriticalSectionLock hold(m_compileLock);
    if (!StartEnv::programEnv().arg(L"-transcode")) {
        if (!m_active.load(std::memory_order_acquire)) return;
        BackgroundTaskQueueBase& queue = UIBackgroundTasksQueue::instance();
        for (size_t i = 0;; ++i) {
            size_t count = 0;
            const Ptr<ShaderEffectInfo> effect = effectAt(i, count);
            if (!effect) break;
            if (Shutdown::isExiting()) m_active.store(false, std::memory_order_release);
            // On-demand compiles go first; a paused queue holds the work, but never a shut-down.
            while (m_active.load(std::memory_order_acquire) && (m_foregroundCompiles.load(std::memory_order_acquire) != 0 ||
                                                                queue.getCurrentTaskStatus() == iBackgroundTask::ePaused))
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
        mora_printf("QfFxResources::Manager : %d pixel shaders loaded\n", int(getEffects().size()));
}

void Manager::recompileAll() {
    waitForEffectsToCompile();
    std::vector<Ptr<ShaderEffectInfo>> fresh;
    getFXFiles(fresh);
    for (const Ptr<ShaderEffectInfo>& f : fresh) {
        Ptr<ShaderEffectInfo> known;
        {
            CriticalSectionLock hold(m_shaderUsageLock);
            for (const Ptr<ShaderEffectInfo>& e : m_effects)
                if (e->getFullPath() == f->getFullPath()) {
                    known = e;
                    break;
                }
        }
        const LightweightString<char> path = toUTF8(f->getFullPath());
        if (!known) {
            if (f->getShader())
                addEffect(f);
            else
                mora_printf("Failed to compile %s\n", path.c_str());
            continue;
        }
        if (known->getFileTime() == f->getFileTime()) continue;
        const Ptr<ShaderEffectInfo> replacement = makePtr<ShaderEffectInfo>(f->getFullPath(), f->getFileTime());
        const ShaderCompilationOutput out = replacement->compile({});
        if (out.shader) {
            // In place: every holder of the effect sees the new one.
            *known = *replacement;
            mora_printf("Recompiled %s\n", path.c_str());
        } else {
            mora_printf("Failed to recompile %s\n", path.c_str());
            for (const ShaderError& e : out.errors) mora_printf("   %s\n", e.message.c_str());
        }
    }
}

} // namespace Qf::FxResources
