#include "host/configb.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using Text = LightweightString<char>;

TEST(configb, InGivesTheIndexOrMinusOneAndKeepsTheDefault) {
    configb c;
    c.set("flags", "Colour");
    c.set("default", 0.25);
    c.setInt("animated", 1);
    double d = 7;
    int n = 42;
    EXPECT_EQ(c.in("default", d), 1);
    EXPECT_EQ(c.in("animated", n), 2);
    EXPECT_EQ(d, 0.25);
    EXPECT_EQ(n, 1);

    // Absent keys leave the caller's default alone, whatever the type.
    bool b = true;
    Text s("keep");
    EXPECT_EQ(c.in("min", d), -1);
    EXPECT_EQ(c.in("max", n), -1);
    EXPECT_EQ(c.in("alpha", b), -1);
    EXPECT_EQ(c.in("choices", s), -1);
    EXPECT_EQ(c.in("Default", d), -1); // keys are case-sensitive
    EXPECT_TRUE(d == 0.25 && n == 1 && b && s == "keep");
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
    EXPECT_EQ(c.in("real", i), 0);
    EXPECT_EQ(i, 2);
    EXPECT_EQ(c.in("whole", d), 1);
    EXPECT_EQ(d, -4.0);
    EXPECT_EQ(c.in("whole", b), 1);
    EXPECT_TRUE(b);
    EXPECT_EQ(c.in("yes", d), 2);
    EXPECT_EQ(d, 1.0);

    // A string never reads as a number or a bool, and a number never as a string.
    Text s("untouched");
    EXPECT_EQ(c.in("text", d), -1);
    EXPECT_EQ(c.in("text", i), -1);
    EXPECT_EQ(c.in("real", s), -1);
    EXPECT_TRUE(d == 1.0 && i == 2 && s == "untouched");
    EXPECT_EQ(c.in("text", s), 3);
    EXPECT_EQ(s, "0.5");

    // Reals outside the integer range saturate instead of overflowing.
    c.set("huge", 1e300);
    c.set("tiny", -1e300);
    c.set("nan", std::numeric_limits<double>::quiet_NaN());
    int64_t big = 9;
    EXPECT_GE(c.in("huge", i), 0);
    EXPECT_EQ(i, std::numeric_limits<int>::max());
    EXPECT_GE(c.in("tiny", i), 0);
    EXPECT_EQ(i, std::numeric_limits<int>::min());
    EXPECT_GE(c.in("nan", big), 0);
    EXPECT_EQ(big, 0);
}

TEST(configb, SettingAKeyAgainReplacesItsValueInPlace) {
    struct Owner : Dirtiable {
        int changes = 0;
        void setDirty() override { ++changes; }
    } owner;
    configb c(&owner);
    c.set("default", 1.0);
    c.set("flags", "a");
    c.set("default", true); // replaced, even with another type
    EXPECT_EQ(c.size(), 2u);
    EXPECT_EQ(c.keyAt(0), "default");
    EXPECT_TRUE(std::holds_alternative<bool>(c.valueAt(0)));
    EXPECT_TRUE(c.remove("default"));
    EXPECT_FALSE(c.remove("default"));
    EXPECT_EQ(c.indexOf("flags"), 0);
    EXPECT_EQ(owner.changes, 4);
}
