#include "host/misc/configb.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

using Text = LightweightString<char>;

TEST(configb, InGivesTheIndexOrMinusOneAndKeepsTheDefault) {
    configb c;
    c.set("flags", "Colour");
    c.set("default", 0.25);
    c.setInt("animated", 1);
    c.set("flags", "Hidden"); // replaced in place
    double d = 7;
    int n = 42;
    Text s;
    EXPECT_EQ((std::array{c.in("flags", s), c.in("default", d), c.in("animated", n)}), (std::array{0, 1, 2}));
    EXPECT_TRUE(s == "Hidden" && d == 0.25 && n == 1);

    // Absent keys leave the caller's default alone, whatever the type; keys are case-sensitive.
    bool b = true;
    EXPECT_EQ((std::array{c.in("min", d), c.in("max", n), c.in("alpha", b), c.in("choices", s), c.in("Default", d)}),
              (std::array{-1, -1, -1, -1, -1}));
    EXPECT_TRUE(d == 0.25 && n == 1 && b && s == "Hidden");
}

TEST(configb, NumbersAndBoolsConvertButStringsDoNot) {
    configb c;
    c.set("real", 2.75);
    c.setInt("whole", -4);
    c.set("yes", true);
    c.set("text", "0.5");
    int i = 0;
    double d = 0;
    bool b = false;
    EXPECT_TRUE(c.in("real", i) == 0 && i == 2);
    EXPECT_TRUE(c.in("whole", d) == 1 && d == -4.0);
    EXPECT_TRUE(c.in("whole", b) == 1 && b);
    EXPECT_TRUE(c.in("yes", d) == 2 && d == 1.0);

    Text s("untouched");
    EXPECT_EQ((std::array{c.in("text", d), c.in("text", i), c.in("real", s)}), (std::array{-1, -1, -1}));
    EXPECT_TRUE(d == 1.0 && i == 2 && s == "untouched");

    // Reals outside the integer range saturate instead of overflowing.
    c.set("huge", 1e300);
    c.set("tiny", -1e300);
    c.set("nan", std::numeric_limits<double>::quiet_NaN());
    int64_t big = 9;
    EXPECT_TRUE(c.in("huge", i) >= 0 && i == std::numeric_limits<int>::max());
    EXPECT_TRUE(c.in("tiny", i) >= 0 && i == std::numeric_limits<int>::min());
    EXPECT_TRUE(c.in("nan", big) >= 0 && big == 0);
}
