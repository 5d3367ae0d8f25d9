#include "platform/gl/GLContextLock.h"

GLContextLock::GLContextLock(std::unique_ptr<EglContext> context) : context_(std::move(context)) {}

GLContextLock::~GLContextLock() {
    run([] {}); // runs what is pending
}

void GLContextLock::acquire() {
    if (isHeldHere()) {
        ++depth_;
        return;
    }
    {
        std::unique_lock<std::mutex> hold(mutex_);
        const uint64_t ticket = nextTicket_++;
        turn_.wait(hold, [&] { return serving_ == ticket; });
    }
    becomeOwner();
}

// Takes the lock only when nobody holds it or waits for it.
bool GLContextLock::tryAcquire() {
    if (isHeldHere()) {
        ++depth_;
        return true;
    }
    {
        std::lock_guard<std::mutex> hold(mutex_);
        if (serving_ != nextTicket_) return false;
        ++nextTicket_;
    }
    becomeOwner();
    return true;
}

void GLContextLock::becomeOwner() {
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    depth_ = 1;
    saved_ = context_->makeCurrent();
    runPending();
}

void GLContextLock::release() {
    if (--depth_ > 0) return;
    runPending();
    context_->restore(saved_);
    owner_.store(std::thread::id(), std::memory_order_relaxed);
    {
        std::lock_guard<std::mutex> hold(mutex_);
        ++serving_;
    }
    turn_.notify_all();
    // A job posted after runPending() above, while this thread still held the
    // lock, would otherwise wait for the next caller.
    bool more;
    {
        std::lock_guard<std::mutex> hold(pendingMutex_);
        more = !pending_.empty();
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
        std::lock_guard<std::mutex> hold(pendingMutex_);
        pending_.push_back(std::move(job));
    }
    if (tryAcquire()) release();
}

void GLContextLock::runPending() {
    for (;;) {
        std::vector<std::function<void()>> jobs;
        {
            std::lock_guard<std::mutex> hold(pendingMutex_);
            jobs.swap(pending_);
        }
        if (jobs.empty()) return;
        for (std::function<void()>& job : jobs) {
            // A posted job has no caller to report to; it must not stop the others.
            try {
                job();
            } catch (...) {
            }
        }
    }
}
