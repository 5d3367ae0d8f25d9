// ShaderCompilationTask: the background task that compiles every effect of
// the manager once (Manager::compileAll), on the UI background-task queue.
//
// The manager detaches the task when it finalises: a task that has not
// started yet then does nothing, and detaching waits for a run in progress,
// so a run never outlives its manager.
#pragma once

#include "host/misc/BackgroundTasks.h"
#include "host/misc/DLL.h"

#include <condition_variable>
#include <mutex>

namespace Qf::FxResources {

class Manager;

class ShaderCompilationTask final : public BackgroundTaskBase {
public:
    explicit ShaderCompilationTask(Manager& manager);

    LightweightString<char> getTypeName() const override { return "ShaderCompilationTask"; }
    LightweightString<wchar_t> getTitle() const override;
    // Loads the compiler component, then compiles every effect; returns 1.
    QfResult run() override;

    // Stops the task from starting and waits for a run in progress to end.
    void detachAndWait();
    // The compiler component, loaded once per process and kept until exit.
    static DLL& compilerComponent();

private:
    std::mutex m_mutex;
    std::condition_variable m_ended;
    Manager* m_manager; // null once detached
    bool m_running = false;
};

} // namespace Qf::FxResources
