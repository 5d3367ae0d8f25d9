#include "host/Log.h"
#include "host/Paths.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

TEST(Paths, JoinAndSplit) {
    EXPECT_EQ(joinPaths(L"/fx", L"Tint.fx"), L"/fx/Tint.fx");
    EXPECT_EQ(joinPaths(L"/fx/", L"Tint.fx"), L"/fx/Tint.fx");
    EXPECT_EQ(joinPaths(L"/fx/", L"/Tint.fx"), L"/fx/Tint.fx");
    EXPECT_EQ(joinPaths(L"", L"Tint.fx"), L"Tint.fx");
    EXPECT_EQ(joinPaths(L"/fx", L""), L"/fx");

    EXPECT_EQ(stripPath(L"/x/y/name.fx"), L"name.fx");
    EXPECT_EQ(stripPath(L"/x/y/"), L"");
    EXPECT_EQ(stripPathAndExt(L"/x/y/name.fx"), L"name");
    EXPECT_EQ(stripPathAndExt(L"/x/y/lut.v2.cube"), L"lut.v2");
    EXPECT_EQ(stripPathAndExt(L"/x.d/name"), L"name");
    EXPECT_EQ(stripPathAndExt(L"/x/.hidden"), L".hidden");
    EXPECT_EQ(getExtension(L"/x/y/name.fx"), L"fx");
    EXPECT_EQ(getExtension(L"/x.d/name"), L"");
    EXPECT_EQ(getExtension(L"/x/.hidden"), L"");
    EXPECT_EQ(withTrailingSeparator(L"/fx"), L"/fx/");
    EXPECT_EQ(withTrailingSeparator(L""), L"");
}

TEST(Paths, ShadersDirectoryChoiceEndsInASeparator) {
    setShadersDir(L"");
    unsetenv("QFFX_SHADERS_DIR");
    const auto embedded = getShadersDir();
    EXPECT_TRUE(embedded.endsWith(L"/"));

    setenv("QFFX_SHADERS_DIR", "/from/env", 1);
    EXPECT_EQ(getShadersDir(), L"/from/env/");
    setShadersDir(L"/fx");
    EXPECT_EQ(getShadersDir(), L"/fx/"); // the explicit choice wins
    setShadersDir(L"");
    EXPECT_EQ(getShadersDir(), L"/from/env/");
    unsetenv("QFFX_SHADERS_DIR");
    EXPECT_EQ(getShadersDir(), embedded);
}

TEST(Log, WritesFormattedTextToTheInstalledSink) {
    std::string captured;
    const LogSink previous = setLogSink([&](std::string_view text) { captured += text; });
    Log("QfFxResources::Manager : %d pixel shaders loaded\n", 12);
    LogBoth("Failed to compile %s\n", "Tint");
    EXPECT_EQ(captured, "QfFxResources::Manager : 12 pixel shaders loaded\nFailed to compile Tint\n");

    const LogSink mine = setLogSink(previous);
    EXPECT_TRUE(mine);
}
