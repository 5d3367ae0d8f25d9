#include "host/base/Strings.h"
#include "support/ScopedLocale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

TEST(WStringFromFloat, PlacesTrimmingAndRounding) {
    const struct {
        double value;
        int places;
        bool trim;
        const wchar_t* text;
    } cases[] = {
        {0.5, 5, true, L"0.5"},          {1, 5, true, L"1"},
        {0.123456, 5, true, L"0.12346"}, {100, 5, true, L"100"}, // zeros before the point stay
        {10.10, 5, true, L"10.1"},       {1e20, 5, true, L"100000000000000000000"},
        {-2.5, 5, true, L"-2.5"},        {0.999999, 5, true, L"1"},
        {1e-6, 5, true, L"0"},           {-0.000001, 5, true, L"0"},
        {-0.0, 5, true, L"0"},           {-0.000001, 5, false, L"0.00000"}, // never "-0"
        {0.5, 5, false, L"0.50000"},     {2.345, 0, true, L"2"},
        {1.25, 1, true, L"1.2"}, // 1.25 is exact: ties go to even
    };
    for (const auto& c : cases)
        EXPECT_EQ(Qf::WStringFromFloat(c.value, char(c.places), c.trim), c.text) << c.value << " " << c.places;
}

TEST(StringFromFloat, ShortestTextThatReadsBack) {
    EXPECT_EQ(StringFromFloat(-0.0), "0");
    EXPECT_EQ(StringFromFloat(1e20), "1e+20");
    for (double v : {0.5, 1.0 / 3.0, 0.299, 1e-7, -123456.789}) EXPECT_EQ(doubleFromString(StringFromFloat(v).view()), v);
}

TEST(DecimalText, LongestLeadingNumberOfAnyLengthAndDecimalOnly) {
    // The zeros are not numbers here: hexadecimal, infinities and NaN words, a lone sign or point.
    const std::pair<const char*, double> reals[] = {
        {"0.5", 0.5}, {"  -2.5e1xyz", -25}, {"+.5", 0.5}, {"5.", 5}, {"1e", 1}, {"1e+", 1}, {"2E-2", 0.02}, {"0.25abc", 0.25},
        {"0x1p3", 0}, {"inf", 0},           {"nan", 0},   {"-", 0},  {".", 0},  {"", 0},    {"x1", 0}};
    for (const auto& [text, value] : reals) EXPECT_EQ(doubleFromString(text), value) << text;
    const std::string longWhole = "1" + std::string(400, '0');               // beyond a double: infinity
    EXPECT_EQ(doubleFromString("0." + std::string(300, '0') + "1"), 1e-301); // past any fixed buffer
    EXPECT_EQ(doubleFromString(longWhole), HUGE_VAL);
    EXPECT_EQ(doubleFromString("-" + longWhole), -HUGE_VAL);

    const std::pair<const char*, int64_t> wholes[] = {
        {"42", 42}, {"42.9", 42}, {" -7", -7}, {"+3", 3}, {"x", 0}, {"", 0}, {"123456789012", 123456789012}};
    for (const auto& [text, value] : wholes) EXPECT_EQ(integerFromString(text), value) << text;
    EXPECT_EQ(integerFromString(std::string(30, '9')), INT64_MAX);
    EXPECT_EQ(integerFromString("-" + std::string(30, '9')), INT64_MIN);
}

TEST(DecimalText, ReadingAndWritingIgnoreACommaLocale) {
    QfTest::ScopedLocale comma(QfTest::kCommaLocale);
    if (!comma.active()) GTEST_SKIP() << QfTest::kCommaLocale << " is not installed";
    char probe[16];
    std::snprintf(probe, sizeof probe, "%.1f", 0.5);
    ASSERT_STREQ(probe, "0,5"); // the locale really is in force
    EXPECT_EQ(doubleFromString("0.5"), 0.5);
    EXPECT_EQ(doubleFromString("1,5"), 1);
    EXPECT_EQ(Qf::WStringFromFloat(0.5, 5, true), L"0.5");
    EXPECT_EQ(Qf::WStringFromFloat(-1234.56789, 5, false), L"-1234.56789");
    EXPECT_EQ(StringFromFloat(0.25), "0.25");
}
