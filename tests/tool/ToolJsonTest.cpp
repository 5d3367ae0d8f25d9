// The tool's JSON text: valid for any input, laid out as every --json output
// is, numbers the same in every locale.
#include "ToolJson.h"

#include "support/ScopedLocale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

// Parses as a strict reader does: nlohmann's parser throws on bytes that are
// not UTF-8 and on anything else that is not JSON.
Json reparse(const std::string& text) { return Json::parse(text); }

TEST(ToolJson, BytesThatAreNotUTF8BecomeReplacementCharacters) {
    const Json list = Json::array({{{"name", "b\xff\xfe"}, {"path", "/x/b\xff\xfe.fx"}}});
    const std::string text = jsonText(list);
    Json parsed;
    ASSERT_NO_THROW(parsed = reparse(text)) << text;
    EXPECT_EQ(parsed[0]["name"], "b\xEF\xBF\xBD\xEF\xBF\xBD"); // U+FFFD twice
    EXPECT_EQ(parsed[0]["path"], "/x/b\xEF\xBF\xBD\xEF\xBF\xBD.fx");
    // Valid UTF-8 and control characters come back as they were.
    const std::string awkward = "Fl\xC3\xA4"
                                "che \"q\" \\ \n\t\x01\x7f";
    EXPECT_EQ(reparse(jsonText(Json{{"s", awkward}}))["s"], awkward);
}

TEST(ToolJson, TheLayoutOfTheToolsOutputs) {
    const Json document = {
        {"schemaVersion", 1},
        {"effect", {{"name", "Tint"}, {"capabilities", Json::array()}}},
        {"inputs", Json::array({{{"name", "Input"}, {"kind", "input"}}, {{"name", "Mask"}, {"kind", "mask"}}})},
        {"flags", {"a", "b"}},
        {"variables", Json::array()},
        {"techniques", Json::array({{{"name", "T0"}, {"passes", Json::array({{{"name", "P"}}})}}})}};
    EXPECT_EQ(jsonText(document), "{\n"
                                  "  \"schemaVersion\": 1,\n"
                                  "  \"effect\": {\"name\": \"Tint\", \"capabilities\": []},\n"
                                  "  \"inputs\": [\n"
                                  "    {\"name\": \"Input\", \"kind\": \"input\"},\n"
                                  "    {\"name\": \"Mask\", \"kind\": \"mask\"}\n"
                                  "  ],\n"
                                  "  \"flags\": [\"a\", \"b\"],\n"
                                  "  \"variables\": [],\n"
                                  "  \"techniques\": [\n"
                                  "    {\"name\": \"T0\", \"passes\": [{\"name\": \"P\"}]}\n"
                                  "  ]\n"
                                  "}\n");
    // A list at the top, one object a line, with the indent asked for.
    EXPECT_EQ(jsonText(Json::array({{{"id", 1}}, {{"id", 2}}}), 1), "[\n {\"id\": 1},\n {\"id\": 2}\n]\n");
    EXPECT_EQ(jsonText(Json::array()), "[]\n");
    EXPECT_EQ(jsonText(Json::object()), "{}\n");
}

TEST(ToolJson, NumbersIgnoreTheLocale) {
    const auto numbers = [] {
        return jsonText(Json::array({0.5, 1.0, -0.0, 100000.0, 1e-7, 0.1 + 0.2, -2.25, 42, -7, uint64_t(1) << 40}));
    };
    const std::string expected = "[\n  0.5,\n  1,\n  0,\n  100000,\n  1e-07,\n  0.30000000000000004,\n  -2.25,\n  42,\n  -7,\n"
                                 "  1099511627776\n]\n";
    EXPECT_EQ(numbers(), expected);
    QfTest::ScopedLocale comma(QfTest::kCommaLocale);
    if (!comma.active()) GTEST_SKIP() << "no " << QfTest::kCommaLocale << " locale";
    EXPECT_EQ(numbers(), expected);
}

TEST(ToolJson, NumbersJSONCannotHoldAreNull) {
    const Json values = Json::array({std::nan(""), std::numeric_limits<double>::infinity()});
    EXPECT_EQ(jsonText(values), "[\n  null,\n  null\n]\n");
}

TEST(ToolJson, FiguresRoundedToTheirPlaces) {
    EXPECT_EQ(roundedTo(4036.62549, 3), 4036.625);
    EXPECT_EQ(jsonText(Json::array({roundedTo(59.99951, 3), roundedTo(8.2104, 3)})), "[\n  60,\n  8.21\n]\n");
}

} // namespace
