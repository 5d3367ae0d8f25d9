// GLContextLock: the lock under which every OpenGL call of the service runs,
// on the calling thread.
//
// run(f) waits for its turn, makes the service's context current on the
// calling thread, runs f, and puts back whatever EGL context the thread had
// before (none, usually); f's result or exception comes back as usual. Turns
// are served in arrival order, so no caller waits longer than the jobs
// queued before it (a compile with its priming draw is the longest). The
// lock is recursive: run() inside run() on the same thread just runs.
// post(f) runs f under the lock now if it is free, or else when its holder
// lets go; destructors use it to free GL objects from any thread without
// waiting.
//
// Why a lock rather than a thread that owns the context: making a context
// current and releasing it costs under a microsecond on Mesa, while handing
// a job to another thread and waking the caller again costs tens to hundreds
// of microseconds on a busy machine, a large share of a frame upload. The
// caller's own EGL state is saved and restored, so a caller that renders
// with a context of its own keeps it.
//
// `m_mutex` guards the tickets and `m_pendingMutex` the posted jobs; the
// context is used only by the thread that holds the lock.
#pragma once

#include "platform/gl/EglContext.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

class GLContextLock {
public:
    // Takes over `context`, which is current on no thread.
    explicit GLContextLock(std::unique_ptr<EglContext> context);
    // Runs the posted jobs still pending, then destroys the context; no
    // other thread may be using the lock.
    ~GLContextLock();
    GLContextLock(const GLContextLock&) = delete;
    GLContextLock& operator=(const GLContextLock&) = delete;

    template <typename F>
    auto run(F&& f) -> std::invoke_result_t<F&> {
        Hold hold(*this);
        return f();
    }
    void post(std::function<void()> job);
    bool isHeldHere() const { return m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id(); }

private:
    class Hold {
    public:
        explicit Hold(GLContextLock& lock) : m_lock(lock) { m_lock.acquire(); }
        ~Hold() { m_lock.release(); }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        GLContextLock& m_lock;
    };

    void acquire();
    bool tryAcquire();
    void release();
    void becomeOwner();
    void runPending();

    std::unique_ptr<EglContext> m_context;
    std::mutex m_mutex;
    std::condition_variable m_turn;
    uint64_t m_nextTicket = 0; // guarded by m_mutex
    uint64_t m_serving = 0;    // guarded by m_mutex
    std::atomic<std::thread::id> m_owner{};
    int m_depth = 0;             // owner only
    EglContext::Saved m_saved{}; // owner only: the owner's previous EGL state
    std::mutex m_pendingMutex;
    std::vector<std::function<void()>> m_pending;
};
