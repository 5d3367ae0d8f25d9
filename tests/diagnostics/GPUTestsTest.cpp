// GPUTests on the recording GPU service: the order, texts and levels of the
// log, the limits, and each failure path. The manager finds "cc3" in a
// temporary shaders directory through the Linux host's file service.
#include "diagnostics/GPUTests.h"
#include "diagnostics/DiagnosticsLog.h"
#include "host/base/Shutdown.h"
#include "host/base/Strings.h"
#include "host/misc/BackgroundTasks.h"
#include "host/misc/Paths.h"
#include "host/misc/SystemWatchdog.h"
#include "platform/LinuxServices.h"
#include "support/RecordingGPUService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

namespace {

// Every call of the LoggerBase, in order: "write 5 Testing ...", "beginTests 5", "endTest", "endTests".
class RecordingLogger final : public LoggerBase {
public:
    void write(const LightweightString<wchar_t>& text, int level) override {
        calls.push_back("write " + std::to_string(level) + " " + toUTF8(text).str());
    }
    void beginTests(int level) override { calls.push_back("beginTests " + std::to_string(level)); }
    void endTests() override { calls.push_back("endTests"); }
    void endTest() override { calls.push_back("endTest"); }
    std::vector<std::string> calls;
};

class FixedSystemInfo final : public iSystemInfoService {
public:
    MemoryStatus getMemoryStatus() override { return {uint64_t(3) << 29, uint64_t(8) << 30}; }
    int getNumCPUs() override { return 12; }
    bool isAdministrator() override { return false; }
};

// The recording GPU service with the Linux host's file listing.
class DiagnosticsOS final : public iOS {
public:
    explicit DiagnosticsOS(QfTest::RecordingGPUService& gpu) : m_gpu(gpu), m_previous(installOS(this)) {}
    ~DiagnosticsOS() override { installOS(m_previous); }
    iGPUService* gpu() override { return &m_gpu; }
    iSystemInfoService* systemInfo() override { return m_gpu.systemInfo(); }
    iFileService* files() override { return LinuxServices::instance().files(); }
    iThreadService* threads() override { return LinuxServices::instance().threads(); }

private:
    QfTest::RecordingGPUService& m_gpu;
    iOS* m_previous;
};

class GPUTestsTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_root = fs::temp_directory_path() / ("qffx-diagnostics-" + std::to_string(getpid()));
        fs::remove_all(m_root);
        fs::create_directories(m_root / "shaders");
        fs::create_directories(m_root / "templates");
        setShadersDir(fromUTF8((m_root / "shaders").string().c_str()));
        setFXTemplatesDir(fromUTF8((m_root / "templates").string().c_str()));
        m_gpu.setSystemInfo(&m_info);
        m_gpu.setReadBacksSucceed(true);
        UIBackgroundTasksQueue::instance().setPaused(true); // compile only on demand
    }
    void TearDown() override {
        UIBackgroundTasksQueue::instance().setPaused(false);
        Shutdown::runCallbacks(Shutdown::eNormalExit);
        Shutdown::reset();
        setShadersDir({});
        setFXTemplatesDir({});
        fs::remove_all(m_root);
    }
    void addCC3() { fs::copy_file(fs::path(QFFX_SHADERS_SOURCE_DIR) / "cc3.fx", m_root / "shaders" / "cc3.fx"); }
    // The messages after the preamble and beginTests.
    static std::vector<std::string> tests(const RecordingLogger& log) { return {log.calls.begin() + 4, log.calls.end()}; }

    fs::path m_root;
    FixedSystemInfo m_info;
    QfTest::RecordingGPUService m_gpu;
    DiagnosticsOS m_os{m_gpu};
};

const char* const kFps = "write 0 [0-9]+(\\.[0-9][0-9]?)?fps";

