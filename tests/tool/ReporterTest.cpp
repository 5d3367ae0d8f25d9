// The tool's reporting: exit statuses by kind, and the log sink that keeps the
// library's timing lines for --verbose.
#include "Reporter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(Reporter, EachKindHasItsExitStatus) {
    const Reporter report("convert");
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(report.usage("--in and --out are required"), 2);
    EXPECT_EQ(report.bad("cannot read 'x'"), 2);
    EXPECT_EQ(report.failed("the conversion of frame 1 failed"), 1);
    report.say("done");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "qffx convert: --in and --out are required\n"
                                                        "(see qffx convert --help)\n"
                                                        "qffx convert: cannot read 'x'\n"
                                                        "qffx convert: the conversion of frame 1 failed\n"
                                                        "qffx convert: done\n");
}

TEST(Reporter, TimingLinesAreTheLibrarysTimingsOnly) {
    EXPECT_TRUE(isTimingLine("Manager::compile() : 12 ms\n"));
    EXPECT_TRUE(isTimingLine("Manager::compile() : 12.375 ms\n"));
    EXPECT_TRUE(isTimingLine("x : -0.5 ms\n"));
    EXPECT_FALSE(isTimingLine("Manager::compile() : 12 ms")); // not a whole line
    EXPECT_FALSE(isTimingLine("QfFxResources::Manager : 4 pixel shaders loaded\n"));
    EXPECT_FALSE(isTimingLine("GPU time per pass: 8.21 ms\n"));
    EXPECT_FALSE(isTimingLine(" : 12 ms\n"));
    EXPECT_FALSE(isTimingLine("Manager::compile() : ms\n"));
    EXPECT_FALSE(isTimingLine("Manager::compile() : 1.2.3 ms\n"));
    EXPECT_FALSE(isTimingLine("Failed to compile X.fx\nManager::compile() : 12 ms\n"));
}

TEST(Reporter, TheSinkDropsTimingsUnlessVerboseAndKeepsEveryOtherLine) {
    std::vector<std::string> quiet, verbose;
    const LogSink quietSink = toolLogSink(false, [&](std::string_view text) { quiet.emplace_back(text); });
    const LogSink verboseSink = toolLogSink(true, [&](std::string_view text) { verbose.emplace_back(text); });
    for (const char* line : {"Failed to compile Broken.fx\n", "Manager::compile() : 3.5 ms\n", "partial"}) {
        quietSink(line);
        verboseSink(line);
    }
    EXPECT_EQ(quiet, (std::vector<std::string>{"Failed to compile Broken.fx\n", "partial"}));
    EXPECT_EQ(verbose, (std::vector<std::string>{"Failed to compile Broken.fx\n", "Manager::compile() : 3.5 ms\n", "partial"}));
}

} // namespace
