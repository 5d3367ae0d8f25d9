#include "manager/ShaderCompilationTask.h"

#include "host/misc/Paths.h"
#include "host/misc/ResourceStrings.h"
#include "host/os/OS.h"
#include "manager/Manager.h"

namespace Qf::FxResources {

ShaderCompilationTask::ShaderCompilationTask(Manager& manager) : BackgroundTaskBase(0), m_manager(&manager) {}

LightweightString<wchar_t> ShaderCompilationTask::getTitle() const { return resourceStrW(ResourceIds::kCompilingEffects); }

DLL& ShaderCompilationTask::compilerComponent() {
    // The editor's shader compiler on Windows. Nothing provides it on Linux:
    // loading it fails, and that failure is not examined (compiling goes
    // through the GPU service, which reports its own errors).
    static DLL component([] {
        iEnvironmentService* env = OS()->environment();
        return joinPaths(env ? env->componentDirectory() : LightweightString<wchar_t>(), L"D3DCompiler_43.dll");
    }());
    return component;
}

QfResult ShaderCompilationTask::run() {
    Manager* manager;
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        manager = m_manager;
        if (!manager) return 1;
        m_running = true;
    }
    compilerComponent().load();
    manager->compileAll(getLog());
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_running = false;
    }
    m_ended.notify_all();
    return 1;
}

void ShaderCompilationTask::detachAndWait() {
    std::unique_lock<std::mutex> hold(m_mutex);
    m_manager = nullptr;
    m_ended.wait(hold, [this] { return !m_running; });
}

} // namespace Qf::FxResources
