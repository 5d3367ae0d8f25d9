// Eight threads use the manager at once, round after round: look-ups,
// on-demand compiles, conversions, run-time and reorder effects, compute
// programs and recompiles, while the background task runs. Each round ends
// with a shut-down while the threads' last on-demand compiles may still run;
// the next round's first call starts a new manager. Nothing may deadlock,
// lose an effect or touch freed memory (run under ThreadSanitizer and ASan in CI).
#include "FakeCompute.h"
#include "ManagerTestSupport.h"

#include "host/base/Strings.h"
#include "host/misc/Paths.h"
#include "host/misc/TextFile.h"
#include "image/ColourConversion.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <mutex>
#include <random>
#include <thread>

using namespace QfManagerTest;
using Qf::FxResources::Manager;
using Text = LightweightString<char>;
using CC = Qf::Image::ColourConversion;

namespace {

constexpr int kFiles = 16;
constexpr int kThreads = 8;
const char* const kSwizzles[] = {"rgba", "bgra", "argb", "abgr"};

std::string fileName(int i) { return "Effect" + std::to_string(i) + ".fx"; }

// Failed operations by kind, from any thread.
class Failures {
public:
    void add(const std::string& what) {
        std::lock_guard<std::mutex> hold(m_mutex);
        ++m_counts[what];
    }
    std::string text() const {
        std::lock_guard<std::mutex> hold(m_mutex);
        std::string out;
        for (const auto& [what, count] : m_counts) out += what + " x" + std::to_string(count) + "; ";
        return out;
    }

private:
    mutable std::mutex m_mutex;
    std::map<std::string, int> m_counts;
};

// The work and the rounds, for a fixture's directories and GPU service.
class Stress {
public:
    Stress(const std::filesystem::path& root, const std::filesystem::path& shaders) : m_root(root), m_shaders(shaders) {}

    // Runs `rounds` rounds; returns what failed and how often (empty when nothing did).
    std::string run(int rounds) {
        Failures failures;
        std::atomic<int> lastCompilesStarted{0};
        std::barrier roundStart(kThreads + 1), roundEnd(kThreads + 1);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                std::mt19937 random(unsigned(t) * 7919u);
                for (int r = 0; r < rounds; ++r) {
                    roundStart.arrive_and_wait();
                    work(t, r, random, failures);
                    // The round's last on-demand compile: a fresh effect of a
                    // file, compiled through the manager while it shuts down
                    // (or through the next one, which this call then starts).
                    const Ptr<ShaderEffectInfo> last = makePtr<ShaderEffectInfo>(fromUTF8((m_shaders / fileName(t)).c_str()), 0);
                    ++lastCompilesStarted;
                    if (!last->getShader()) failures.add("getShader at the shut-down");
                    roundEnd.arrive_and_wait();
                }
            });
        for (int r = 0; r < rounds; ++r) {
            roundStart.arrive_and_wait();
            while (lastCompilesStarted.load() < (r + 1) * kThreads) std::this_thread::yield();
            // Nothing was lost: every file and every run-time effect of the round is filed.
            Manager& m = Manager::instance();
            for (int i = 0; i < kFiles; ++i)
                if (!m.findEffect(("effect" + std::to_string(i)).c_str(), false)) failures.add("a file's effect lost");
            for (int t = 0; t < kThreads; ++t)
                if ((3 - t + kThreads) % kThreads < 6 &&
                    !m.findEffect(runtimeName(t, r, (3 - t + kThreads) % kThreads).c_str(), false))
                    failures.add("a run-time effect lost");
            ManagerFixture::shutdownNow();
            roundEnd.arrive_and_wait();
        }
        for (std::thread& t : threads) t.join();
        return failures.text();
    }

