#include "host/base/CriticalSection.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

TEST(CriticalSection, IsRecursiveAndExcludesOtherThreads) {
    CriticalSection cs;
    const auto otherThreadGets = [&] {
        bool got = false;
        std::thread([&] {
            got = cs.tryEnter();
            if (got) cs.leave();
        }).join();
        return got;
    };
    cs.enter();
    {
        CriticalSectionLock nested(cs);
        EXPECT_TRUE(cs.tryEnter());
        cs.leave();
    }
    EXPECT_FALSE(otherThreadGets()); // held until the last leave
    cs.leave();
    EXPECT_TRUE(otherThreadGets());

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
