// The effect manager beside its baselines, each in the same run:
//  - start-up (discovery and registration, nothing compiled) of 2,000 effect
//    files, beside listing that directory alone;
//  - the background compilation of the shipped effects (shaders and
//    templates directories), beside the sum of their bare compiles;
//  - the latency of an on-demand compile while the background task is busy,
//    beside a bare compile of the same effect;
//  - the latency of a look-up (findEffect) while another thread builds a
//    kernel file through the manager (which holds the shader-usage lock for
//    the whole build), beside the build's own time.
// Mesa's on-disk shader cache and PoCL's kernel cache are switched off for the
// process, so every compile and build is a real one. Times are wall-clock.
#include "effects/ShaderEffectInfo.h"
#include "host/base/Shutdown.h"
#include "host/base/Strings.h"
#include "host/misc/BackgroundTasks.h"
#include "host/misc/EditorPreferences.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "manager/Manager.h"
#include "platform/LinuxServices.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using Qf::FxResources::Manager;

namespace {

fs::path scratch(const std::string& name) {
    const fs::path dir = fs::temp_directory_path() / ("qffx-bench-" + std::to_string(getpid()) + "-" + name);
    fs::remove_all(dir);
    fs::create_directories(dir);
    return dir;
}

void useDirectories(const fs::path& shaders, const fs::path& templates) {
    setShadersDir(fromUTF8(shaders.string().c_str()));
    setFXTemplatesDir(fromUTF8(templates.string().c_str()));
}

void shutdownManager() {
    UIBackgroundTasksQueue::instance().setPaused(false);
    Shutdown::runCallbacks(Shutdown::eNormalExit);
    Shutdown::reset();
    UIBackgroundTasksQueue::instance().waitUntilIdle();
}

const fs::path& twoThousandFiles() {
    static const fs::path dir = [] {
        const fs::path d = scratch("startup");
        const std::string text = "DeclareQuillframeEffect( \"E\", \"Cat\", \"Sub\", kNoNotes, kNoFlags )\nDeclareInput( Input )\n"
                                 "DeclareEntryPoint( Main )\n{\n   return tex2D( Input, uv1 );\n}\n";
        for (int i = 0; i < 2000; ++i) std::ofstream(d / ("Effect" + std::to_string(i) + ".fx")) << text;
        fs::create_directories(d / "templates");
        return d;
    }();
    return dir;
}

void BM_ListDirectoryAlone(benchmark::State& state) {
    installOS(&LinuxServices::instance());
    const LightweightString<wchar_t> pattern = fromUTF8((twoThousandFiles().string() + "/*.fx").c_str());
    for (auto _ : state) {
        std::vector<DirectoryEntry> entries;
        OS()->files()->listDirectory(pattern, entries, 1, 0);
        benchmark::DoNotOptimize(entries.data());
    }
}

void BM_StartupOf2000Files(benchmark::State& state) {
    installOS(&LinuxServices::instance());
    useDirectories(twoThousandFiles(), twoThousandFiles() / "templates");
    for (auto _ : state) {
        UIBackgroundTasksQueue::instance().setPaused(true); // registration only: nothing compiles
        Manager::startup(false);
        state.PauseTiming();
        shutdownManager();
        state.ResumeTiming();
    }
}

std::vector<fs::path> shippedEffects() {
    std::vector<fs::path> out;
    for (const char* dir : {QFFX_SHADERS_SOURCE_DIR, QFFX_TEMPLATES_SOURCE_DIR})
        for (const auto& e : fs::directory_iterator(dir))
            if (e.path().extension() == ".fx" && !e.path().filename().string().starts_with("_")) out.push_back(e.path());
    return out;
}

void BM_BareCompilesOfShippedEffects(benchmark::State& state) {
    installOS(&LinuxServices::instance());
    useDirectories(QFFX_SHADERS_SOURCE_DIR, QFFX_TEMPLATES_SOURCE_DIR);
    const auto files = shippedEffects();
    for (auto _ : state)
        for (const fs::path& f : files) {
            const Ptr<ShaderEffectInfo> e = makePtr<ShaderEffectInfo>(fromUTF8(f.string().c_str()), 0);
            if (!e->compile().shader) state.SkipWithError("a shipped effect failed to compile");
        }
    state.counters["effects"] = double(files.size());
}

void BM_BackgroundCompilationOfShippedEffects(benchmark::State& state) {
    installOS(&LinuxServices::instance());
    useDirectories(QFFX_SHADERS_SOURCE_DIR, QFFX_TEMPLATES_SOURCE_DIR);
    for (auto _ : state) {
        Manager::startup(false);
        UIBackgroundTasksQueue::instance().waitUntilIdle();
        state.PauseTiming();
        shutdownManager();
        state.ResumeTiming();
    }
}

const fs::path& busyDirectory() {
    static const fs::path dir = [] {
        const fs::path d = scratch("busy");
        for (const char* helper : {"_utils.glsl", "_utils.fx"})
            fs::copy_file(fs::path(QFFX_SHADERS_SOURCE_DIR) / helper, d / helper);
        const auto files = shippedEffects();
        for (int i = 0; i < 60; ++i)
            fs::copy_file(files[size_t(i) % files.size()], d / ("Copy" + std::to_string(100 + i) + ".fx"));
        fs::create_directories(d / "templates");
        return d;
    }();
    return dir;
}

void BM_BareCompileOfOneEffect(benchmark::State& state) {
    installOS(&LinuxServices::instance());
    useDirectories(busyDirectory(), busyDirectory() / "templates");
    const LightweightString<wchar_t> path = fromUTF8((busyDirectory() / "Copy159.fx").string().c_str());
    for (auto _ : state) makePtr<ShaderEffectInfo>(path, 0)->compile();
}

// The background task is compiling (it is given 50 ms to get going) when the
// last effect of 60 is asked for.
void BM_OnDemandCompileWhileBackgroundBusy(benchmark::State& state) {
    installOS(&LinuxServices::instance());
    useDirectories(busyDirectory(), busyDirectory() / "templates");
    for (auto _ : state) {
        state.PauseTiming();
        Manager::startup(false);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        state.ResumeTiming();
        if (!Manager::instance().findShader("Copy159")) state.SkipWithError("the on-demand compile failed");
        state.PauseTiming();
        shutdownManager();
        state.ResumeTiming();
    }
}

// The shipped shaders directory (the kernel files live there); its effects
// are registered but not compiled (the queue is paused).
Manager& managerForKernels() {
    installOS(&LinuxServices::instance());
    useDirectories(QFFX_SHADERS_SOURCE_DIR, QFFX_TEMPLATES_SOURCE_DIR);
    UIBackgroundTasksQueue::instance().setPaused(true);
    return Manager::instance();
}

const wchar_t* const kKernelFile = L"Scopes.cl";

void BM_KernelFileBuild(benchmark::State& state) {
    Manager& m = managerForKernels();
    if (!m.getGPUComputeContext()) return state.SkipWithError("no OpenCL device");
    for (auto _ : state) benchmark::DoNotOptimize(m.getGPUProgram(kKernelFile, true).get());
}

// Each iteration starts a rebuild on another thread, waits until the build is
// under way (the scopes preference is false during a build), then times one
// findEffect. The counter says whether the build was still running when the
// look-up returned (1 every time, or the figure means nothing).
void BM_FindEffectWhileAKernelFileBuilds(benchmark::State& state) {
    Manager& m = managerForKernels();
    if (!m.getGPUComputeContext()) return state.SkipWithError("no OpenCL device");
    const LightweightString<char> name("cc3");
    double overlapped = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::atomic<bool> built{false};
        std::thread builder([&] {
            m.getGPUProgram(kKernelFile, true);
            built = true;
        });
        while (prefs().getPreference("HardwareAdvancedScopesEnabled", true)) std::this_thread::yield();
        state.ResumeTiming();
        benchmark::DoNotOptimize(m.findEffect(name, false).get());
        state.PauseTiming();
        overlapped += built.load() ? 0 : 1;
        builder.join();
        state.ResumeTiming();
    }
    state.counters["during build"] = benchmark::Counter(overlapped, benchmark::Counter::kAvgIterations);
}

} // namespace

BENCHMARK(BM_ListDirectoryAlone)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StartupOf2000Files)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BareCompilesOfShippedEffects)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_BackgroundCompilationOfShippedEffects)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_BareCompileOfOneEffect)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_OnDemandCompileWhileBackgroundBusy)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_KernelFileBuild)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_FindEffectWhileAKernelFileBuilds)->Unit(benchmark::kMicrosecond)->Iterations(10);

int main(int argc, char** argv) {
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);
    setenv("POCL_KERNEL_CACHE", "0", 1);
    setLogSink([](std::string_view) {}); // the library's lines are not part of the figures
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    shutdownManager();
    setLogSink({});
    return 0;
}