private:
    static std::string runtimeName(int role, int round, int step) {
        return "Runtime" + std::to_string(role) + "_" + std::to_string(round) + "_" + std::to_string(step);
    }

    // One thread's work in one round: six steps, each thread starting at
    // another kind of work.
    void work(int role, int round, std::mt19937& random, Failures& failures) {
        Manager& m = Manager::instance();
        iGPUService& gpu = *OS()->gpu();
        const auto name = [&] { return "EFFECT" + std::to_string(int(random() % kFiles)); };
        for (int step = 0; step < 6; ++step) {
            switch ((role + step) % kThreads) {
            case 0: // look-ups
                if (!m.findEffect(name().c_str(), false)) failures.add("findEffect");
                if (m.findEffect("NoSuchEffect", true)) failures.add("findEffect of no effect");
                break;
            case 1: // on-demand compiles
                if (!m.findShader(name().c_str())) failures.add("findShader");
                break;
            case 2: { // conversions, each under the usage lock for its draw
                const Surface source = Surface::forGPUImage(gpu.createImage({16, 8}, iGPUImage::eRGBA8));
                Surface target = Surface::forGPUImage(gpu.createImage({16, 8}, iGPUImage::eRGBA8));
                if (!CC::convertRGBToYCrCb444(source, target, CC::eFilterPoint)) failures.add("convertRGBToYCrCb444");
                Surface swapped;
                if (!CC::reorderComponents(source, swapped, kSwizzles[random() % 4], "rgba", random() % 2 == 0))
                    failures.add("reorderComponents");
                break;
            }
            case 3: { // run-time effects
                const Text made = runtimeName(role, round, step).c_str();
                if (!m.createShaderFromCode(made, TextFile::fromText(effectText()).lines())) failures.add("createShaderFromCode");
                if (!m.findShader(made)) failures.add("findShader of a run-time effect");
                break;
            }
            case 4: { // reorder effects, found as conversions find them
                CriticalSectionLock hold(m.getShaderUsageLock());
                const Text from = kSwizzles[random() % 4], to = kSwizzles[random() % 4];
                const Text flip = random() % 2 ? "flip" : "";
                if (!m.findReorderShader(from, to, flip) && !(from == to && flip.empty())) failures.add("findReorderShader");
                break;
            }
            case 5: // compute programs
                if (!m.getGPUProgram(L"K.cl", random() % 3 == 0)) failures.add("getGPUProgram");
                if (!m.getGPUComputeContext()) failures.add("getGPUComputeContext");
                break;
            case 6: // recompiles: one thread changes a file and writes a new one
                if (role == 6) {
                    ManagerFixture::setStamp((m_shaders / fileName(round % kFiles)).string(), round + 1);
                    std::ofstream(m_shaders / ("New" + std::to_string(round) + ".fx")) << effectText();
                }
                m.recompileAll();
                break;
            default: // the list, and an effect added by hand
                if (m.getEffects().size() < size_t(kFiles)) failures.add("getEffects");
                m.addEffect(makePtr<ShaderEffectInfo>(fromUTF8((m_root / ("Added" + std::to_string(role) + ".fx")).c_str()), 1));
                break;
            }
        }
    }

    std::filesystem::path m_root, m_shaders;
};

void writeFiles(const std::function<void(const std::string&, const std::string&)>& write, const std::string& param) {
    for (int i = 0; i < kFiles; ++i) write(fileName(i), effectText(param));
    std::ifstream conversion(QFFX_SHADERS_SOURCE_DIR "RGBToYCrCb444.fx");
    write("RGBToYCrCb444.fx", std::string(std::istreambuf_iterator<char>(conversion), {}));
    write("K.cl", "kernel void k() {}");
}

} // namespace

// On the recording GPU service, whose compiles take 3 ms.
TEST_F(ManagerTest, ConcurrentUseByEightThreadsEachRoundEndingWithAShutDownWhileCompilesRun) {
    writeFiles([&](const std::string& name, const std::string& text) { writeShader(name, text); }, "Gain");
    FakeComputeService compute; // outlives every manager: each round shuts its manager down
    m_os->setCompute(&compute);
    m_gpu->setCompileDelay(std::chrono::milliseconds(3));
    EXPECT_EQ(Stress(m_root, m_shaders).run(40), "");
    EXPECT_FALSE(Manager::isStarted());
    m_os->setCompute(nullptr);
}

// On the real OpenGL service (llvmpipe), fewer rounds.
TEST_F(ManagerGLTest, ConcurrentUseByEightThreadsOnTheRealGPUEachRoundEndingWithAShutDown) {
    writeFiles([&](const std::string& name, const std::string& text) { writeShader(name, text); }, "Gain");
    FakeComputeService compute;
    m_os->setCompute(&compute);
    EXPECT_EQ(Stress(m_root, m_shaders).run(4), "");
    EXPECT_FALSE(Manager::isStarted());
    m_os->setCompute(nullptr);
}
