#include "host/Strings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {
LightweightString<wchar_t> fiveTrimmed(double value) { return Qf::WStringFromFloat(value, 5, true); }
} // namespace

TEST(WStringFromFloat, FivePlacesTrimmed) {
    EXPECT_EQ(fiveTrimmed(0.5), L"0.5");
    EXPECT_EQ(fiveTrimmed(1), L"1");
    EXPECT_EQ(fiveTrimmed(0.123456), L"0.12346");
    EXPECT_EQ(fiveTrimmed(100), L"100"); // zeros before the point stay
    EXPECT_EQ(fiveTrimmed(10.10), L"10.1");
    EXPECT_EQ(fiveTrimmed(1e20), L"100000000000000000000");
    EXPECT_EQ(fiveTrimmed(-2.5), L"-2.5");
    EXPECT_EQ(fiveTrimmed(0.999999), L"1");
    EXPECT_EQ(fiveTrimmed(1e-6), L"0");
    // Values that round to zero never read "-0".
    EXPECT_EQ(fiveTrimmed(-0.000001), L"0");
    EXPECT_EQ(fiveTrimmed(-0.0), L"0");
}

TEST(WStringFromFloat, PlacesAndUntrimmedForm) {
    EXPECT_EQ(Qf::WStringFromFloat(0.5, 5, false), L"0.50000");
    EXPECT_EQ(Qf::WStringFromFloat(-0.000001, 5, false), L"0.00000");
    EXPECT_EQ(Qf::WStringFromFloat(2.345, 0, true), L"2");
    EXPECT_EQ(Qf::WStringFromFloat(1.25, 1, true), L"1.2"); // 1.25 is exact: ties go to even
    EXPECT_EQ(Qf::WStringFromInteger(-42), L"-42");
}

TEST(StringFromFloat, ShortestTextThatReadsBack) {
    EXPECT_EQ(StringFromFloat(0.5), "0.5");
    EXPECT_EQ(StringFromFloat(1), "1");
    EXPECT_EQ(StringFromFloat(-2.25), "-2.25");
    EXPECT_EQ(StringFromFloat(-0.0), "0");
    EXPECT_EQ(StringFromFloat(1e20), "1e+20");
    for (double v : {1.0 / 3.0, 0.299, 1e-7, -123456.789})
        EXPECT_EQ(doubleFromString(StringFromFloat(v).view()), v);
}

TEST(NumberText, IntegersAndParsing) {
    EXPECT_EQ(StringFromInteger(0), "0");
    EXPECT_EQ(StringFromInteger(-17), "-17");
    EXPECT_EQ(StringFromInteger(std::numeric_limits<int64_t>::min()), "-9223372036854775808");

    EXPECT_EQ(doubleFromString("0.25"), 0.25);
    EXPECT_EQ(doubleFromString("  -1.5e2xyz"), -150.0);
    EXPECT_EQ(doubleFromString("abc"), 0.0);
    EXPECT_EQ(doubleFromString("nan"), 0.0);
    EXPECT_EQ(integerFromString(" \t42"), 42);
    EXPECT_EQ(integerFromString("-7px"), -7);
    EXPECT_EQ(integerFromString("+3"), 3);
    EXPECT_EQ(integerFromString("x1"), 0);
}
