// Eight threads look effects up, build reorder and run-time effects and
// compile on demand while the background task runs; then the manager shuts
// down in the middle of a background run. Nothing may deadlock, lose an
// effect or touch freed memory (run under ThreadSanitizer and ASan in CI).
#include "ManagerTestSupport.h"

#include "host/TextFile.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

using namespace QfManagerTest;
using Qf::FxResources::Manager;
using Text = LightweightString<char>;

namespace {

constexpr int kFiles = 24;
constexpr int kThreads = 8;
constexpr int kRounds = 12;
const char* const kSwizzles[] = {"rgba", "bgra", "argb", "abgr"};

std::string fileName(int i) { return "Effect" + std::to_string(i) + ".fx"; }

void stress(Manager& m, std::vector<Ptr<ShaderEffectInfo>>& kept, bool withParams) {
    const auto lines = TextFile::fromText(effectText("Gain")).lines();
    std::atomic<int> failures{0};
    std::mutex keptMutex;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            std::mt19937 random(unsigned(t) * 7919u);
            for (int round = 0; round < kRounds; ++round) {
                const std::string name = "EFFECT" + std::to_string(int(random() % kFiles));
                if (!m.findShader(name.c_str())) ++failures;
                const Ptr<ShaderEffectInfo> effect = m.findEffect(name.c_str(), round % 2 == 0);
                if (!effect) ++failures;
                const char* from = kSwizzles[random() % 4];
                const char* to = kSwizzles[random() % 4];
                const Text flip = round % 3 == 0 ? "flip" : "";
                {
                    // Callers that write parameters and draw hold the usage lock throughout.
                    CriticalSectionLock hold(m.getShaderUsageLock());
                    const Ptr<iShaderEffect> reorder = m.findReorderShader(from, to, flip);
                    if (!reorder && !(Text(from) == Text(to) && flip.empty())) ++failures;
                }
                if (!m.createShaderFromCode(("Runtime" + std::to_string(t) + "_" + std::to_string(round)).c_str(), lines))
                    ++failures;
                if (effect && withParams && effect->findShaderParamIndex("Gain") < 0) ++failures;
                std::lock_guard<std::mutex> hold(keptMutex);
                kept.push_back(effect);
            }
        });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(failures.load(), 0);

    // No effect lost: every file, every run-time effect and every reorder pair is filed.
    EXPECT_EQ(m.getEffects().size(), size_t(kFiles));
    for (int i = 0; i < kFiles; ++i) EXPECT_TRUE(m.findEffect(("effect" + std::to_string(i)).c_str(), false)) << i;
    for (int t = 0; t < kThreads; ++t)
        for (int round = 0; round < kRounds; ++round)
            EXPECT_TRUE(m.findShader(("runtime" + std::to_string(t) + "_" + std::to_string(round)).c_str()));
}

// After the shut-down, the effects that callers still hold stay usable (the
// recording GPU service's effects have no parameters).
void expectStillUsable(const std::vector<Ptr<ShaderEffectInfo>>& kept, bool withParams) {
    const auto usable = [&](const Ptr<ShaderEffectInfo>& e) {
        return e && e->getCompiledShader() && (!withParams || !e->getParams().empty());
    };
    EXPECT_EQ(size_t(std::count_if(kept.begin(), kept.end(), usable)), kept.size());
}

} // namespace

TEST_F(ManagerTest, ConcurrentLookupsBuildsAndOnDemandCompilesThenShutdownMidRun) {
    for (int i = 0; i < kFiles; ++i) writeShader(fileName(i), effectText("Gain"));
    m_gpu->setCompileDelay(std::chrono::milliseconds(15));
    std::vector<Ptr<ShaderEffectInfo>> kept;
    { stress(start(), kept, false); }
    // A second manager, shut down while its background run is under way.
    shutdownNow();
    clearLog();
    for (int i = 0; i < kFiles; ++i) writeShader("More" + std::to_string(i) + ".fx", effectText("Gain"));
    Manager& again = start();
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_TRUE(again.findShader("more20"));
    shutdownNow();
    EXPECT_FALSE(Manager::isStarted());
    EXPECT_THAT(logLines(), ::testing::Not(::testing::Contains(::testing::HasSubstr("pixel shaders loaded"))));
    expectStillUsable(kept, false);
}

TEST_F(ManagerGLTest, ConcurrentUseOnTheRealGPUThenShutdownMidRun) {
    for (int i = 0; i < kFiles; ++i) writeShader(fileName(i), effectText("Gain"));
    std::vector<Ptr<ShaderEffectInfo>> kept;
    stress(start(), kept, true);
    shutdownNow();
    expectStillUsable(kept, true);
}
