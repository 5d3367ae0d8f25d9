#include "host/Strings.h"

#include <gtest/gtest.h>

TEST(WStringFromFloat, PlacesTrimmingAndRounding) {
    const struct {
        double value;
        int places;
        bool trim;
        const wchar_t* text;
    } cases[] = {
        {0.5, 5, true, L"0.5"}, {1, 5, true, L"1"}, {0.123456, 5, true, L"0.12346"},
        {100, 5, true, L"100"}, // zeros before the point stay
        {10.10, 5, true, L"10.1"}, {1e20, 5, true, L"100000000000000000000"}, {-2.5, 5, true, L"-2.5"},
        {0.999999, 5, true, L"1"}, {1e-6, 5, true, L"0"},
        {-0.000001, 5, true, L"0"}, {-0.0, 5, true, L"0"}, {-0.000001, 5, false, L"0.00000"}, // never "-0"
        {0.5, 5, false, L"0.50000"}, {2.345, 0, true, L"2"},
        {1.25, 1, true, L"1.2"}, // 1.25 is exact: ties go to even
    };
    for (const auto& c : cases) EXPECT_EQ(Qf::WStringFromFloat(c.value, char(c.places), c.trim), c.text) << c.value << " " << c.places;
}

TEST(StringFromFloat, ShortestTextThatReadsBack) {
    EXPECT_EQ(StringFromFloat(-0.0), "0");
    EXPECT_EQ(StringFromFloat(1e20), "1e+20");
    for (double v : {0.5, 1.0 / 3.0, 0.299, 1e-7, -123456.789}) EXPECT_EQ(doubleFromString(StringFromFloat(v).view()), v);
}
