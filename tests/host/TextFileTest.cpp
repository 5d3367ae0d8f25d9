#include "host/misc/TextFile.h"
#include "host/base/Strings.h"
#include "host/misc/CodeParsingUtils.h"
#include "host/own/Files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

using Text = LightweightString<char>;
using Lines = std::vector<Text>;

TEST(TextFile, SplitsLinesAtEveryLineEndAndTellsMissingFromEmpty) {
    const std::pair<const char*, Lines> cases[] = {{"a\r\nb\r\n", {"a", "b"}},
                                                   {"a\nb", {"a", "b"}},
                                                   {"a\n\n\nb\n", {"a", "", "", "b"}},
                                                   {"\n", {""}},
                                                   {"", {}},
                                                   // Old Mac files end lines with a lone CR; CR CR LF is an empty line between.
                                                   {"x\ry\n", {"x", "y"}},
                                                   {"a\rb\r", {"a", "b"}},
                                                   {"a\r\r\nb", {"a", "", "b"}},
                                                   // A byte-order mark is not text of the first line; elsewhere it is.
                                                   {"\xEF\xBB\xBF"
                                                    "DeclarePass(A)\n",
                                                    {"DeclarePass(A)"}},
                                                   {"a\n\xEF\xBB\xBF", {"a", "\xEF\xBB\xBF"}}};
    for (const auto& [text, lines] : cases) EXPECT_EQ(TextFile::fromText(text).lines(), lines) << text;

    const auto dir = std::filesystem::temp_directory_path() / ("qffx_textfile_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "effect.fx", std::ios::binary) << "// Tint\r\nfloat4 Tint_pass()\r\n";
    std::ofstream(dir / "empty.fx", std::ios::binary) << "";
    const auto path = [&](const char* name) { return fromUTF8(Text((dir / name).string())); };
    TextFile file(path("effect.fx"));
    EXPECT_EQ(file.lines(), (Lines{"// Tint", "float4 Tint_pass()"}));
    EXPECT_TRUE(TextFile(path("empty.fx")).loaded());

    // A missing path, and a directory, are not loaded and leave no old lines behind.
    EXPECT_FALSE(file.load(path("missing.fx")) || file.loaded());
    EXPECT_TRUE(file.empty());
    EXPECT_FALSE(TextFile(fromUTF8(Text(dir.string()))).loaded());

    // Devices (which may never end) and files past the limit are refused
    // before anything is read, with a message naming the file.
    TextFile device(L"/dev/zero");
    EXPECT_FALSE(device.loaded());
    EXPECT_EQ(device.loadError(), "/dev/zero: is not a regular file");
    std::filesystem::resize_file(std::ofstream(dir / "huge.fx").good() ? dir / "huge.fx" : dir, Files::kMaxTextFileBytes + 1);
    TextFile huge(path("huge.fx"));
    EXPECT_FALSE(huge.loaded());
    EXPECT_EQ(huge.loadError(), (dir / "huge.fx").string() + ": is larger than 16 MiB");
    std::filesystem::remove_all(dir);
}

TEST(DeclarationSplitter, SplitsAtTopLevelCommasOnly) {
    const std::pair<const char*, Lines> cases[] = {
        {"", {}},
        {"DeclareEntryPoint", {}},
        {"DeclareEntryPoint()", {}},
        {"DeclareEntryPoint( )", {}},
        {"DeclarePass( Name )", {"Name"}},
        {"DeclareFloatParam( Amount, \"Amount, in %\", kNoGroup, 0.5, f(1,2), g((a,b),c) )",
         {"Amount", "\"Amount, in %\"", "kNoGroup", "0.5", "f(1,2)", "g((a,b),c)"}},
        {"D(\"a)b\", \"(\", c)", {"\"a)b\"", "\"(\"", "c"}}, // quoted parentheses open and close nothing
        {"D(\t a \t,  b  )", {"a", "b"}},
        {"D(a,)", {"a", ""}},
        {"D(,)", {"", ""}},
        {"D( , b)", {"", "b"}},            // empty arguments count
        {"D(a, b) // (c, d)", {"a", "b"}}, // text after the list is ignored
        {"D( a, b  ", {"a", "b"}},
        {"D( a, f(b, c", {"a", "f(b, c"}}, // a missing ")" runs to the end
    };
    for (const auto& [line, arguments] : cases) EXPECT_EQ(CodeParsingUtils::extractDeclarationArguments(line), arguments) << line;
}
