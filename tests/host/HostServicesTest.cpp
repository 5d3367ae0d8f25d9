// The host pieces the effect manager relies on: exit-callback and shut-down
// order, preferences that persist, start arguments, resource texts, the
// timing line, and the background queue's pause and task status.
#include "host/base/Shutdown.h"
#include "host/misc/BackgroundTasks.h"
#include "host/misc/EditorPreferences.h"
#include "host/misc/Log.h"
#include "host/misc/ResourceStrings.h"
#include "host/misc/StartEnv.h"
#include "host/own/ResourceShutdown.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

using ::testing::ElementsAre;

TEST(Shutdown, CallbacksRunOnceByPriorityAfterTheProcessIsMarkedExiting) {
    std::vector<std::string> order;
    Shutdown::addCallback([&](Shutdown::eExitType) { order.push_back(Shutdown::isExiting() ? "450" : "450 not exiting"); }, 450);
    Shutdown::addCallback([&](Shutdown::eExitType) { order.push_back("100"); }, 100);
    Shutdown::addCallback([&](Shutdown::eExitType) { order.push_back("450b"); }, 450);
    Shutdown::runCallbacks(Shutdown::eNormalExit);
    Shutdown::runCallbacks(Shutdown::eNormalExit); // forgotten after running
    EXPECT_THAT(order, ElementsAre("100", "450", "450b"));
    Shutdown::reset();
    EXPECT_FALSE(Shutdown::isExiting());
}

TEST(ResourceShutdown, RunsByOrderKeyWhateverTheRegistrationOrderAndReplacesByKey) {
    std::vector<std::string> order;
    ResourceShutdown::add("luts", ResourceShutdown::kLUTManagerOrder, [&](bool) { order.push_back("luts"); });
    ResourceShutdown::add("fonts", ResourceShutdown::kFontCacheOrder,
                          [&](bool existed) { order.push_back(existed ? "fonts" : "no fonts"); });
    ResourceShutdown::add("fonts", ResourceShutdown::kFontCacheOrder, [&](bool existed) {
        if (existed) order.push_back("fonts");
    });
    ResourceShutdown::runAll(true);
    ResourceShutdown::runAll(false);
    EXPECT_THAT(order, ElementsAre("fonts", "luts", "luts"));
    ResourceShutdown::remove("luts");
    ResourceShutdown::remove("fonts");
}

TEST(EditorPreferences, PersistUnderTheConfigDirectoryAndSurviveAReload) {
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / ("qffx-prefs-" + std::to_string(getpid()));
    std::filesystem::remove_all(dir);
    const char* previous = std::getenv("XDG_CONFIG_HOME");
    const std::string saved = previous ? previous : "";
    setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
    prefs().reload();
    EXPECT_TRUE(prefs().getPreference("HardwareAdvancedScopesEnabled", true));
    prefs().setPreference("HardwareAdvancedScopesEnabled", false);
    prefs().setPreference("Behaviour : ExportAlpha", true);
    prefs().setPreference("bad\nkey", true); // refused: it would split the file's line
    prefs().reload();
    EXPECT_FALSE(prefs().getPreference("HardwareAdvancedScopesEnabled", true));
    EXPECT_TRUE(prefs().getPreference("Behaviour : ExportAlpha", false));
    std::ifstream file(dir / "qffx" / "preferences");
    std::string text((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(text, "Behaviour : ExportAlpha = true\nHardwareAdvancedScopesEnabled = false\n");
    if (previous)
        setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
    else
        unsetenv("XDG_CONFIG_HOME");
    prefs().reload();
    std::filesystem::remove_all(dir);
}

TEST(StartEnv, ArgumentsAreFoundByExactName) {
    StartEnv::programEnv().setArgs({L"-x", L"-transcode"});
    EXPECT_EQ(StartEnv::programEnv().arg(L"-transcode"), 2);
    EXPECT_EQ(StartEnv::programEnv().arg(L"-TRANSCODE"), 0);
    EXPECT_EQ(StartEnv::programEnv().arg(nullptr), 0);
    StartEnv::programEnv().setArgs({});
}

TEST(ResourceStrings, OwnTextsByNumberAndEmptyForUnknown) {
    EXPECT_EQ(resourceStrW(12047), LightweightString<wchar_t>(L"Compiling effects"));
    EXPECT_TRUE(resourceStrW(1).empty());
}

TEST(ErrorLogLogger, WritesLabelAndMillisecondsWithAPointInAnyLocale) {
    std::string captured;
    const LogSink previous = setLogSink([&](std::string_view t) { captured += t; });
    const char* locale = std::setlocale(LC_NUMERIC, "de_DE.UTF-8"); // may be missing; the check holds either way
    ErrorLogLogger::log("Manager::compile()", 41.25);
    ErrorLogLogger::log("x", 2.0);
    mora_printf("QfFxResources::Manager : %d pixel shaders loaded\n", 3);
    if (locale) std::setlocale(LC_NUMERIC, "C");
    setLogSink(previous);
    EXPECT_EQ(captured, "Manager::compile() : 41.25 ms\nx : 2 ms\nQfFxResources::Manager : 3 pixel shaders loaded\n");
}

namespace {
class CountingTask final : public BackgroundTaskBase {
public:
    explicit CountingTask(std::atomic<int>& runs) : BackgroundTaskBase(0), m_runs(runs) {}
    LightweightString<char> getTypeName() const override { return "CountingTask"; }
    LightweightString<wchar_t> getTitle() const override { return L"count"; }
    QfResult run() override {
        getLog()->setCurrentItem(L"item", 0);
        getLog()->setProgress(1.0);
        ++m_runs;
        return 1;
    }

private:
    std::atomic<int>& m_runs;
};
} // namespace

TEST(BackgroundTasksThreads, APausedQueueStartsNothingAndReportsPausedUntilResumed) {
    BackgroundTaskQueueBase queue;
    std::atomic<int> runs{0};
    std::vector<std::string> seen;
    queue.setLogListener([&](const LightweightString<wchar_t>& item, double p) {
        seen.push_back(std::to_string(item.size()) + "/" + std::to_string(int(p)));
    });
    queue.setPaused(true);
    const Ptr<CountingTask> task = makePtr<CountingTask>(runs);
    queue.queue(Ptr<iBackgroundTask>(task.get()), false);
    EXPECT_EQ(queue.getCurrentTaskStatus(), iBackgroundTask::ePaused);
    EXPECT_EQ(task->getStatus(), iBackgroundTask::eQueued);
    queue.setPaused(false);
    queue.waitUntilIdle();
    EXPECT_EQ(runs.load(), 1);
    EXPECT_EQ(task->getStatus(), iBackgroundTask::eFinished);
    EXPECT_EQ(task->getProgress(), 1.0);
    EXPECT_EQ(queue.getCurrentTaskStatus(), iBackgroundTask::eFinished);
    EXPECT_THAT(seen, ElementsAre("4/0", "4/1"));
    queue.queue(Ptr<iBackgroundTask>(makePtr<CountingTask>(runs).get()), true); // waits
    EXPECT_EQ(runs.load(), 2);
}
