// The manager used from several threads at once: look-ups that never wait
// for a lock, a shut-down that waits for compiles running in callers'
// threads, no lock-order deadlock between a caller holding the shader-usage
// lock and the background run, and a paused queue that cannot hold up a
// shut-down. A deadlock cannot be joined, so those tests end the process.
#include "FakeCompute.h"
#include "ManagerTestSupport.h"

#include "host/base/Shutdown.h"
#include "host/misc/TextFile.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <thread>

using namespace QfManagerTest;
using Qf::FxResources::Manager;
using namespace std::chrono_literals;

namespace {

class ManagerThreadsTest : public ManagerTest {};

void waitUntil(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) std::this_thread::sleep_for(5ms);
}

// Runs `work` on a thread of its own and waits up to `limit`. A thread still
// blocked then is deadlocked and can never be joined: the failure is
// reported and the process ends.
void finishesWithin(std::chrono::seconds limit, const char* what, const std::function<void()>& work) {
    std::promise<void> done;
    std::future<void> finished = done.get_future();
    std::thread worker([&] {
        work();
        done.set_value();
    });
    if (finished.wait_for(limit) != std::future_status::ready) {
        ADD_FAILURE() << what << " still blocked after " << limit.count() << " s: a deadlock";
        std::fflush(stdout);
        std::_Exit(1);
    }
    worker.join();
}

} // namespace

// A conversion holds the shader-usage lock for its whole draw; a caller doing
// that may call recompileAll, which waits for the background run. The run
// must therefore never need the shader-usage lock.
TEST_F(ManagerThreadsTest, RecompileAllUnderTheUsageLockWhileTheBackgroundRunsDoesNotDeadlock) {
    for (int i = 0; i < 8; ++i) writeShader("E" + std::to_string(i) + ".fx", effectText());
    m_gpu->setCompileDelay(40ms);
    Manager& m = start();
    waitUntil([&] { return !m_gpu->compiles().empty(); });
    finishesWithin(10s, "recompileAll under the shader-usage lock", [&] {
        CriticalSectionLock hold(m.getShaderUsageLock());
        m.recompileAll();
    });
    EXPECT_EQ(m_gpu->compiles().size(), 8u); // the run ended first; nothing changed on disk
}

// A caller compiling through findShader while another thread shuts the
// manager down: the shut-down waits for that compile (which the GPU service
// records when it ends) before it frees the manager.
TEST_F(ManagerThreadsTest, ShutDownWaitsForAnOnDemandCompileOnAnotherThread) {
    writeShader("Slow.fx", effectText());
    UIBackgroundTasksQueue::instance().setPaused(true); // only the caller compiles
    Manager& m = start();
    m_gpu->setCompileDelay(300ms);
    std::thread caller([&] { EXPECT_TRUE(m.findShader("Slow")); });
    waitUntil([&] { return m.foregroundCompiles() == 1; });
    shutdownNow();
    EXPECT_EQ(m_gpu->compiles().size(), 1u) << "the shut-down did not wait for the caller's compile";
    EXPECT_FALSE(Manager::isStarted());
    caller.join();
    m_gpu->setCompileDelay(0ms);
}

// Building a kernel file holds the shader-usage lock for the whole build;
// look-ups and run-time effects do not take that lock, so they do not wait.
TEST_F(ManagerThreadsTest, LookUpsDoNotWaitForAKernelBuild) {
    writeShader("A.fx", effectText());
    writeShader("K.cl", "kernel void k() {}");
    FakeComputeService compute;
    m_os->setCompute(&compute);
    compute.context->buildDelay = 2000ms;
    Manager& m = start();
    waitForBackground();
    std::thread builder([&] { EXPECT_TRUE(m.getGPUProgram(L"K.cl", true)); });
    waitUntil([&] { return compute.context->builds.load() == 1; });
    const auto t0 = std::chrono::steady_clock::now();
    EXPECT_TRUE(m.findEffect("A", false));
    EXPECT_TRUE(m.findShader("a"));
    EXPECT_TRUE(m.createShaderFromCode("Made", TextFile::fromText(effectText()).lines()));
    const auto took = std::chrono::steady_clock::now() - t0;
    const bool buildStillRunning = compute.context->finished.load() == 0;
    builder.join();
    EXPECT_TRUE(buildStillRunning);
    EXPECT_LT(took, 500ms) << "look-ups waited for the kernel build";
    shutdownNow();
    m_os->setCompute(nullptr);
}

// The worker sleeps while the queue is paused; once the process is exiting
// the queue no longer reports a pause, so the shut-down goes through.
TEST_F(ManagerThreadsTest, APausedQueueDoesNotHoldUpTheShutDown) {
    for (int i = 0; i < 4; ++i) writeShader("E" + std::to_string(i) + ".fx", effectText());
    m_gpu->setCompileDelay(50ms);
    start();
    waitUntil([&] { return !m_gpu->compiles().empty(); });
    UIBackgroundTasksQueue::instance().setPaused(true);
    std::this_thread::sleep_for(300ms);
    const size_t whilePaused = m_gpu->compiles().size();
    EXPECT_LE(whilePaused, 2u); // at most the effect in hand when the pause came
    finishesWithin(10s, "a shut-down with the queue paused", [] { Shutdown::runCallbacks(Shutdown::eNormalExit); });
    EXPECT_FALSE(Manager::isStarted());
    EXPECT_LE(m_gpu->compiles().size(), whilePaused + 1);
    Shutdown::reset();
    m_gpu->setCompileDelay(0ms);
}
