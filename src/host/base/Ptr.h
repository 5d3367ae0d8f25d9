// Intrusive reference counting: Qf::InternalRefCount, iVirtual, iObject, Ptr.
//
// A class shared through Ptr derives (virtually) from Qf::InternalRefCount and
// iVirtual; iObject bundles both. The count lives in the object, so a Ptr is
// one pointer and a raw pointer can be re-wrapped without a second count.
// A null Ptr means "not found" or "failed" throughout the library.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

namespace Qf {

class InternalRefCount {
public:
    InternalRefCount() = default;
    // Copies of a counted object start with their own, zero count.
    InternalRefCount(const InternalRefCount&) noexcept {}
    InternalRefCount& operator=(const InternalRefCount&) noexcept { return *this; }

    void addRef() const noexcept { m_refs.fetch_add(1, std::memory_order_relaxed); }
    // Returns the count left after the release.
    int release() const noexcept { return m_refs.fetch_sub(1, std::memory_order_acq_rel) - 1; }
    int refCount() const noexcept { return m_refs.load(std::memory_order_acquire); }

protected:
    ~InternalRefCount() = default;

private:
    mutable std::atomic<int> m_refs{0};
};

} // namespace Qf

class iVirtual {
public:
    virtual ~iVirtual() = default;
};

class iObject : public virtual Qf::InternalRefCount, public virtual iVirtual {
public:
    ~iObject() override = default;
};

struct DefaultDtorTraits {
    template <typename T>
    static void destroy(T* p) noexcept {
        delete p;
    }
};
struct InternalRefCountTraits {
    template <typename T>
    static void addRef(T* p) noexcept {
        p->addRef();
    }
    template <typename T>
    static int release(T* p) noexcept {
        return p->release();
    }
};

template <typename T, typename DtorTraits = DefaultDtorTraits, typename RefTraits = InternalRefCountTraits>
class Ptr {
public:
    Ptr() noexcept = default;
    Ptr(std::nullptr_t) noexcept {}
    explicit Ptr(T* p) noexcept : m_p(p) {
        if (m_p) RefTraits::addRef(m_p);
    }
    Ptr(const Ptr& o) noexcept : m_p(o.m_p) {
        if (m_p) RefTraits::addRef(m_p);
    }
    Ptr(Ptr&& o) noexcept : m_p(std::exchange(o.m_p, nullptr)) {}
    template <typename U>
    Ptr(const Ptr<U, DtorTraits, RefTraits>& o) noexcept : m_p(o.get()) {
        if (m_p) RefTraits::addRef(m_p);
    }
    ~Ptr() { reset(); }

    Ptr& operator=(const Ptr& o) noexcept {
        Ptr(o).swap(*this);
        return *this;
    }
    Ptr& operator=(Ptr&& o) noexcept {
        Ptr(std::move(o)).swap(*this);
        return *this;
    }
    Ptr& operator=(std::nullptr_t) noexcept {
        reset();
        return *this;
    }

    void reset() noexcept {
        if (T* p = std::exchange(m_p, nullptr); p && RefTraits::release(p) == 0) DtorTraits::destroy(p);
    }
    void swap(Ptr& o) noexcept { std::swap(m_p, o.m_p); }

    T* get() const noexcept { return m_p; }
    T* operator->() const noexcept { return m_p; }
    T& operator*() const noexcept { return *m_p; }
    explicit operator bool() const noexcept { return m_p != nullptr; }
    friend bool operator==(const Ptr& a, const Ptr& b) noexcept { return a.m_p == b.m_p; }
    friend bool operator==(const Ptr& a, std::nullptr_t) noexcept { return a.m_p == nullptr; }

private:
    T* m_p = nullptr;
};

// Makes a new counted object and returns the first reference to it.
template <typename T, typename... Args>
Ptr<T> makePtr(Args&&... args) {
    return Ptr<T>(new T(std::forward<Args>(args)...));
}

// Casts between counted types; null when the object is not a U.
template <typename U, typename T>
Ptr<U> ptrCast(const Ptr<T>& p) {
    return Ptr<U>(dynamic_cast<U*>(p.get()));
}
