#include "host/base/LightweightString.h"
#include "host/base/Strings.h"

#include <gtest/gtest.h>

#include <unordered_set>

using Text = LightweightString<char>;
using WText = LightweightString<wchar_t>;

TEST(LightweightString, CopiesShareTheBufferUntilOneIsChanged) {
    const Text original("shader");
    Text copy = original;
    EXPECT_EQ(copy.c_str(), original.c_str()); // one buffer, two references
    copy += "_pass";
    EXPECT_EQ(original, "shader");
    EXPECT_EQ(copy, "shader_pass");

    Text moved = original;
    const Text target = std::move(moved);
    EXPECT_EQ(original, "shader");
    EXPECT_EQ(target, "shader");
    EXPECT_TRUE(moved.isNull());
}

TEST(LightweightString, NullAndEmptyAreTheSameText) {
    const Text null;
    Text empty;
    empty.reserve(8); // an empty text that owns a buffer
    ASSERT_FALSE(empty.isNull());
    EXPECT_EQ(null, empty);
    EXPECT_EQ(null, "");
    EXPECT_EQ(Text(static_cast<const char*>(nullptr)), empty);
    EXPECT_FALSE(null < empty || empty < null);
    EXPECT_STREQ(null.c_str(), "");
    EXPECT_EQ(null[0], '\0'); // the terminator, as for ""
    EXPECT_EQ(std::unordered_set<Text>{null}.count(empty), 1u);
    EXPECT_EQ(null + "x", "x");
    EXPECT_EQ(null.substr(0), "");
    EXPECT_EQ(null.find('a'), Text::npos);
}

TEST(Utf8, RoundTripsEveryEncodedLength) {
    // 1, 2, 3 and 4 bytes: 'A', e-acute, euro sign, musical G clef.
    const WText wide(L"A\u00E9\u20AC\U0001D11E");
    EXPECT_EQ(toUTF8(wide), "A\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E");
    EXPECT_EQ(fromUTF8(toUTF8(wide)), wide);
    // Code points that are not Unicode scalar values cannot be encoded.
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(toUTF8(WText(std::wstring{wchar_t(0xD800), L'a', wchar_t(0x110000)})), replacement + "a" + replacement);
}

TEST(Utf8, BytesThatAreNotUTF8AreCarriedAndWrittenBack) {
    EXPECT_EQ(fromUTF8("a\x80z"), L"a\xDC80z");                 // stray continuation byte
    EXPECT_EQ(fromUTF8("\xE2\x82"), L"\xDCE2\xDC82");           // truncated at the end
    EXPECT_EQ(fromUTF8("\xE2(x"), L"\xDCE2(x");                 // lead byte without continuation
    EXPECT_EQ(fromUTF8("\xC0\xAF"), L"\xDCC0\xDCAF");           // overlong "/"
    EXPECT_EQ(fromUTF8("\xED\xA0\x80"), L"\xDCED\xDCA0\xDC80"); // encoded surrogate
    EXPECT_EQ(fromUTF8("\xF4\x90\x80\x80").size(), 4u);         // above U+10FFFF
    for (const char* bytes : {"a\xFF.png", "\xE2\x82", "\xED\xA0\x80/\xC3\xA9", "\xF4\x90\x80\x80"})
        EXPECT_EQ(toUTF8(fromUTF8(bytes)), bytes);
}
