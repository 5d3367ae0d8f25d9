#include "host/misc/BackgroundTasks.h"

#include "host/base/Shutdown.h"

// --- BackgroundTaskBase ---

BackgroundTaskBase::BackgroundTaskBase(int importance) : m_importance(importance) {}

QfResult BackgroundTaskBase::execute() {
    setStatus(eRunning);
    const QfResult result = isAborted() ? 0 : run();
    setStatus(isAborted() ? eAborted : eFinished);
    std::function<void()> completion;
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        completion = m_completion;
    }
    if (completion) completion();
    return result;
}

void BackgroundTaskBase::abort() {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_aborted = true;
}

bool BackgroundTaskBase::isAborted() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_aborted;
}

void BackgroundTaskBase::waitForCompletion() {
    std::unique_lock<std::mutex> hold(m_mutex);
    m_done.wait(hold, [this] { return m_status == eFinished || m_status == eAborted; });
}

void BackgroundTaskBase::setCompletionEvent(std::function<void()> event) {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_completion = std::move(event);
}

double BackgroundTaskBase::getProgress() const { return m_log->getProgress(); }

BackgroundTaskQueueBase* BackgroundTaskBase::getQueue() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_queue;
}

void BackgroundTaskBase::setQueue(BackgroundTaskQueueBase* queue) {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_queue = queue;
}

iBackgroundTask::eStatus BackgroundTaskBase::getStatus() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_status;
}

void BackgroundTaskBase::setStatus(eStatus status) {
    std::vector<Listener> listeners;
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_status = status;
        listeners = m_listeners;
    }
    m_done.notify_all();
    for (const Listener& l : listeners) l(*this, status);
}

void BackgroundTaskBase::addListener(Listener listener) {
    if (!listener) return;
    std::lock_guard<std::mutex> hold(m_mutex);
    m_listeners.push_back(std::move(listener));
}

// --- BackgroundTaskQueueBase ---

BackgroundTaskQueueBase::BackgroundTaskQueueBase() = default;

BackgroundTaskQueueBase::~BackgroundTaskQueueBase() {
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_stopping = true;
        m_pending.clear();
    }
    m_changed.notify_all();
    if (m_worker.joinable()) m_worker.join();
}

void BackgroundTaskQueueBase::queue(const Ptr<iBackgroundTask>& task, bool wait) {
    if (!task) return;
    task->setQueue(this);
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        if (m_stopping) return;
        m_pending.push_back(task);
        if (!m_worker.joinable()) m_worker = std::thread([this] { work(); });
    }
    m_changed.notify_all();
    if (wait) task->waitForCompletion();
}

iBackgroundTask::eStatus BackgroundTaskQueueBase::getCurrentTaskStatus() const {
    Ptr<iBackgroundTask> current;
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        // A pause ends for running tasks once the process is exiting, so that
        // nothing waiting on it can hold up the exit.
        if (m_paused && !Shutdown::isExiting()) return iBackgroundTask::ePaused;
        current = m_current;
    }
    return current ? current->getStatus() : iBackgroundTask::eFinished;
}

void BackgroundTaskQueueBase::setPaused(bool paused) {
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_paused = paused;
    }
    m_changed.notify_all();
}

bool BackgroundTaskQueueBase::isPaused() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_paused;
}

void BackgroundTaskQueueBase::waitUntilIdle() {
    std::unique_lock<std::mutex> hold(m_mutex);
    m_changed.wait(hold, [this] { return m_stopping || (m_pending.empty() && !m_current); });
}

void BackgroundTaskQueueBase::setLogListener(LogListener listener) {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_logListener = std::move(listener);
}

void BackgroundTaskQueueBase::work() {
    std::unique_lock<std::mutex> hold(m_mutex);
    for (;;) {
        m_changed.wait(hold, [this] { return m_stopping || (!m_paused && !m_pending.empty()); });
        if (m_stopping) return;
        m_current = std::move(m_pending.front());
        m_pending.pop_front();
        const Ptr<iBackgroundTask> task = m_current;
        const LogListener listener = m_logListener;
        hold.unlock();
        if (const Ptr<TaskLog> log = ptrCast<TaskLog>(task->getLog())) log->setListener(listener);
        task->execute();
        hold.lock();
        m_current = nullptr;
        m_changed.notify_all();
    }
}

UIBackgroundTasksQueue& UIBackgroundTasksQueue::instance() {
    static UIBackgroundTasksQueue queue;
    return queue;
}
