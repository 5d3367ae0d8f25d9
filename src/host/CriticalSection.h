// The host's recursive lock. enter/leave may nest on one thread; a
// CriticalSection is never shared by copies (each object gets its own).
#pragma once

#include <mutex>

class CriticalSection {
public:
    CriticalSection() = default;
    CriticalSection(const CriticalSection&) noexcept {}
    CriticalSection& operator=(const CriticalSection&) noexcept { return *this; }

    void enter() { m_mutex.lock(); }
    void leave() { m_mutex.unlock(); }
    bool tryEnter() { return m_mutex.try_lock(); }

    // std::lock_guard / std::unique_lock compatibility.
    void lock() { enter(); }
    void unlock() { leave(); }
    bool try_lock() { return tryEnter(); }

private:
    std::recursive_mutex m_mutex;
};

// Holds a CriticalSection for a scope.
class CriticalSectionLock {
public:
    explicit CriticalSectionLock(CriticalSection& cs) : m_cs(cs) { m_cs.enter(); }
    ~CriticalSectionLock() { m_cs.leave(); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CriticalSection& m_cs;
};
