// Leaving the process: the background queue's reported pause ends once the
// process is exiting, and the exit callbacks run when a program leaves main
// (or calls exit) without running them, once.
#include "host/base/Shutdown.h"
#include "host/misc/BackgroundTasks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

class HoldingTask final : public BackgroundTaskBase {
public:
    explicit HoldingTask(std::atomic<bool>& release) : BackgroundTaskBase(0), m_release(release) {}
    LightweightString<char> getTypeName() const override { return "HoldingTask"; }
    LightweightString<wchar_t> getTitle() const override { return L"Holding"; }
    QfResult run() override {
        while (!m_release.load()) std::this_thread::yield();
        return 1;
    }

private:
    std::atomic<bool>& m_release;
};

} // namespace

TEST(BackgroundTasksThreads, APausedQueueStopsReportingThePauseOnceTheProcessIsExiting) {
    BackgroundTaskQueueBase queue;
    std::atomic<bool> release{false};
    queue.queue(Ptr<iBackgroundTask>(makePtr<HoldingTask>(release).get()), false);
    while (queue.getCurrentTaskStatus() != iBackgroundTask::eRunning) std::this_thread::yield();
    queue.setPaused(true);
    EXPECT_EQ(queue.getCurrentTaskStatus(), iBackgroundTask::ePaused);
    Shutdown::requestExit();
    EXPECT_EQ(queue.getCurrentTaskStatus(), iBackgroundTask::eRunning); // a worker waiting on the pause goes on
    EXPECT_TRUE(queue.isPaused());
    Shutdown::reset();
    EXPECT_EQ(queue.getCurrentTaskStatus(), iBackgroundTask::ePaused);
    release = true;
    queue.setPaused(false);
    queue.waitUntilIdle();
}

// In a child process: a program that calls exit (as returning from main
// does) without running the callbacks gets them run, before its own atexit
// handlers; one that ran them already does not get them again.
TEST(ShutdownThreads, CallbacksRunAtExitOnceWhenTheProgramDidNotRunThem) {
    static std::atomic<int> runs{0};
    const auto program = [](bool runFirst) {
        std::atexit([] { std::fprintf(stderr, "runs=%d exiting=%d\n", runs.load(), int(Shutdown::isExiting())); });
        Shutdown::addCallback([](Shutdown::eExitType) { ++runs; }, 450);
        if (runFirst) Shutdown::runCallbacks(Shutdown::eNormalExit);
        std::exit(0);
    };
    EXPECT_EXIT(program(false), ::testing::ExitedWithCode(0), "runs=1 exiting=1");
    EXPECT_EXIT(program(true), ::testing::ExitedWithCode(0), "runs=1 exiting=1");
}
