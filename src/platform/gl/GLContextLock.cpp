#include "platform/gl/GLContextLock.h"

GLContextLock::GLContextLock(std::unique_ptr<EglContext> context) : m_context(std::move(context)) {}

GLContextLock::~GLContextLock() {
    run([] {}); // runs what is pending
}

void GLContextLock::acquire() {
    if (isHeldHere()) {
        ++m_depth;
        return;
    }
    {
        std::unique_lock<std::mutex> hold(m_mutex);
        const uint64_t ticket = m_nextTicket++;
        m_turn.wait(hold, [&] { return m_serving == ticket; });
    }
    becomeOwner();
}

// Takes the lock only when nobody holds it or waits for it.
bool GLContextLock::tryAcquire() {
    if (isHeldHere()) {
        ++m_depth;
        return true;
    }
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        if (m_serving != m_nextTicket) return false;
        ++m_nextTicket;
    }
    becomeOwner();
    return true;
}

void GLContextLock::becomeOwner() {
    m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    m_depth = 1;
    m_saved = m_context->makeCurrent();
    runPending();
}

void GLContextLock::release() {
    if (--m_depth > 0) return;
    runPending();
    m_context->restore(m_saved);
    m_owner.store(std::thread::id(), std::memory_order_relaxed);
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        ++m_serving;
    }
    m_turn.notify_all();
    // A job posted after runPending() above, while this thread still held the
    // lock, would otherwise wait for the next caller.
    bool more;
    {
        std::lock_guard<std::mutex> hold(m_pendingMutex);
        more = !m_pending.empty();
    }
    if (more && tryAcquire()) release();
}

void GLContextLock::post(std::function<void()> job) {
    if (!job) return;
    if (isHeldHere()) {
        job();
        return;
    }
    {
        std::lock_guard<std::mutex> hold(m_pendingMutex);
        m_pending.push_back(std::move(job));
    }
    if (tryAcquire()) release();
}

void GLContextLock::runPending() {
    for (;;) {
        std::vector<std::function<void()>> jobs;
        {
            std::lock_guard<std::mutex> hold(m_pendingMutex);
            jobs.swap(m_pending);
        }
        if (jobs.empty()) return;
        for (std::function<void()>& job : jobs) {
            // A posted job has no caller to report to; it must not stop the others.
            try {
                job();
            } catch (...) {}
        }
    }
}