TEST_F(GPUTestsTest, WritesThePreambleAndEveryTestInOrderWithTheirLevels) {
    addCC3();
    RecordingLogger log;
    std::vector<bool> lifeSupport;
    SystemWatchdog::setHook([&](bool alive) { lifeSupport.push_back(alive); });
    GPUTests::runAllTests(log);
    SystemWatchdog::setHook({});
    EXPECT_THAT(lifeSupport, ElementsAre(true, false));
    EXPECT_THAT(log.calls, ElementsAre("write 0 Memory : 1.5 GB / 8 GB", "write 0 CPUs   : 12", "write 0 Admin  : No",
                                       "beginTests 5", "write 5 Testing host to GPU transfer", MatchesRegex(kFps), "endTest",
                                       "write 5 Testing GPU to host transfer", MatchesRegex(kFps), "endTest",
                                       "write 5 Testing shader performance", MatchesRegex(kFps), "endTest",
                                       "write 5 Testing playback performance", MatchesRegex(kFps), "endTest",
                                       "write 5 Testing render performance", MatchesRegex(kFps), "endTest", "endTests"));
    // The shader loop renders 2000 times; the combined loops at most 2000 each.
    const std::vector<QfTest::DrawRecord> draws = m_gpu.draws();
    ASSERT_GE(draws.size(), 2000u);
    ASSERT_LE(draws.size(), 6000u);
    EXPECT_EQ(draws.front().target->getSize(), (XY<int>{1920, 1080}));
    EXPECT_EQ(draws.front().inputs.at(0).name, "Input");
}

// The shader test renders 2000 times whatever the draws answer, and times
// only the whole loop: it writes its fps, and runAllTests starts no GPU
// timer (the per-pass GPU time is a measurement of its own).
TEST_F(GPUTestsTest, TheShaderTestRendersTwoThousandTimesWhateverHappensAndTimesNothingOnTheGPU) {
    addCC3();
    m_gpu.setFailDraws(true);
    RecordingLogger log;
    GPUTests::runAllTests(log);
    EXPECT_THAT(tests(log), ElementsAre("write 5 Testing host to GPU transfer", MatchesRegex(kFps), "endTest",
                                        "write 5 Testing GPU to host transfer", MatchesRegex(kFps), "endTest",
                                        "write 5 Testing shader performance", MatchesRegex(kFps), "endTest",
                                        "write 5 Testing playback performance", "write 4 Failed", "endTest",
                                        "write 5 Testing render performance", "write 4 Failed", "endTest", "endTests"));
    EXPECT_EQ(m_gpu.draws().size(), 2002u); // 2000, then one failed draw in each combined test
    EXPECT_THAT(m_gpu.calls(), ::testing::Not(::testing::Contains(::testing::StartsWith("timer"))));
}

// The per-pass GPU time is measured on its own: one timer interval around
// each render of "cc3", their mean; nothing without "cc3" or when a draw fails.
TEST_F(GPUTestsTest, TheGPUTimePerPassIsTheMeanOfOneTimerIntervalPerRender) {
    EXPECT_FALSE(GPUTests::measureGPUMillisecondsPerPass(10));
    Shutdown::runCallbacks(Shutdown::eNormalExit); // the next manager lists "cc3"
    Shutdown::reset();
    addCC3();
    m_gpu.clearCalls();
    EXPECT_EQ(GPUTests::measureGPUMillisecondsPerPass(10), QfTest::RecordingTimer::kMilliseconds);
    const std::vector<std::string> calls = m_gpu.calls();
    const std::vector<std::string> firstPass(calls.end() - 30, calls.end() - 27);
    EXPECT_THAT(firstPass, ElementsAre("timer begin", "draw 1920x1080 Input flags 0", "timer end"));
    m_gpu.setFailDraws(true);
    EXPECT_FALSE(GPUTests::measureGPUMillisecondsPerPass(10));
}

