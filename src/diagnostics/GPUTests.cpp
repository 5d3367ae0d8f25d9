#include "diagnostics/GPUTests.h"

#include "host/base/Strings.h"
#include "host/base/Time.h"
#include "host/image/HostImage.h"
#include "host/misc/SystemWatchdog.h"
#include "host/os/OS.h"
#include "host/os/SystemInfo.h"
#include "manager/Manager.h"

#include <algorithm>
#include <functional>
#include <numeric>

namespace {

using Wide = LightweightString<wchar_t>;

const char* const kTestShader = "cc3";

// A host frame of the test size with a smooth pattern (not all zeros, so no
// layer can take a shortcut).
Ptr<HostImage> createHostTestImage() {
    const XY<int> size = GPUTests::testImageSize();
    Ptr<HostImage> image = HostImage::create(size, iGPUImage::eRGBA8);
    if (!image) return nullptr;
    for (int y = 0; y < size.y; ++y) {
        uint8_t* row = image->row(y);
        for (int x = 0; x < size.x; ++x) {
            row[x * 4 + 0] = uint8_t(x);
            row[x * 4 + 1] = uint8_t(y);
            row[x * 4 + 2] = uint8_t(x + y);
            row[x * 4 + 3] = 255;
        }
    }
    return image;
}

Ptr<iGPUImage> createGPUImage() {
    iGPUService* gpu = OS()->gpu();
    return gpu ? gpu->createImage(GPUTests::testImageSize(), iGPUImage::eRGBA8) : nullptr;
}

void waitForGPU() {
    if (iGPUService* gpu = OS()->gpu()) gpu->finish();
}

void writeFps(LoggerBase& log, double iterations, double elapsedMs) {
    // A run too short for the clock to see counts as one microsecond.
    const double fps = iterations / (std::max(elapsedMs, 1e-3) / 1000);
    log.write(Qf::WStringFromFloat(fps, 2, true) + L"fps", LoggerBase::eResult);
}

// The timed loop of the transfer and combined tests. `step` does one
// iteration and returns false when it failed; what it made is released when
// it returns. At most kMaxIterations; after kTimeLimitMs the loop ends and
// the step that crossed the limit is not counted. Writes the fps or "Failed".
void timedLoop(LoggerBase& log, const std::function<bool()>& step) {
    const double t0 = msecsNow();
    int n = 0;
    bool failed = false;
    for (;;) {
        if (n > GPUTests::kMaxIterations - 1) break;
        if (!step()) failed = true;
        if (msecsNow() - t0 > GPUTests::kTimeLimitMs) break;
        ++n;
        if (failed) break;
    }
    if (failed)
        log.write(L"Failed", LoggerBase::eFailure);
    else
        writeFps(log, n, msecsNow() - t0);
}

// The test shader, compiled on demand; null when it is missing or does not compile.
Ptr<iShaderEffect> findTestShader() {
    const Ptr<ShaderEffectInfo> info =
        Qf::FxResources::Manager::instance().findEffect(LightweightString<char>(kTestShader), true);
    return info ? info->getShader() : nullptr;
}

bool render(iShaderEffect& shader, const Ptr<iGPUImage>& input, const Ptr<iGPUImage>& output) {
    return shader.draw(output, {ShaderInputBinding::whole("Input", input)});
}

// Ends a test that could not start, with the reason as its failure line.
void abandonTest(LoggerBase& log, const wchar_t* reason) {
    log.write(reason, LoggerBase::eFailure);
    log.endTest();
}

} // namespace

void GPUTests::runAllTests(LoggerBase& log) {
    SystemWatchdog::beginLifeSupport();
    preamble(log);
    log.beginTests(LoggerBase::eTitle);
    hostToGPUTransferTest(log);
    GPUToHostTransferTest(log);
    shaderPerformanceTest(log);
    combinedTest(log, false);
    combinedTest(log, true);
    log.endTests();
    SystemWatchdog::endLifeSupport();
}

void GPUTests::preamble(LoggerBase& log) {
    iSystemInfoService* info = OS()->systemInfo();
    const MemoryStatus memory = info ? info->getMemoryStatus() : MemoryStatus{};
    log.write(L"Memory : " + bytesAsString(memory.availableBytes, true) + L" / " + bytesAsString(memory.totalBytes, true),
              LoggerBase::eResult);
    log.write(L"CPUs   : " + Qf::WStringFromInteger(info ? info->getNumCPUs() : 0), LoggerBase::eResult);
    log.write(Wide(L"Admin  : ") + (info && info->isAdministrator() ? L"Yes" : L"No"), LoggerBase::eResult);
}

