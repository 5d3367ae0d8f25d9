#include "host/CriticalSection.h"
#include "host/Ptr.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

struct Counted : iObject {
    explicit Counted(int* destroyed = nullptr) : destroyed_(destroyed) {}
    ~Counted() override { if (destroyed_) ++*destroyed_; }
    int* destroyed_;
};
struct Derived : Counted { using Counted::Counted; };

} // namespace

TEST(Ptr, CountsReferencesAndDestroysOnTheLast) {
    int destroyed = 0;
    {
        Ptr<Counted> a = makePtr<Counted>(&destroyed);
        EXPECT_EQ(a->refCount(), 1);
        Ptr<Counted> b = a;
        Ptr<Counted> c = std::move(b);
        EXPECT_FALSE(b);
        EXPECT_EQ(a->refCount(), 2);
        c = nullptr;
        // A raw pointer re-wrapped shares the object's own count.
        Ptr<Counted> rewrapped(a.get());
        EXPECT_EQ(a->refCount(), 2);
    }
    EXPECT_EQ(destroyed, 1);

    Ptr<Counted> first = makePtr<Counted>(&destroyed);
    first = makePtr<Counted>(&destroyed); // assignment releases the old object
    EXPECT_EQ(destroyed, 2);
    first.reset();
    EXPECT_EQ(destroyed, 3);

    // Copies of a counted object start with their own, zero count.
    Ptr<Counted> a = makePtr<Counted>();
    Counted copy(*a);
    copy = *a;
    EXPECT_EQ(copy.refCount(), 0);
    EXPECT_EQ(a->refCount(), 1);
}

TEST(Ptr, CastsBetweenCountedTypes) {
    int destroyed = 0;
    {
        Ptr<Counted> base = makePtr<Derived>(&destroyed);
        Ptr<Derived> derived = ptrCast<Derived>(base);
        ASSERT_TRUE(derived);
        EXPECT_EQ(base->refCount(), 2);
        Ptr<iObject> upcast = derived;
        EXPECT_EQ(base->refCount(), 3);

        EXPECT_FALSE(ptrCast<Derived>(makePtr<Counted>(&destroyed)));
        EXPECT_FALSE(ptrCast<Derived>(Ptr<Counted>()));
        EXPECT_EQ(destroyed, 1); // the failed cast's temporary is released
    }
    EXPECT_EQ(destroyed, 2);
}

TEST(CriticalSection, IsRecursiveAndExcludesOtherThreads) {
    CriticalSection cs;
    cs.enter();
    cs.enter();
    {
        CriticalSectionLock nested(cs);
        EXPECT_TRUE(cs.tryEnter());
        cs.leave();
    }
    // Held by this thread until the last leave: another thread cannot take it.
    const auto otherThreadGets = [](CriticalSection& lock) {
        bool got = false;
        std::thread([&] { got = lock.tryEnter(); if (got) lock.leave(); }).join();
        return got;
    };
    cs.leave();
    EXPECT_FALSE(otherThreadGets(cs));
    cs.leave();
    EXPECT_TRUE(otherThreadGets(cs));

    // A plain counter stays exact when every update holds the lock.
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                CriticalSectionLock outer(cs);
                CriticalSectionLock inner(cs);
                ++counter;
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(counter, 80000);

}
