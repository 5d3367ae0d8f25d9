#include "host/CodeParsingUtils.h"
#include "host/Strings.h"
#include "host/TextFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

using Text = LightweightString<char>;
using Lines = std::vector<Text>;

TEST(TextFile, SplitsLinesAndDropsCarriageReturns) {
    EXPECT_EQ(TextFile::fromText("a\r\nb\r\n").lines(), (Lines{"a", "b"}));
    EXPECT_EQ(TextFile::fromText("a\nb").lines(), (Lines{"a", "b"}));
    EXPECT_EQ(TextFile::fromText("a\n\n\nb\n").lines(), (Lines{"a", "", "", "b"}));
    EXPECT_EQ(TextFile::fromText("\n").lines(), (Lines{""}));
    EXPECT_EQ(TextFile::fromText("x\ry\n").lines(), (Lines{"x\ry"})); // a lone CR is text

    const TextFile empty = TextFile::fromText("");
    EXPECT_TRUE(empty.loaded());
    EXPECT_TRUE(empty.empty());
}

TEST(TextFile, LoadsFilesAndTellsMissingFromEmpty) {
    const auto dir = std::filesystem::temp_directory_path() / ("qffx_textfile_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    const auto write = [&](const char* name, std::string_view content) {
        std::ofstream(dir / name, std::ios::binary) << content;
        return fromUTF8(Text((dir / name).string()));
    };

    TextFile file(write("effect.fx", "// Tint\r\nfloat4 Tint_pass()\r\n"));
    EXPECT_TRUE(file.loaded());
    EXPECT_EQ(file.lines(), (Lines{"// Tint", "float4 Tint_pass()"}));

    TextFile emptyFile(write("empty.fx", ""));
    EXPECT_TRUE(emptyFile.loaded());
    EXPECT_TRUE(emptyFile.empty());

    // A missing path, and a directory, are not loaded and leave no old lines behind.
    EXPECT_FALSE(file.load(fromUTF8(Text((dir / "missing.fx").string()))));
    EXPECT_FALSE(file.loaded());
    EXPECT_TRUE(file.empty());
    TextFile directory(fromUTF8(Text(dir.string())));
    EXPECT_FALSE(directory.loaded());
    EXPECT_TRUE(directory.empty());

    std::filesystem::remove_all(dir);
}

TEST(DeclarationSplitter, EmptyListsGiveNoArguments) {
    using CodeParsingUtils::extractDeclarationArguments;
    EXPECT_TRUE(extractDeclarationArguments("DeclareEntryPoint").empty());
    EXPECT_TRUE(extractDeclarationArguments("DeclareEntryPoint()").empty());
    EXPECT_TRUE(extractDeclarationArguments("DeclareEntryPoint( )").empty());
    EXPECT_TRUE(extractDeclarationArguments("").empty());
}

TEST(DeclarationSplitter, SplitsAtTopLevelCommasOnly) {
    using CodeParsingUtils::extractDeclarationArguments;
    EXPECT_EQ(extractDeclarationArguments("DeclarePass( Name )"), (Lines{"Name"}));
    EXPECT_EQ(extractDeclarationArguments("DeclareFloatParam( Amount, \"Amount, in %\", kNoGroup, 0.5, f(1,2), g((a,b),c) )"),
              (Lines{"Amount", "\"Amount, in %\"", "kNoGroup", "0.5", "f(1,2)", "g((a,b),c)"}));
    // A parenthesis inside quotes does not open or close anything.
    EXPECT_EQ(extractDeclarationArguments("D(\"a)b\", \"(\", c)"), (Lines{"\"a)b\"", "\"(\"", "c"}));
    EXPECT_EQ(extractDeclarationArguments("D(\t a \t,  b  )"), (Lines{"a", "b"}));
    // Every comma separates two arguments, empty ones included.
    EXPECT_EQ(extractDeclarationArguments("D(a,)"), (Lines{"a", ""}));
    EXPECT_EQ(extractDeclarationArguments("D(,)"), (Lines{"", ""}));
    EXPECT_EQ(extractDeclarationArguments("D( , b)"), (Lines{"", "b"}));
    // Text after the closing parenthesis is ignored; a missing one runs to the end.
    EXPECT_EQ(extractDeclarationArguments("D(a, b) // (c, d)"), (Lines{"a", "b"}));
    EXPECT_EQ(extractDeclarationArguments("D( a, b  "), (Lines{"a", "b"}));
    EXPECT_EQ(extractDeclarationArguments("D( a, f(b, c"), (Lines{"a", "f(b, c"}));
}