void GPUTests::hostToGPUTransferTest(LoggerBase& log) {
    log.write(L"Testing host to GPU transfer", LoggerBase::eTitle);
    const Ptr<HostImage> frame = createHostTestImage();
    if (!frame) return abandonTest(log, L"Failed to create test image");
    timedLoop(log, [&] {
        const Ptr<iGPUImage> target = createGPUImage();
        const bool ok = target && frame->uploadTo(*target);
        waitForGPU();
        return ok;
    });
    log.endTest();
}

void GPUTests::GPUToHostTransferTest(LoggerBase& log) {
    log.write(L"Testing GPU to host transfer", LoggerBase::eTitle);
    const Ptr<HostImage> frame = createHostTestImage();
    const Ptr<iGPUImage> source = createGPUImage();
    if (!frame || !source || !frame->uploadTo(*source)) return abandonTest(log, L"Failed to create test image");
    timedLoop(log, [&] {
        const Ptr<HostImage> target = HostImage::create(testImageSize(), iGPUImage::eRGBA8);
        return target && target->readBackFrom(*source);
    });
    log.endTest();
}

// 2000 renders whatever they answer, timed as a whole: the figure counts the
// renders, and a failed draw does not end the loop.
void GPUTests::shaderPerformanceTest(LoggerBase& log) {
    log.write(L"Testing shader performance", LoggerBase::eTitle);
    const Ptr<iShaderEffect> shader = findTestShader();
    if (!shader) return abandonTest(log, L"Failed to load shader");
    const Ptr<iGPUImage> input = createGPUImage();
    const Ptr<iGPUImage> output = createGPUImage();
    if (!input || !output) return abandonTest(log, L"Failed to create test images");

    // Effects are shared: their parameters and draws are held for the whole run.
    CriticalSectionLock hold(Qf::FxResources::Manager::instance().getShaderUsageLock());
    const double t0 = msecsNow();
    for (int i = 0; i < kMaxIterations; ++i) {
        render(*shader, input, output);
        waitForGPU();
    }
    const double t1 = msecsNow();
    writeFps(log, kMaxIterations, t1 - t0);
    log.endTest();
}

std::optional<double> GPUTests::measureGPUMillisecondsPerPass(int passes) {
    iGPUService* gpu = OS()->gpu();
    const Ptr<iGPUTimer> timer = gpu ? gpu->createTimer() : nullptr;
    const Ptr<iShaderEffect> shader = timer ? findTestShader() : nullptr;
    const Ptr<iGPUImage> input = shader ? createGPUImage() : nullptr;
    const Ptr<iGPUImage> output = input ? createGPUImage() : nullptr;
    if (!output || passes <= 0) return std::nullopt;

    CriticalSectionLock hold(Qf::FxResources::Manager::instance().getShaderUsageLock());
    for (int i = 0; i < passes; ++i) {
        timer->begin();
        const bool drawn = render(*shader, input, output);
        timer->end();
        if (!drawn) return std::nullopt;
    }
    const std::vector<double> times = timer->collectMilliseconds();
    if (times.empty()) return std::nullopt;
    return std::accumulate(times.begin(), times.end(), 0.0) / double(times.size());
}

void GPUTests::combinedTest(LoggerBase& log, bool readBack) {
    log.write(readBack ? L"Testing render performance" : L"Testing playback performance", LoggerBase::eTitle);
    const Ptr<iShaderEffect> shader = findTestShader();
    if (!shader) return abandonTest(log, L"Failed to load shader");
    const Ptr<HostImage> frame = createHostTestImage();
    const Ptr<HostImage> result = readBack ? HostImage::create(testImageSize(), iGPUImage::eRGBA8) : nullptr;
    if (!frame || (readBack && !result)) return abandonTest(log, L"Failed to create test images");

    CriticalSectionLock hold(Qf::FxResources::Manager::instance().getShaderUsageLock());
    timedLoop(log, [&] {
        const Ptr<iGPUImage> input = createGPUImage();
        if (!input || !frame->uploadTo(*input)) return false;
        const Ptr<iGPUImage> output = createGPUImage();
        if (!output || !render(*shader, input, output)) return false;
        const bool ok = !readBack || result->readBackFrom(*output);
        waitForGPU();
        return ok;
    });
    log.endTest();
}
