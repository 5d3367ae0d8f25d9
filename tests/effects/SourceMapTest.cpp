// The source map: which line of the effect file each line of the compiled
// text, and each reader error, comes from.
#include "codegen/CodeGenerators.h"
#include "effects/ShaderEffectInfo.h"
#include "support/Printers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using ::testing::ElementsAre;
using Text = LightweightString<char>;

namespace {

// A two-pass effect; each line's comment says where it is (1-based).
constexpr std::string_view kTwoPass = "// 1\n"
                                      "DeclareQuillframeEffect( \"T\", \"C\", \"S\", kNoNotes, kNoFlags )\n"
                                      "DeclareInput( Input )\n"
                                      "DeclareFloatParam( Amount, \"Amount\", kNoGroup, kNoFlags, 0.5, 0, 1 )\n"
                                      "DeclarePass( Blur )\n"
                                      "{\n"
                                      "   return tex2D( Input, uv1 ) * Amount;\n"
                                      "}\n"
                                      "DeclareEntryPoint( Main )\n"
                                      "{\n"
                                      "   return tex2D( Blur, uv0 );\n"
                                      "}\n";

Ptr<ShaderEffectInfo> read(std::string_view text, eShadingLanguage language) {
    Ptr<ShaderEffectInfo> effect = makePtr<ShaderEffectInfo>(TextFile::fromText(text));
    effect->read(makeCodeGenerator(language, L"/fx/"));
    return effect;
}

// The compiled text as the GPU service sees it: the processed entries joined,
// split at every line feed.
std::vector<std::string> compiledLines(const ShaderEffectInfo& effect) {
    std::vector<std::string> lines;
    for (const Text& entry : effect.getProcessedSourceCode()) {
        std::string_view v = entry.view();
        for (size_t nl; (nl = v.find('\n')) != std::string_view::npos; v.remove_prefix(nl + 1))
            lines.emplace_back(v.substr(0, nl));
        lines.emplace_back(v);
    }
    return lines;
}

// "FILE_LINE: COMPILED LINE" for every compiled line.
std::vector<std::string> mapped(const ShaderEffectInfo& effect) {
    const ShaderSourceMap map = effect.getSourceMap();
    const std::vector<std::string> lines = compiledLines(effect);
    EXPECT_EQ(map.lines.size(), lines.size());
    std::vector<std::string> out;
    for (size_t i = 0; i < lines.size() && i < map.lines.size(); ++i)
        out.push_back(std::to_string(map.lines[i]) + ": " + lines[i]);
    return out;
}

} // namespace

TEST(SourceMap, GLSLLinesComeFromTheirDeclarationsAndCodeAndTheTechniquesFromTheirFunctions) {
    EXPECT_THAT(mapped(*read(kTwoPass, eShadingLanguageGLSL)),
                ElementsAre("1: ", "2: out vec4 FragColor;", "3: uniform sampler2D Input;", "4: uniform float Amount=0.5;",
                            "5: uniform sampler2D Blur;vec4 Blur_pass()", "6: {", "7:    return tex2D( Input, uv1 ) * Amount;",
                            "8: }", "9: vec4 Main()", "10: {", "11:    return tex2D( Blur, uv0 );", "12: }",
                            // The frame of main() belongs to the first entry point; each case to its function.
                            "9: uniform int _passCount0=2;uniform int _entryPoint=0;", "9: void main()", "9: {",
                            "9:    switch ( _entryPoint )", "9:    {", "5:       case 0: FragColor = Blur_pass(); break;",
                            "9:       case 1: FragColor = Main(); break;", "9:    }", "9: }"));
}

TEST(SourceMap, CgDeclarationsOfSeveralLinesMapEveryLineToTheDeclaration) {
    const std::vector<std::string> lines = mapped(*read(kTwoPass, eShadingLanguageCg));
    ASSERT_GE(lines.size(), 6u);
    // The header's include line, then the parameter's blank line and declaration.
    EXPECT_EQ(lines[1], "2: #include \"/fx/_utils.fx\"");
    EXPECT_EQ(lines[3], "4: ");
    EXPECT_EQ(lines[4], "4: float Amount = 0.5;");
    // The one-line technique block names the pass first.
    EXPECT_TRUE(lines.back().starts_with("5: technique T1{")) << lines.back();
}

TEST(SourceMap, ReaderErrorsKeepTheirDeclarationsLineAfterTheyAreHandedOut) {
    const Ptr<ShaderEffectInfo> effect = read("DeclareInput( Input )\n"
                                              "DeclarePass( A, B )\n"
                                              "DeclareFloatParam( X, \"X\", kNoGroup, nope|Hidden, 0, 0, 1 )\n"
                                              "float4 f() { return 0; }\n",
                                              eShadingLanguageGLSL);
    const std::vector<ShaderError> errors = effect->getErrors();
    ASSERT_EQ(errors.size(), 2u);
    // The records point at the generated line that follows (nothing was generated for them) ...
    EXPECT_EQ(errors[0].line, 1);
    EXPECT_EQ(errors[1].line, 1);
    // ... the map at the declarations a person fixes.
    const ShaderSourceMap map = effect->getSourceMap();
    EXPECT_EQ(map.fileLineOf(errors[0]), 2u);
    EXPECT_EQ(map.fileLineOf(errors[1]), 3u);
    // A record that is no reader error (a driver's) is placed by its generated line.
    EXPECT_EQ(map.fileLineOf(ShaderError{"0:2(1): error: x", 1}), 4u);
    EXPECT_EQ(map.fileLineOf(ShaderError{"beyond the text", 40}), 0u);

    // compile() hands the errors out once; the map still places them.
    effect->compile();
    EXPECT_TRUE(effect->getErrors().empty());
    EXPECT_EQ(effect->getSourceMap().fileLineOf(errors[1]), 3u);
}

TEST(SourceMap, GeneratedTextMapsToItselfAndVariablesAreListedApart) {
    const Ptr<ShaderEffectInfo> generated = read("float a;\nint _QfrmEffectInfo\n<\n> = 0;\n", eShadingLanguageGLSL);
    EXPECT_THAT(generated->getSourceMap().lines, ElementsAre(1u, 2u, 3u, 4u));

    const Ptr<ShaderEffectInfo> effect = read("DeclareFloat3x3Param( M )\nDeclareFloatParam( S )\n"
                                              "DeclareFloatParam( Amount, \"Amount\", kNoGroup, kNoFlags, 0.5, 0, 1 )\n",
                                              eShadingLanguageGLSL);
    ASSERT_EQ(effect->getVariables().size(), 2u);
    EXPECT_EQ(effect->getVariables()[0].id, "M");
    EXPECT_EQ(effect->getVariables()[0].type, iShaderParam::eFloat3x3);
    EXPECT_EQ(effect->getVariables()[1].id, "S");
    ASSERT_EQ(effect->getParams().size(), 1u);
    EXPECT_EQ(effect->getParams()[0].id, "Amount");
}
