// Effects built at run time: the reorder texts and keys, caching, and
// createShaderFromCode's name rule.
#include "ManagerTestSupport.h"

#include "host/misc/TextFile.h"

#include <gmock/gmock.h>

using namespace QfManagerTest;
using Qf::FxResources::Manager;
using Text = LightweightString<char>;

TEST(ReorderEffect, TextIsNineLinesWithTheSwizzleAndOptionalFlip) {
    struct Case {
        const char *from, *to, *flip, *read, *write;
    };
    const Case cases[] = {
        {"bgra", "rgba", "", "float4 src = ReadPixel( Input, uv1 );", "dst.rgba = src.bgra;"},
        {"rgba", "rgba", "y", "float4 src = ReadPixel( Input, float2( uv1.x, 1.0 - uv1.y ) );", "dst.rgba = src.rgba;"},
        {"r", "a", "flip", "float4 src = ReadPixel( Input, float2( uv1.x, 1.0 - uv1.y ) );", "dst.a = src.r;"},
    };
    for (const Case& c : cases) {
        EXPECT_THAT(Manager::reorderEffectText(c.from, c.to, c.flip),
                    ::testing::ElementsAre("DeclareQuillframeEffect( NULL, Internal, Colour, kNoNotes, kNoFlags );",
                                           "DeclareInput( Input, Point );", "DeclareEntryPoint()", "{", c.read, "float4 dst;",
                                           c.write, "return dst;", "}"));
    }
    EXPECT_EQ(Manager::reorderKey("rg", "ba", "x"), Manager::reorderKey("rgb", "a", "x"));
    EXPECT_EQ(Manager::reorderKey("bgra", "rgba", ""), Text("bgrargba"));
}

TEST_F(ManagerTest, ReorderEffectsAreBuiltOnceAndSharedByKey) {
    UIBackgroundTasksQueue::instance().setPaused(true);
    Manager& m = start(); // no effect files
    clearLog();
    EXPECT_FALSE(m.buildReorderEffect("rgba", "rgba", ""));
    EXPECT_FALSE(m.buildReorderEffect(Text(), "", ""));
    EXPECT_TRUE(m_gpu->compiles().empty());

    const Ptr<ShaderEffectInfo> first = m.buildReorderEffect("bgra", "rgba", "");
    ASSERT_TRUE(first && first->getCompiledShader());
    EXPECT_EQ(m.buildReorderEffect("bgra", "rgba", ""), first);
    EXPECT_EQ(m.findReorderShader("bgra", "rgba", ""), first->getCompiledShader());
    EXPECT_EQ(m.buildReorderEffect("rg", "ba", "1"), m.buildReorderEffect("rgb", "a", "1"));
    EXPECT_EQ(m_gpu->compiles().size(), 2u); // bgra->rgba, and rg|ba == rgb|a
    EXPECT_TRUE(m_gpu->compiles()[0].text.view().find("src.bgra") != std::string_view::npos);

    // A failed reorder is cached as failed.
    m_gpu->failNextCompile({{"bad swizzle", 0}});
    EXPECT_FALSE(m.findReorderShader("xyzw", "rgba", ""));
    EXPECT_FALSE(m.findReorderShader("xyzw", "rgba", ""));
    EXPECT_EQ(m_gpu->compiles().size(), 3u);
    EXPECT_THAT(logLines(true), ::testing::ElementsAre()); // run-time effects log nothing
}

// A reorder key or a createShaderFromCode name that is already filed gives
// or keeps the disk effect; a run-time effect that fails is not filed.
TEST_F(ManagerTest, RunTimeEffectsLeaveDiskEffectsOfTheirNameFiledAndFailuresUnfiled) {
    writeShader("BGRARGBA.fx", effectText());
    writeShader("Grey.fx", effectText());
    UIBackgroundTasksQueue::instance().setPaused(true);
    Manager& m = start();
    EXPECT_EQ(m.buildReorderEffect("bgra", "rgba", ""), m.findEffect("bgrargba", false));
    EXPECT_TRUE(m_gpu->compiles().empty());
    const Ptr<ShaderEffectInfo> disk = m.findEffect("grey", false);
    const auto lines = TextFile::fromText(effectText()).lines();
    EXPECT_TRUE(m.createShaderFromCode("GREY", lines));
    EXPECT_EQ(m.findEffect("grey", false), disk);

    m_gpu->failNextCompile({{"no", 0}});
    EXPECT_FALSE(m.createShaderFromCode("Fresh", lines));
    EXPECT_FALSE(m.findEffect("fresh", false));
    EXPECT_TRUE(m.createShaderFromCode("Fresh", lines)); // not filed, so compiled again
    EXPECT_TRUE(m.findShader("FRESH"));
}