TEST_F(GPUTestsTest, AMissingCC3FailsTheShaderAndCombinedTestsOnly) {
    RecordingLogger log;
    GPUTests::runAllTests(log);
    EXPECT_THAT(tests(log),
                ElementsAre("write 5 Testing host to GPU transfer", MatchesRegex(kFps), "endTest",
                            "write 5 Testing GPU to host transfer", MatchesRegex(kFps), "endTest",
                            "write 5 Testing shader performance", "write 4 Failed to load shader", "endTest",
                            "write 5 Testing playback performance", "write 4 Failed to load shader", "endTest",
                            "write 5 Testing render performance", "write 4 Failed to load shader", "endTest", "endTests"));
    EXPECT_TRUE(m_gpu.draws().empty());
}

TEST_F(GPUTestsTest, FailingImageCreationEndsEachTestWithItsMessage) {
    addCC3();
    m_gpu.setFailImageCreation(true);
    RecordingLogger log;
    GPUTests::runAllTests(log);
    EXPECT_THAT(tests(log), ElementsAre("write 5 Testing host to GPU transfer", "write 4 Failed", "endTest",
                                        "write 5 Testing GPU to host transfer", "write 4 Failed to create test image", "endTest",
                                        "write 5 Testing shader performance", "write 4 Failed to create test images", "endTest",
                                        "write 5 Testing playback performance", "write 4 Failed", "endTest",
                                        "write 5 Testing render performance", "write 4 Failed", "endTest", "endTests"));
}

TEST_F(GPUTestsTest, AFailedReadBackFailsOnlyTheTestsThatReadBack) {
    addCC3();
    m_gpu.setReadBacksSucceed(false);
    RecordingLogger log;
    GPUTests::runAllTests(log);
    EXPECT_THAT(tests(log), ElementsAre("write 5 Testing host to GPU transfer", MatchesRegex(kFps), "endTest",
                                        "write 5 Testing GPU to host transfer", "write 4 Failed", "endTest",
                                        "write 5 Testing shader performance", MatchesRegex(kFps), "endTest",
                                        "write 5 Testing playback performance", MatchesRegex(kFps), "endTest",
                                        "write 5 Testing render performance", "write 4 Failed", "endTest", "endTests"));
}

TEST(DiagnosticsLogTest, KeepsTheReportAndRendersOneLinePerMessage) {
    std::vector<std::string> lines;
    DiagnosticsLog log([&](const std::string& line) { lines.push_back(line); });
    log.write(L"CPUs   : 2", 0);
    log.beginTests(5);
    log.write(L"Testing shader performance", 5);
    log.write(L"123.45fps", 0);
    log.endTest();
    log.write(L"Testing render performance", 5);
    log.write(L"Failed to load shader", 4);
    log.endTest();
    log.endTests();

    EXPECT_THAT(lines, ElementsAre("CPUs   : 2", "", "Testing shader performance", "123.45fps", "", "Testing render performance",
                                   "Failed to load shader"));
    ASSERT_EQ(log.tests().size(), 2u);
    double fps = 0;
    EXPECT_TRUE(log.tests()[0].fps(fps));
    EXPECT_DOUBLE_EQ(fps, 123.45);
    EXPECT_FALSE(log.tests()[0].failed());
    EXPECT_TRUE(log.tests()[1].failed());
    EXPECT_FALSE(log.tests()[1].fps(fps));
    EXPECT_TRUE(log.anyFailed());
    EXPECT_THAT(log.preamble(), ElementsAre("CPUs   : 2"));
}

TEST(ByteCountsTest, UseTheLargestUnitWithTwoPlaces) {
    EXPECT_EQ(bytesAsString(1, true), L"1 byte");
    EXPECT_EQ(bytesAsString(1023, true), L"1023 bytes");
    EXPECT_EQ(bytesAsString(1536, true), L"1.5 KB");
    EXPECT_EQ(bytesAsString(1536, false), L"1.50 KB");
    EXPECT_EQ(bytesAsString(uint64_t(3) << 40, true), L"3 TB");
}

} // namespace
