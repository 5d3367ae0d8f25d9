// The manager on the real OpenGL service: the background run's lines from the
// real compiler, on-demand compiles through ShaderEffectInfo::getShader, the
// four cases of recompileAll, and a reorder effect drawn for real.
#include "ManagerTestSupport.h"

#include "host/base/Strings.h"
#include "host/misc/Paths.h"

#include <gmock/gmock.h>

using namespace QfManagerTest;
using Qf::FxResources::Manager;
using ::testing::ElementsAre;
using ::testing::StartsWith;

TEST_F(ManagerGLTest, BackgroundRunReportsTheDriversErrorsForTheBrokenEffect) {
    writeShader("Good.fx", effectText("Gain"));
    writeShader("Broken.fx", brokenEffectText());
    start();
    waitForBackground();
    const auto lines = logLines();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines.front(), "Failed to compile Broken.fx\n");
    for (size_t i = 1; i + 1 < lines.size(); ++i) EXPECT_THAT(lines[i], StartsWith("   ")) << i;
    EXPECT_EQ(lines.back(), "QfFxResources::Manager : 2 pixel shaders loaded\n");
    EXPECT_TRUE(Manager::instance().findEffect("good", false)->getCompiledShader());
}

TEST_F(ManagerGLTest, GetShaderValidAndParamIndexCompileOnDemandThroughTheManager) {
    writeShader("Gain.fx", effectText("Gain"));
    UIBackgroundTasksQueue::instance().setPaused(true);
    Manager& m = start();
    const Ptr<ShaderEffectInfo> effect = m.findEffect("gain", false);
    ASSERT_TRUE(effect && !effect->getCompiledShader());
    effect->setTechnique(uint16_t(0)); // selecting a technique does not compile
    EXPECT_FALSE(effect->getCompiledShader());
    EXPECT_GE(effect->findShaderParamIndex("Gain"), 0);
    EXPECT_TRUE(effect->valid());
    EXPECT_EQ(effect->findShaderParamIndex("gain"), -1);
    EXPECT_THAT(logLines(true), ElementsAre(StartsWith("Manager::compile() : ")));
}

TEST_F(ManagerGLTest, RecompileAllHandlesUnchangedChangedBrokenAndNewFiles) {
    const std::string changed = writeShader("Changed.fx", effectText("Gain"));
    const std::string breaks = writeShader("Breaks.fx", effectText("Gain"));
    const std::string same = writeShader("Same.fx", effectText());
    for (const std::string& p : {changed, breaks, same}) setStamp(p, 1);
    Manager& m = start();
    waitForBackground();
    const Ptr<ShaderEffectInfo> held = m.findEffect("changed", false);
    const Ptr<ShaderEffectInfo> heldBreaks = m.findEffect("breaks", false);
    const Ptr<iShaderEffect> oldBreaksShader = heldBreaks->getCompiledShader();
    ASSERT_TRUE(held->getCompiledShader() && oldBreaksShader);

    clearLog();
    m.recompileAll(); // nothing changed: nothing printed
    EXPECT_THAT(logLines(), ElementsAre());

    writeShader("Changed.fx", effectText("Strength"));
    setStamp(changed, 2);
    writeShader("Breaks.fx", brokenEffectText());
    setStamp(breaks, 2);
    writeShader("Added.fx", effectText());
    writeShader("AddedBroken.fx", brokenEffectText());
    m.recompileAll();

    const auto lines = logLines();
    EXPECT_THAT(lines, ::testing::Contains("Failed to compile " + (m_shaders / "AddedBroken.fx").string() + "\n"));
    EXPECT_THAT(lines, ::testing::Contains("Recompiled " + changed + "\n"));
    const auto failed = std::find(lines.begin(), lines.end(), "Failed to recompile " + breaks + "\n");
    ASSERT_NE(failed, lines.end());
    ASSERT_NE(failed + 1, lines.end());
    EXPECT_THAT(*(failed + 1), StartsWith("   "));

    // Replaced in place: the holder sees the new parameter.
    EXPECT_GE(held->findShaderParamIndex("Strength"), 0);
    EXPECT_EQ(held->findShaderParamIndex("Gain"), -1);
    EXPECT_EQ(heldBreaks->getCompiledShader(), oldBreaksShader); // the failed one keeps its content
    EXPECT_TRUE(m.findShader("added"));
    EXPECT_FALSE(m.findEffect("addedbroken", false)); // dropped
    EXPECT_EQ(m.getEffects().size(), 4u);
}

TEST_F(ManagerGLTest, AReorderEffectSwapsAndFlipsRealPixels) {
    Manager& m = start(); // no effect files: run-time effects still work
    iGPUService* gpu = OS()->gpu();
    const std::vector<uint8_t> texels = {10, 20, 30, 40, /* row 2 */ 50, 60, 70, 80};
    const Ptr<iGPUImage> source = gpu->createImage({1, 2}, iGPUImage::eRGBA8);
    ASSERT_TRUE(source && source->upload(texels.data()));
    struct Case {
        const char *from, *to, *flip;
        std::vector<uint8_t> expected;
    };
    const Case cases[] = {
        {"bgra", "rgba", "", {30, 20, 10, 40, 70, 60, 50, 80}},
        {"rgba", "rgba", "flip", {50, 60, 70, 80, 10, 20, 30, 40}},
    };
    for (const Case& c : cases) {
        const Ptr<iShaderEffect> shader = m.findReorderShader(c.from, c.to, c.flip);
        ASSERT_TRUE(shader) << c.from << c.flip;
        const Ptr<iGPUImage> target = gpu->createImage({1, 2}, iGPUImage::eRGBA8);
        ASSERT_TRUE(shader->draw(target, {ShaderInputBinding::whole("Input", source)}));
        std::vector<uint8_t> out(8);
        ASSERT_TRUE(target->readBack(out.data()));
        EXPECT_EQ(out, c.expected) << c.from << " -> " << c.to << " flip '" << c.flip << "'";
    }
}
