// The name table and effect list: discovery, duplicates, include files,
// replacement by path, look-ups that do or do not compile.
#include "ManagerTestSupport.h"

#include "host/base/Strings.h"
#include "host/misc/Paths.h"
#include "host/misc/TextFile.h"

#include <gmock/gmock.h>

using namespace QfManagerTest;
using Qf::FxResources::Manager;
using ::testing::ElementsAre;
using Text = LightweightString<char>;

namespace {

std::vector<std::string> paths(const std::vector<Ptr<ShaderEffectInfo>>& effects) {
    std::vector<std::string> out;
    for (const auto& e : effects) out.push_back(toUTF8(stripPath(e->getFullPath())).str());
    return out;
}

} // namespace

TEST(EffectNames, CompareWithoutCaseWithNullEqualToEmptyAndFirst) {
    struct Case {
        const char* a;
        const char* b;
        int sign;
    };
    const Case cases[] = {{"", "", 0},     {nullptr, "", 0},           {"", "a", -1}, {"BLUR", "blur", 0}, {"Blur", "blurs", -1},
                          {"_x", "a", -1}, // "_" sorts before letters, as lower case
                          {"b", "A", 1},   {"rgbaBGRA", "RGBAbgra", 0}};
    for (const Case& c : cases) {
        const int got = Qf::FxResources::compareEffectNames(Text(c.a).view(), Text(c.b).view());
        EXPECT_EQ((got > 0) - (got < 0), c.sign) << c.a << " / " << c.b;
    }
}

TEST_F(ManagerTest, DiscoversBothDirectoriesInByteOrderSkippingIncludesAndFirstFoundKeepsTheName) {
    writeShader("b.fx", effectText());
    writeShader("Blur.fx", effectText());
    writeShader("_common.fx", effectText());
    writeShader("notes.txt", "not an effect");
    writeTemplate("blur.fx", effectText());
    writeTemplate("A.fx", effectText());
    UIBackgroundTasksQueue::instance().setPaused(true); // registry only
    Manager& m = start();
    EXPECT_THAT(paths(m.getEffects()), ElementsAre("Blur.fx", "b.fx", "A.fx", "blur.fx"));
    const Ptr<ShaderEffectInfo> found = m.findEffect("BLUR", false);
    ASSERT_TRUE(found);
    EXPECT_EQ(toUTF8(found->getFullPath()).str(), (m_shaders / "Blur.fx").string());
    EXPECT_FALSE(m.findEffect("_common", false));
    EXPECT_FALSE(m.findEffect("", false));
    EXPECT_FALSE(m.findEffect(Text(), false));
    EXPECT_TRUE(m_gpu->compiles().empty()); // discovery compiles nothing
}

TEST_F(ManagerTest, LookUpsCompileOnlyWhenAskedRetryFailuresAndNeverCompileAFailedRunTimeEffect) {
    writeShader("One.fx", effectText());
    writeShader("Flaky.fx", effectText());
    UIBackgroundTasksQueue::instance().setPaused(true);
    Manager& m = start();
    const Ptr<ShaderEffectInfo> lazy = m.findEffect("one", false);
    ASSERT_TRUE(lazy);
    EXPECT_FALSE(lazy->getCompiledShader());
    EXPECT_TRUE(m_gpu->compiles().empty());
    EXPECT_EQ(m.findEffect("ONE", true), lazy);
    EXPECT_TRUE(lazy->getCompiledShader());
    EXPECT_EQ(m_gpu->compiles().size(), 1u);
    EXPECT_THAT(logLines(true), ElementsAre(::testing::StartsWith("Manager::compile() : ")));

    // A failed on-demand compile is tried again next time; a success is kept.
    m_gpu->failNextCompile({{"driver busy", 0}});
    EXPECT_FALSE(m.findShader("flaky"));
    EXPECT_TRUE(m.findShader("flaky"));
    EXPECT_EQ(m.findShader("flaky"), m.findEffect("flaky", false)->getCompiledShader());
    EXPECT_EQ(m_gpu->compiles().size(), 3u);
    EXPECT_EQ(m.foregroundCompiles(), 0);

    // A reorder effect that failed is filed without a path: look-ups never compile it.
    m_gpu->failNextCompile({{"no", 0}});
    ASSERT_TRUE(m.buildReorderEffect("bgra", "rgba", ""));
    EXPECT_FALSE(m.findShader("bgrargba"));
    EXPECT_FALSE(m.findEffect("bgrargba", true)->getCompiledShader());
    EXPECT_EQ(m_gpu->compiles().size(), 4u);
}

TEST_F(ManagerTest, AddEffectReplacesByNameAndInTheListOnlyWhenThePathMatches) {
    writeShader("Keep.fx", effectText());
    writeShader("Other.fx", effectText());
    UIBackgroundTasksQueue::instance().setPaused(true);
    Manager& m = start();
    // Adds an effect at `path`: it is always filed by name; says whether it is in the list.
    const auto addIsListed = [&](const std::filesystem::path& path) {
        const Ptr<ShaderEffectInfo> effect = makePtr<ShaderEffectInfo>(fromUTF8(path.string().c_str()), 7);
        m.addEffect(effect);
        EXPECT_EQ(m.findEffect(Manager::registryName(*effect), false), effect) << path;
        const auto list = m.getEffects();
        return std::find(list.begin(), list.end(), effect) != list.end();
    };
    EXPECT_TRUE(addIsListed(m_root / "elsewhere" / "New.fx"));   // a new name is appended
    EXPECT_TRUE(addIsListed(m_shaders / "Keep.fx"));             // same name and path: replaced in place
    EXPECT_FALSE(addIsListed(m_root / "elsewhere" / "keep.fx")); // same name, another path: name table only
    EXPECT_THAT(paths(m.getEffects()), ElementsAre("Keep.fx", "Other.fx", "New.fx"));
}

TEST_F(ManagerTest, NoEffectFilesShowsTheMessageQueuesNothingAndStaysUsable) {
    std::filesystem::remove(m_shaders / "_utils.fx"); // includes do not count either way
    Manager& m = start();
    waitForBackground();
    EXPECT_THAT(logLines(), ElementsAre("QfFxResources : No .fx files found in" + m_shaders.string() + "/Shaders\n"));
    EXPECT_FALSE(m.findShader("anything"));
    EXPECT_TRUE(m.createShaderFromCode("Grey", TextFile::fromText(effectText()).lines()));
    EXPECT_TRUE(m.findShader("grey"));
}

TEST_F(ManagerTest, ShutdownClearsTheFontCacheThenTheLUTManagerAndInstanceStartsAgain) {
    std::vector<std::string> order;
    ResourceShutdown::add("test.luts", ResourceShutdown::kLUTManagerOrder,
                          [&](bool existed) { order.push_back(existed ? "luts+" : "luts-"); });
    ResourceShutdown::add("test.fonts", ResourceShutdown::kFontCacheOrder, [&](bool existed) {
        if (existed) order.push_back("fonts");
    });
    writeShader("One.fx", effectText());
    UIBackgroundTasksQueue::instance().setPaused(true);
    start();
    shutdownNow();
    EXPECT_FALSE(Manager::isStarted());
    EXPECT_THAT(order, ElementsAre("fonts", "luts+")); // font cache cleared, LUT manager last

    writeShader("Two.fx", effectText());
    Manager& again = start(); // a new manager lists the directories again
    EXPECT_TRUE(again.findEffect("two", false));
    ResourceShutdown::remove("test.luts");
    ResourceShutdown::remove("test.fonts");
}
