// Background tasks: iBackgroundTask, BackgroundTaskBase and the queue that
// runs them one after another on its own worker thread.
//
// A task is queued as a Ptr (the queue owns it until it has run). The worker
// calls execute(), which runs the task's body run() between the status
// changes eQueued -> eRunning -> eFinished. Pausing the queue stops it from
// starting further tasks and makes getCurrentTaskStatus() report ePaused (2),
// which a running task may poll to hold its work, until the process is
// exiting (Shutdown::isExiting): from then on the pause is no longer
// reported, so a task that waits on it ends. UIBackgroundTasksQueue is
// the process's queue for work that the user interface waits on.
#pragma once

#include "host/base/LightweightString.h"
#include "host/base/Ptr.h"
#include "host/misc/TaskLog.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

using QfResult = int;

class BackgroundTaskQueueBase;

class iBackgroundTask : public virtual iObject {
public:
    enum eStatus : int { eQueued = 0, eRunning = 1, ePaused = 2, eFinished = 3, eAborted = 4 };
    enum eImportance : int { eLow = 0, eNormal = 1, eHigh = 2 };
    using Listener = std::function<void(iBackgroundTask& task, eStatus status)>;

    virtual QfResult execute() = 0;
    virtual void abort() = 0;
    virtual void waitForCompletion() = 0;
    virtual void setCompletionEvent(std::function<void()> event) = 0;
    virtual double getProgress() const = 0;
    virtual LightweightString<char> getTypeName() const = 0;
    virtual LightweightString<wchar_t> getTitle() const = 0;
    virtual int getImportance() const = 0;
    virtual Ptr<iTaskLog> getLog() = 0;
    // Whether the task may run while the user works (rather than blocking them).
    virtual bool runsInBackground() const = 0;
    // Whether the task needs the user's attention while it runs.
    virtual bool needsUserAttention() const = 0;
    // Whether the task goes before others of lower importance.
    virtual bool isUrgent() const = 0;
    virtual BackgroundTaskQueueBase* getQueue() const = 0;
    virtual void setQueue(BackgroundTaskQueueBase* queue) = 0;
    virtual eStatus getStatus() const = 0;
    virtual void setStatus(eStatus status) = 0;
    virtual void addListener(Listener listener) = 0;
    // The task's body, called by execute().
    virtual QfResult run() = 0;
};

class BackgroundTaskBase : public iBackgroundTask {
public:
    explicit BackgroundTaskBase(int importance);

    QfResult execute() override;
    void abort() override;
    void waitForCompletion() override;
    void setCompletionEvent(std::function<void()> event) override;
    double getProgress() const override;
    int getImportance() const override { return m_importance; }
    Ptr<iTaskLog> getLog() override { return Ptr<iTaskLog>(m_log.get()); }
    bool runsInBackground() const override { return true; }
    bool needsUserAttention() const override { return false; }
    bool isUrgent() const override { return getImportance() == eHigh; }
    BackgroundTaskQueueBase* getQueue() const override;
    void setQueue(BackgroundTaskQueueBase* queue) override;
    eStatus getStatus() const override;
    void setStatus(eStatus status) override;
    void addListener(Listener listener) override;
    bool isAborted() const;

private:
    const int m_importance;
    const Ptr<TaskLog> m_log = makePtr<TaskLog>();
    mutable std::mutex m_mutex;
    std::condition_variable m_done;
    eStatus m_status = eQueued;
    bool m_aborted = false;
    BackgroundTaskQueueBase* m_queue = nullptr;
    std::function<void()> m_completion;
    std::vector<Listener> m_listeners;
};

class BackgroundTaskQueueBase {
public:
    using LogListener = TaskLog::Listener;

    BackgroundTaskQueueBase();
    // Drops the tasks not started and waits for the running one.
    virtual ~BackgroundTaskQueueBase();
    BackgroundTaskQueueBase(const BackgroundTaskQueueBase&) = delete;
    BackgroundTaskQueueBase& operator=(const BackgroundTaskQueueBase&) = delete;

    // Queues a task; with `wait`, returns once it has run.
    void queue(const Ptr<iBackgroundTask>& task, bool wait);
    // The running task's status; ePaused while the queue is paused and the
    // process is not exiting; eFinished when idle.
    iBackgroundTask::eStatus getCurrentTaskStatus() const;
    void setPaused(bool paused);
    bool isPaused() const;
    // Blocks until no task is queued or running (never returns while paused with work left).
    void waitUntilIdle();
    // Installed on the log of every task this queue runs (the tool's progress bar).
    void setLogListener(LogListener listener);

private:
    void work();

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Ptr<iBackgroundTask>> m_pending;
    Ptr<iBackgroundTask> m_current;
    bool m_paused = false;
    bool m_stopping = false;
    LogListener m_logListener;
    std::thread m_worker; // started with the first task
};

class UIBackgroundTasksQueue : public BackgroundTaskQueueBase {
public:
    static UIBackgroundTasksQueue& instance();
};
