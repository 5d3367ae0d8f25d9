// The video scopes of a 1920x1080 frame on the compute device, beside a
// plain CPU loop computing the same numbers, in the same run.
//
//  - Scopes_Compute/0: Qf::Image::Scopes::compute on a frame in host memory
//    (RGBA8): the image copied to the device, both kernels, the results read
//    back (histograms, waveform, vectorscope);
//  - Scopes_Compute/1: the same from a GPU image of the OpenGL service, which
//    the compute context reads through host memory (skipped without EGL);
//  - Scopes_CPULoop/0: one loop over the frame's bytes counting the four
//    histograms (luma, R, G, B) with the same integer rules;
//  - Scopes_CPULoop/1: the same loop counting the waveform and the
//    vectorscope as well, the whole of what the kernels compute.
// Times are wall-clock; the kernels are built (and PoCL's kernel cache
// warmed) before the first measurement.
#include "host/base/Shutdown.h"
#include "host/base/Strings.h"
#include "host/image/HostImage.h"
#include "host/misc/BackgroundTasks.h"
#include "host/misc/EditorPreferences.h"
#include "host/misc/Paths.h"
#include "image/Scopes.h"
#include "manager/Manager.h"
#include "platform/LinuxServices.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <unistd.h>

using Qf::Image::Scopes;
using Qf::Image::ScopesData;

namespace {

constexpr int kWidth = 1920, kHeight = 1080, kLevels = ScopesData::kLevels;

// A picture with smooth colour and noise, so that the counts spread as in footage.
const Surface& frame() {
    static const Surface surface = [] {
        Surface s(kWidth, kHeight, Format::eRGBA, 8);
        std::mt19937 random(1);
        for (int y = 0; y < kHeight; ++y) {
            uint8_t* row = s.getRow(uint32_t(y));
            for (int x = 0; x < kWidth; ++x) {
                const double u = double(x) / kWidth, v = double(y) / kHeight;
                const int c[3] = {int(255 * (0.5 + 0.5 * std::sin(7 * u + 3 * v))), int(255 * u), int(255 * v * (1 - u))};
                for (int i = 0; i < 3; ++i) row[x * 4 + i] = uint8_t(std::clamp(c[i] + int(random() % 13) - 6, 0, 255));
                row[x * 4 + 3] = 255;
            }
        }
        return s;
    }();
    return surface;
}

// The library started for the kernels alone, preferences kept out of the user's files.
bool startCompute() {
    static const bool ready = [] {
        const std::string config =
            (std::filesystem::temp_directory_path() / ("qffx-bench-scopes-" + std::to_string(getpid()))).string();
        setenv("XDG_CONFIG_HOME", config.c_str(), 1);
        prefs().reload();
        installOS(&LinuxServices::instance());
        setShadersDir(fromUTF8(QFFX_SHADERS_SOURCE_DIR));
        UIBackgroundTasksQueue::instance().setPaused(true);
        ScopesData warm;
        return Scopes::compute(frame(), warm);
    }();
    return ready;
}

void setRate(benchmark::State& state) {
    state.counters["frames/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_Scopes_Compute(benchmark::State& state) {
    if (!startCompute()) {
        state.SkipWithError("no OpenCL platform, or the kernels do not build");
        return;
    }
    Surface source = frame();
    if (state.range(0) == 1) {
        iGPUService* gpu = OS()->gpu();
        if (!gpu || !source.createGPUSurface(*gpu)) {
            state.SkipWithError("no OpenGL service for the GPU image");
            return;
        }
    }
    ScopesData out;
    for (auto _ : state) {
        if (!Scopes::compute(source, out)) state.SkipWithError("the scopes failed");
        benchmark::DoNotOptimize(out.luma.data());
    }
    setRate(state);
}

void BM_Scopes_CPULoop(benchmark::State& state) {
    const bool everything = state.range(0) == 1;
    const Surface& source = frame();
    std::array<std::array<uint32_t, kLevels>, 4> histograms;
    std::vector<uint32_t> waveform(size_t(kWidth) * kLevels), vectorscope(size_t(kLevels) * kLevels);
    for (auto _ : state) {
        for (auto& h : histograms) h.fill(0);
        if (everything) {
            std::fill(waveform.begin(), waveform.end(), 0);
            std::fill(vectorscope.begin(), vectorscope.end(), 0);
        }
        for (int y = 0; y < kHeight; ++y) {
            const uint8_t* row = source.getRow(uint32_t(y));
            for (int x = 0; x < kWidth; ++x) {
                const int r = row[x * 4], g = row[x * 4 + 1], b = row[x * 4 + 2];
                const int luma = Scopes::lumaOf(r, g, b);
                ++histograms[0][size_t(luma)];
                ++histograms[1][size_t(r)];
                ++histograms[2][size_t(g)];
                ++histograms[3][size_t(b)];
                if (everything) {
                    ++waveform[size_t(x) * kLevels + size_t(luma)];
                    ++vectorscope[size_t(Scopes::crOf(r, g, b)) * kLevels + size_t(Scopes::cbOf(r, g, b))];
                }
            }
        }
        benchmark::DoNotOptimize(histograms.data());
        benchmark::DoNotOptimize(waveform.data());
        benchmark::DoNotOptimize(vectorscope.data());
    }
    setRate(state);
}

} // namespace

BENCHMARK(BM_Scopes_Compute)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Scopes_CPULoop)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    // The manager's exit callback, while the compute context is still wanted.
    Shutdown::runCallbacks(Shutdown::eNormalExit);
    return 0;
}
