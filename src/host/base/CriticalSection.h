// The host's recursive lock. enter/leave may nest on one thread; a
// CriticalSection is never shared by copies (each object gets its own).
// It is a capability for Clang's thread-safety analysis (ThreadSafety.h):
// members say QF_GUARDED_BY(lock), and CriticalSectionLock holds it for a scope.
#pragma once

#include "host/base/ThreadSafety.h"

#include <mutex>

class QF_CAPABILITY("mutex") CriticalSection {
public:
    CriticalSection() = default;
    CriticalSection(const CriticalSection&) noexcept {}
    CriticalSection& operator=(const CriticalSection&) noexcept { return *this; }

    void enter() QF_ACQUIRE() { m_mutex.lock(); }
    void leave() QF_RELEASE() { m_mutex.unlock(); }
    bool tryEnter() QF_TRY_ACQUIRE(true) { return m_mutex.try_lock(); }

    // std::lock_guard / std::unique_lock compatibility.
    void lock() QF_ACQUIRE() { enter(); }
    void unlock() QF_RELEASE() { leave(); }
    bool try_lock() QF_TRY_ACQUIRE(true) { return tryEnter(); }

private:
    std::recursive_mutex m_mutex;
};

// Holds a CriticalSection for a scope.
class QF_SCOPED_CAPABILITY CriticalSectionLock {
public:
    explicit CriticalSectionLock(CriticalSection& cs) QF_ACQUIRE(cs) : m_cs(cs) { m_cs.enter(); }
    ~CriticalSectionLock() QF_RELEASE() { m_cs.leave(); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CriticalSection& m_cs;
};
