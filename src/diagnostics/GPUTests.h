// GPUTests: the GPU part of the editor's system report. Timed tests of the
// video pipeline's GPU path, written to a caller's LoggerBase as wide lines.
//
// runAllTests writes, in this order: the preamble (memory, CPUs, rights),
// then host-to-GPU and GPU-to-host transfer rates, the speed of the "cc3"
// effect, and the playback (upload, render) and render (upload, render, read
// back) loops. Every figure is frames per second at 1920 x 1080:
// WStringFromFloat(fps, 2, true) + "fps". A loop does at most 2000
// iterations; the transfer and combined loops also stop after 5000 ms, and
// the iteration that crosses that limit is not counted. A failure writes one
// level-4 line ("Failed to create test image", "Failed to create test
// images", "Failed to load shader", "Failed") and ends that test; the next
// test still runs. The shader test renders 2000 times whatever the draws
// answer and always writes its figure. The caller's log sees exactly four
// operations: write, beginTests, endTests and endTest.
//
// Each step waits for the GPU (iGPUService::finish) before the clock is read,
// so the figures count the work done rather than the work queued. The whole
// run is bracketed by SystemWatchdog life support. Stateless; one run at a
// time per process is expected (the loops keep the GPU busy).
//
// measureGPUMillisecondsPerPass is not part of the run: the GPU's own time
// for one "cc3" pass (timer queries), which a caller may measure after
// runAllTests has returned and report beside it.
#pragma once

#include "host/base/XY.h"
#include "host/misc/LoggerBase.h"

#include <optional>

class GPUTests {
public:
    static constexpr int kMaxIterations = 2000;
    static constexpr double kTimeLimitMs = 5000;

    static void runAllTests(LoggerBase& log);
    // The mean GPU time of `passes` renders of "cc3" over the test frame, in
    // milliseconds; nothing when the GPU service cannot time, "cc3" is
    // missing, an image cannot be made or a draw fails.
    static std::optional<double> measureGPUMillisecondsPerPass(int passes = 100);
    static XY<int> testImageSize() { return {1920, 1080}; }
    static void combinedTestWithReadBack(LoggerBase& log) { combinedTest(log, true); }
    static void combinedTestWithoutReadback(LoggerBase& log) { combinedTest(log, false); }

    GPUTests& operator=(const GPUTests&) = default;
    GPUTests& operator=(GPUTests&&) = default;

private:
    static void preamble(LoggerBase& log);
    static void hostToGPUTransferTest(LoggerBase& log);
    static void GPUToHostTransferTest(LoggerBase& log);
    static void shaderPerformanceTest(LoggerBase& log);
    static void combinedTest(LoggerBase& log, bool readBack);
};
