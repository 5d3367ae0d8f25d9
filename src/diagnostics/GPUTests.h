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
// test still runs. Besides the messages, the shader test reports the GPU's
// own time per pass (timer queries) as the measurement "gpuMsPerPass" where
// the GPU service can time.
//
// Each step waits for the GPU (iGPUService::finish) before the clock is read,
// so the figures count the work done rather than the work queued. The whole
// run is bracketed by SystemWatchdog life support. Stateless; one run at a
// time per process is expected (the loops keep the GPU busy).
#pragma once

#include "host/LoggerBase.h"
#include "host/XY.h"

class GPUTests {
public:
    static constexpr int kMaxIterations = 2000;
    static constexpr double kTimeLimitMs = 5000;

    static void runAllTests(LoggerBase& log);
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
