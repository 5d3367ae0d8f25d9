// The background compilation: its log lines, "-transcode", exit requests in
// the middle of a run, and yielding to on-demand compiles and a paused queue.
#include "ManagerTestSupport.h"

#include "host/base/Strings.h"
#include "host/misc/StartEnv.h"

#include <gmock/gmock.h>

#include <thread>

using namespace QfManagerTest;
using Qf::FxResources::Manager;
using ::testing::ElementsAre;
using namespace std::chrono_literals;

namespace {

void waitUntil(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) std::this_thread::sleep_for(5ms);
}

} // namespace

TEST_F(ManagerTest, ReportsProgressInOrderEachFailureWithItsErrorLinesAndTheCountOfAllEffects) {
    for (const char* name : {"A.fx", "B.fx", "C.fx"}) writeShader(name, effectText());
    writeTemplate("D.fx", effectText());
    m_gpu->succeedNextCompile();
    m_gpu->failNextCompile({{"  error: line 3: nope  ", 3}, {"second", 4}});
    std::mutex mutex;
    std::vector<std::string> seen;
    UIBackgroundTasksQueue::instance().setLogListener([&](const LightweightString<wchar_t>& item, double progress) {
        std::lock_guard<std::mutex> hold(mutex);
        seen.push_back(toUTF8(item).str() + " " + std::to_string(int(progress * 100)));
    });
    start();
    waitForBackground();
    UIBackgroundTasksQueue::instance().setLogListener({});
    EXPECT_THAT(seen, ElementsAre("A.fx 0", "A.fx 25", "B.fx 25", "B.fx 50", "C.fx 50", "C.fx 75", "D.fx 75", "D.fx 100"));
    EXPECT_THAT(logLines(), ElementsAre("Failed to compile B.fx\n", "   error: line 3: nope\n", "   second\n",
                                        "QfFxResources::Manager : 4 pixel shaders loaded\n"));
    EXPECT_EQ(m_gpu->compiles().size(), 4u);
}

TEST_F(ManagerTest, TranscodeCompilesNothingButStillCountsTheFiles) {
    for (const char* name : {"A.fx", "B.fx"}) writeShader(name, effectText());
    StartEnv::programEnv().setArgs({L"-transcode"});
    start();
    waitForBackground();
    EXPECT_TRUE(m_gpu->compiles().empty());
    EXPECT_THAT(logLines(), ElementsAre("QfFxResources::Manager : 2 pixel shaders loaded\n"));
}

// Exit requested while the third of ten compiles. Through the exit callbacks
// (the manager finalises) the third finishes and nothing follows; through
// the exiting flag alone the worker notices before the next effect, which it
// still compiles. Neither prints the summary.
TEST_F(ManagerTest, AnExitMidRunFinishesTheEffectInHandAndSkipsTheSummary) {
    struct Case {
        bool throughCallbacks;
        size_t compiled;
    };
    for (const Case c : {Case{true, 3}, Case{false, 4}}) {
        for (int i = 0; i < 10; ++i) writeShader("E" + std::to_string(i) + ".fx", effectText());
        clearLog();
        m_gpu->setCompileDelay(60ms);
        const size_t before = m_gpu->compiles().size();
        start();
        // A compile is recorded when it ends: two recorded, and the third under way.
        waitUntil([&] { return m_gpu->compiles().size() == before + 2; });
        std::this_thread::sleep_for(20ms);
        if (c.throughCallbacks) {
            shutdownNow();
        } else {
            Shutdown::requestExit();
            waitForBackground();
            shutdownNow();
        }
        EXPECT_EQ(m_gpu->compiles().size() - before, c.compiled) << c.throughCallbacks;
        EXPECT_THAT(logLines(), ElementsAre()) << c.throughCallbacks;
        m_gpu->setCompileDelay(0ms);
    }
}

TEST_F(ManagerTest, BackgroundWaitsWhileAnOnDemandCompileRuns) {
    for (const char* name : {"A.fx", "B.fx", "C.fx"}) writeShader(name, effectText());
    UIBackgroundTasksQueue::instance().setPaused(true);
    Manager& m = start();
    // The worker names each effect just before compiling it: note how many
    // on-demand compiles were running at its first one.
    std::atomic<int> runningAtFirstItem{-1};
    UIBackgroundTasksQueue::instance().setLogListener([&](const LightweightString<wchar_t>&, double progress) {
        if (progress == 0) runningAtFirstItem.store(m.foregroundCompiles());
    });
    m_gpu->setCompileDelay(300ms);
    std::thread caller([&] { EXPECT_TRUE(m.findShader("C")); });
    waitUntil([&] { return m.foregroundCompiles() == 1; });
    UIBackgroundTasksQueue::instance().setPaused(false);
    caller.join();
    m_gpu->setCompileDelay(0ms);
    waitForBackground();
    UIBackgroundTasksQueue::instance().setLogListener({});
    EXPECT_EQ(runningAtFirstItem.load(), 0);
    EXPECT_EQ(m_gpu->compiles().size(), 3u); // C was not compiled twice
}

TEST_F(ManagerTest, APausedQueueHoldsTheWorkerUntilItResumes) {
    for (const char* name : {"A.fx", "B.fx", "C.fx"}) writeShader(name, effectText());
    m_gpu->setCompileDelay(100ms);
    start();
    waitUntil([&] { return m_gpu->compiles().size() == 1; });
    UIBackgroundTasksQueue::instance().setPaused(true);
    EXPECT_EQ(UIBackgroundTasksQueue::instance().getCurrentTaskStatus(), iBackgroundTask::ePaused);
    std::this_thread::sleep_for(600ms);
    EXPECT_LE(m_gpu->compiles().size(), 2u); // at most the effect in hand when the pause came
    UIBackgroundTasksQueue::instance().setPaused(false);
    waitForBackground();
    EXPECT_EQ(m_gpu->compiles().size(), 3u);
    m_gpu->setCompileDelay(0ms);
}
