#include "host/misc/Paths.h"

#include <gtest/gtest.h>

#include <cstdlib>

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
