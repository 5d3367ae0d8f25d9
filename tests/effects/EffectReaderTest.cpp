// The effect reader: how each line of an effect file is classified, what the
// declarations put into the model, and which errors they record.
#include "codegen/CgCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"
#include "support/Printers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Text = LightweightString<char>;

namespace {

// Writes one tag per element, so that a test sees what the reader hands to
// its generator rather than the text of a shader language.
class TaggingGenerator final : public iShaderCodeGenerator {
public:
    using iShaderCodeGenerator::generate;
    Shader::Lines generate(const Text& line) const override { return {"code:" + line}; }
    Shader::Lines generate(const Shader::Comment& c) const override { return {"comment:" + c.text}; }
    Shader::Lines generate(const std::vector<Shader::Technique>& techniques) const override {
        Text text = "techniques:";
        for (const Shader::Technique& t : techniques) {
            text += "[";
            for (size_t p = 0; p < t.passes.size(); ++p) text += (p ? "," : "") + t.passes[p].name;
            text += "]";
        }
        return {text};
    }
    Shader::Lines generate(const Shader::Function& f, bool isPass) const override {
        return {Text(isPass ? "pass:" : "entry:") + f.name + "/" + f.functionName + "/" + f.renderTarget};
    }
    Shader::Lines generate(const Shader::Parameter& p) const override { return {"param:" + StringFromInteger(p.type) + " " + p.id}; }
    // "input:TEXTURE NAME scaling/edge/dimension", and " mask" for a mask.
    Shader::Lines generate(const Shader::Input& i) const override {
        return {"input:" + i.textureName + " " + i.name + " " + StringFromInteger(i.scaling) + "/" +
                StringFromInteger(i.edgeMode) + "/" + StringFromInteger(i.dimension) + (i.isMask ? " mask" : "")};
    }
    Shader::Lines generate(const Shader::Header& h) const override { return {"header:" + h.name + " " + StringFromInteger(h.caps)}; }
    Shader::Lines generate(const Shader::Include& i) const override { return {"include:" + i.fileName}; }
};

Ptr<ShaderEffectInfo> readWith(std::string_view text, const Ptr<iShaderCodeGenerator>& generator) {
    Ptr<ShaderEffectInfo> effect = makePtr<ShaderEffectInfo>(TextFile::fromText(text));
    effect->read(generator);
    return effect;
}

Ptr<ShaderEffectInfo> read(std::string_view text) { return readWith(text, makePtr<TaggingGenerator>()); }

std::vector<std::string> lines(const ShaderEffectInfo& effect) {
    std::vector<std::string> out;
    for (const Text& line : effect.getProcessedSourceCode()) out.push_back(line.str());
    return out;
}

// "LINE: MESSAGE" for each recorded error.
std::vector<std::string> errors(const ShaderEffectInfo& effect) {
    std::vector<std::string> out;
    for (const ShaderError& e : effect.getErrors()) out.push_back(std::to_string(e.line) + ": " + e.message.str());
    return out;
}

// A property of exactly the stored type, or nothing.
template <typename T>
std::optional<T> property(const Shader::Parameter& p, const char* key) {
    const int i = p.properties.indexOf(key);
    if (i < 0) return std::nullopt;
    const T* value = std::get_if<T>(&p.properties.valueAt(size_t(i)));
    return value ? std::optional<T>(*value) : std::nullopt;
}

} // namespace

TEST(EffectReader, KeywordsAreTestedLongestFirst) {
    const auto e = read("DeclareFloatParamAnimated( A, \"A\", kNoGroup, kNoFlags, 0.5, 0, 1 )\n"
                        "DeclareFloatParam( B, \"B\", kNoGroup, kNoFlags, 0.5, 0, 1 )\n"
                        "DeclareFloat3Param( V )\n"
                        "DeclareFloat3x3Param( M )\n"
                        "DeclareInputs( X, Y )\n"
                        "DeclareInput( I )\n"
                        "Declare3DInput( L )\n"
                        "DeclareFloat4Param( F, \"F\", kNoGroup, kNoFlags, 1, 0, 0 )\n"
                        "DeclareColourParam( C, \"C\", kNoGroup, kNoFlags, 1, 0, 0 )\n"
                        "DeclareBoolParam( Bo, \"Bo\", kNoGroup, true )\n"
                        "DeclareIntParam( N, \"N\", kNoGroup, 2, \"a|b\" )\n"
                        "DeclareSomethingNew( Z )\n"
                        "Declare\n");
    EXPECT_THAT(lines(*e), ElementsAre("param:1 A", "param:1 B", "param:7 V", "param:6 M", "input:_X X 0/1/0input:_Y Y 0/1/0",
                                       "input:_I I 0/1/0", "input:_L L 0/1/1", "param:5 F", "param:5 C", "param:3 Bo", "param:4 N"));
    EXPECT_TRUE(e->getErrors().empty());
    ASSERT_EQ(e->getParams().size(), 6u);
    EXPECT_EQ(property<int64_t>(e->getParams()[0], "animated"), 1);
    EXPECT_EQ(property<int64_t>(e->getParams()[1], "animated"), 0);
}

TEST(EffectReader, OnlyBlanksAreTrimmedBeforeTheTests) {
    const auto e = read("\tDeclareInput( Tabbed )\n"
                        "   // a note  \n"
                        "   DeclareInput( Indented )   \n"
                        "  float x = 1;  \n"
                        "\n"
                        "\t// tabbed\n");
    // Code lines pass through untrimmed; comments are handed over trimmed.
    EXPECT_THAT(lines(*e), ElementsAre("code:\tDeclareInput( Tabbed )", "comment:// a note", "input:_Indented Indented 0/1/0",
                                       "code:  float x = 1;  ", "code:", "code:\t// tabbed"));
    EXPECT_EQ(e->getInputs().size(), 1u);
    EXPECT_THAT(lines(*readWith("   // three blanks first\n", makePtr<CgCodeGenerator>())), ElementsAre(""));
}

TEST(EffectReader, IncludeNamesTheTextBetweenTheFirstTwoQuotes) {
    const auto e = read("#include \"_utils.fx\"\n"
                        "  #include \"a.fx\" \"b.fx\"\n"
                        "#include \"unterminated.fx\n"
                        "#include <system.fx>\n");
    EXPECT_THAT(lines(*e), ElementsAre("include:_utils.fx", "include:a.fx"));
    EXPECT_TRUE(e->getErrors().empty());
}

TEST(EffectReader, GeneratedTextMarkerEmptiesTheProcessedSource) {
    const auto e = read("DeclareInput( A )\n"
                        "float x;\n"
                        "DeclareEntryPoint( Main )\n"
                        "  int _QfrmEffectInfo\n"
                        "DeclarePass( Late )\n"
                        "DeclareEntryPoint( Later )\n");
    // Only the technique text declared before the marker is left; reading stops there.
    EXPECT_THAT(lines(*e), ElementsAre("techniques:[Main]"));
    EXPECT_EQ(e->getInputs().size(), 1u);
    EXPECT_TRUE(read("float x;\nint _QfrmEffectInfo <\n")->getProcessedSourceCode().empty());
    EXPECT_TRUE(read("")->getProcessedSourceCode().empty());
}

TEST(EffectReader, ArgumentsLoseEnclosingQuotesAndPlaceholderWords) {
    auto split = [](const char* line) {
        std::vector<std::string> out;
        for (const Text& a : ShaderEffectInfo::extractDeclarationArguments(line)) out.push_back(a.str());
        return out;
    };
    EXPECT_THAT(split("DeclareX( \"a\", \"\"b\"\", kNoGroup, \"kNoX\", a\"x\"b, \" c \", kNo, xkNo, \"\" )"),
                ElementsAre("a", "b", "", "", "a\"x\"b", " c ", "", "xkNo", ""));
    EXPECT_TRUE(split("DeclareEntryPoint()").empty());
    EXPECT_TRUE(split("DeclareEntryPoint( )").empty());
    EXPECT_TRUE(split("DeclareMask").empty());
}

TEST(EffectReader, ArgumentCountErrorsNameTheSignatureAndTheLine) {
    const std::string floatSig = "DeclareFloatParam( ID, Name, Group, Flags, Default, Min, Max )",
                      intSig = "DeclareIntParam( ID, Name, Group, Default, Choices )",
                      boolSig = "DeclareBoolParam( ID, Name, Group, Default )",
                      colourSig = "DeclareColourParam( ID, Name, Group, Flags, R, G, B, A )",
                      effectSig = "DeclareQuillframeEffect( Name, Category, Subcategory, Notes, Flags )",
                      few = "Too few arguments for ", many = "Too many arguments for ";
    const std::pair<const char*, std::string> cases[] = {
        {"DeclareFloatParam", few + floatSig},
        {"DeclareFloatParam( a, b )", few + floatSig},
        {"DeclareFloatParamAnimated( a, b, c, d, 1, 2, 3, 4 )", many + floatSig},
        {"DeclareIntParam( a, b, c, 1 )", few + intSig},
        {"DeclareIntParam( a, b, c, 1, x, y )", many + intSig},
        {"DeclareBoolParam( a )", few + boolSig},
        {"DeclareBoolParam( a, b, c, true, x )", few + boolSig}, // the bound is 5, not 4
        {"DeclareBoolParam( a, b, c, true, x, y )", many + boolSig},
        {"DeclareColourParam( a, b, c, d, 1, 2 )", few + colourSig},
        {"DeclareFloat4Param( a, b, c, d, 1, 2, 3, 4, 5 )", many + colourSig},
        {"DeclareQuillframeEffect( a, b, c, d )", few + effectSig},
        {"DeclareQuillframeEffect( a, b, c, d, e, f )", many + effectSig},
        {"DeclarePass()", few + "DeclarePass( Name )"},
        {"DeclarePass( a, b )", many + "DeclarePass( Name )"},
        {"DeclareEntryPoint( a, b )", many + "DeclareEntryPoint( Name )"},
    };
    // Each declaration follows one more code line, so each error's line differs.
    std::string text;
    std::vector<std::string> expected;
    for (size_t i = 0; i < std::size(cases); ++i) {
        text += "code;\n" + std::string(cases[i].first) + "\n";
        expected.push_back(std::to_string(i + 1) + ": " + cases[i].second);
    }
    const auto e = read(text);
    EXPECT_THAT(errors(*e), ElementsAreArray(expected));
    EXPECT_EQ(lines(*e).size(), std::size(cases));
    EXPECT_TRUE(e->getParams().empty());
    EXPECT_TRUE(e->getTechniques().empty());
    EXPECT_TRUE(e->getName().empty());
}

TEST(EffectReader, ParameterFlagsAreCheckedWithRegardToCase) {
    const auto e = read("DeclareFloatParam( Lower, \"L\", kNoGroup, hidden, 0, 0, 1 )\n"
                        "DeclareFloatParam( Good, \"G\", kNoGroup, Hidden|SpecifiesAngle, 0, 0, 1 )\n"
                        "DeclareFloatParam( Mixed, \"M\", kNoGroup, Bogus|Hidden|Worse, 0, 0, 1 )\n"
                        "DeclareFloatParam( Trailing, \"T\", kNoGroup, Hidden|, 0, 0, 1 )\n"
                        "DeclareColourParam( Wrong, \"W\", kNoGroup, SpecifiesAngle, 1, 0, 0 )\n"
                        "DeclareColourParam( Tint, \"T\", kNoGroup, SupportsAlpha|Hidden, 1, 0, 0, 1 )\n"
                        "DeclareFloatParam( Plain, \"P\", kNoGroup, kNoFlags, 0, 0, 1 )\n");
    EXPECT_THAT(errors(*e), ElementsAre("0: Invalid parameter flag : hidden", "1: Invalid parameter flag : Bogus",
                                        "1: Invalid parameter flag : Worse", "1: Invalid parameter flag : ",
                                        "1: Invalid parameter flag : SpecifiesAngle"));
    EXPECT_THAT(lines(*e), ElementsAre("param:1 Good", "param:5 Tint", "param:1 Plain"));
    ASSERT_EQ(e->getParams().size(), 3u);
    EXPECT_EQ(property<Text>(e->getParams()[0], "flags"), Text("Hidden|SpecifiesAngle"));

    // Every word of each table is accepted by its own form.
    std::string text;
    for (const Text& flag : ShaderEffectInfo::getDoubleParameterFlags())
        text += "DeclareFloatParam( F, F, G, " + flag.str() + ", 0, 0, 1 )\n";
    for (const Text& flag : ShaderEffectInfo::getColourParameterFlags())
        text += "DeclareColourParam( C, C, G, " + flag.str() + ", 0, 0, 1 )\n";
    const auto all = read(text);
    EXPECT_TRUE(all->getErrors().empty());
    EXPECT_EQ(all->getParams().size(), 12u + 6u);
}

TEST(EffectReader, SingleArgumentFormsDeclareOnlyAShaderVariable) {
    const auto e = read("DeclareFloatParam( f )\n"
                        "DeclareFloatParamAnimated( fa )\n"
                        "DeclareIntParam( i )\n"
                        "DeclareColourParam( c )\n"
                        "DeclareFloat4Param( c4 )\n"
                        "DeclareFloat3Param( v )\n"
                        "DeclareFloat3x3Param( m )\n"
                        "DeclareFloat3Param( v, x )\n"
                        "DeclareFloat3x3Param()\n"
                        "DeclareFloat3x3Param( a, b, c, d, e, f, g )\n");
    EXPECT_THAT(lines(*e), ElementsAre("param:1 f", "param:1 fa", "param:4 i", "param:5 c", "param:5 c4", "param:7 v",
                                       "param:6 m"));
    EXPECT_TRUE(e->getParams().empty());
    EXPECT_TRUE(e->getErrors().empty());
}

TEST(EffectReader, ParameterPropertiesKeepTheirTypes) {
    const auto e = read("DeclareFloatParamAnimated( Amount, \"Größe\", \"Look\", DisplayAsPercentage, 0.25abc, x, -2e1 )\n"
                        "DeclareFloatParam( Still, Still, kNoGroup, kNoFlags, 1, 0, 1 )\n"
                        "DeclareIntParam( Mode, Mode, kNoGroup, 42.9, \"One|Two\" )\n"
                        "DeclareBoolParam( On, On, kNoGroup, TRUE )\n"
                        "DeclareBoolParam( Off, Off, kNoGroup, yes )\n"
                        "DeclareColourParam( Rgb, Rgb, kNoGroup, kNoFlags, 0.5, 0.25, 1 )\n"
                        "DeclareFloat4Param( Rgba, Rgba, kNoGroup, kNoFlags, 0.5, 0.25, 1, 0 )\n");
    ASSERT_EQ(e->getParams().size(), 7u);
    const auto& p = e->getParams();
    EXPECT_EQ(p[0].name, LightweightString<wchar_t>(L"Größe"));
    EXPECT_EQ(p[0].group, LightweightString<wchar_t>(L"Look"));
    EXPECT_EQ(property<Text>(p[0], "flags"), Text("DisplayAsPercentage"));
    EXPECT_EQ(property<double>(p[0], "default"), 0.25);
    EXPECT_EQ(property<double>(p[0], "min"), 0.0);
    EXPECT_EQ(property<double>(p[0], "max"), -20.0);
    EXPECT_EQ(property<int64_t>(p[0], "animated"), 1);
    EXPECT_EQ(property<int64_t>(p[1], "animated"), 0);
    EXPECT_EQ(property<int64_t>(p[2], "default"), 42);
    EXPECT_EQ(property<Text>(p[2], "choices"), Text("One|Two"));
    EXPECT_EQ(property<bool>(p[3], "default"), true);
    EXPECT_EQ(property<bool>(p[4], "default"), false);
    EXPECT_EQ(property<double>(p[5], "c1"), 0.5);
    EXPECT_EQ(property<double>(p[5], "c2"), 0.25);
    EXPECT_EQ(property<double>(p[5], "c3"), 1.0);
    EXPECT_FALSE(p[5].properties.has("alpha"));
    EXPECT_EQ(property<double>(p[6], "alpha"), 0.0);
}

TEST(EffectReader, EffectDeclarationSetsTheHeaderAndCapabilities) {
    const auto e = read("DeclareQuillframeEffect( \"Tint\", \"Colour\", kNoSubcategory, \"Soft tint\", canSIZE|Bogus )\n"
                        "DeclareQuillframeEffect( Second, kNoCategory, Sub, kNoNotes, HASMINOUTPUTSIZE )\n");
    // A second declaration overwrites the texts and adds its bits; both headers are written.
    EXPECT_THAT(lines(*e), ElementsAre("header:Tint 9", "header:Second 11"));
    EXPECT_EQ(e->getName(), LightweightString<wchar_t>(L"Second"));
    EXPECT_TRUE(e->getCategory().empty());
    EXPECT_EQ(e->getSubcategory(), LightweightString<wchar_t>(L"Sub"));
    EXPECT_TRUE(e->getNotes().empty());
    EXPECT_EQ(e->getCaps(), 11u);
    EXPECT_TRUE(e->getErrors().empty());

    const std::pair<const char*, uint32_t> words[] = {
        {"ScaleAware", 0x1}, {"RotationAware", 0x8}, {"HasMinOutputSize", 0x2}, {"HasMaxOutputSize", 0x4},
        {"CanSize", 0x9},    {"ScaleAware|RotationAware", 0x9}, {"kNoFlags", 0}, {"Unknown", 0},
    };
    for (const auto& [flags, caps] : words)
        EXPECT_EQ(read("DeclareQuillframeEffect( N, C, S, X, " + std::string(flags) + " )")->getCaps(), caps) << flags;
}

TEST(EffectReader, InputsTakeSamplingAndEdgeWordsAndMasksIgnoreThem) {
    const auto e = read("DeclareInput( A )\n"
                        "DeclareInput( B, POINT )\n"
                        "DeclareInput( C, linear, WRAP )\n"
                        "DeclareInput( D, anything, Border )\n"
                        "DeclareInput( E, Point, mirror )\n"
                        "DeclareInput( F, point, wrap, extra )\n"
                        "DeclareInput( G, point, sideways )\n"
                        "Declare3DInput( Lut )\n"
                        "DeclareInput()\n"
                        "DeclareMask( Whatever, Point, Wrap )\n");
    // scaling: 0 Linear, 1 Point; edge: 0 Border, 1 ClampToEdge, 2 Mirror, 3 Wrap; dimension: 0 2D, 1 3D
    EXPECT_THAT(lines(*e), ElementsAre("input:_A A 0/1/0", "input:_B B 1/1/0", "input:_C C 0/3/0", "input:_D D 0/0/0",
                                       "input:_E E 1/2/0", "input:_F F 1/1/0", "input:_G G 1/1/0", "input:_Lut Lut 0/1/1",
                                       "input:_mask Mask 0/1/0 mask"));
    EXPECT_EQ(e->getInputs().size(), 9u);
    EXPECT_TRUE(e->getErrors().empty());
}

TEST(EffectReader, InputsDeclarationJoinsItsLinesAndSkipsInternalNames) {
    const auto e = read("DeclareInputs( A, _Hidden, B )\nDeclareInputs( _Only )\nDeclareInputs()\n");
    EXPECT_THAT(lines(*e), ElementsAre("input:_A A 0/1/0input:_B B 0/1/0"));
    ASSERT_EQ(e->getInputs().size(), 2u);
    EXPECT_EQ(e->getInputs()[1].name, Text("B"));

    // With the Cg generator both sampler declarations share one line.
    const auto cg = readWith("DeclareInputs( A, B )\n", makePtr<CgCodeGenerator>());
    const CgCodeGenerator generator;
    const Text a = generator.generate(cg->getInputs()[0])[0], b = generator.generate(cg->getInputs()[1])[0];
    EXPECT_THAT(cg->getProcessedSourceCode(), ElementsAre(a + b));
}

TEST(EffectReader, EntryPointsCloseTechniques) {
    const auto e = read("DeclareEntryPoint( First )\n"
                        "DeclarePass( A )\n"
                        "float4 body;\n"
                        "DeclarePass( B )\n"
                        "DeclareEntryPoint( Second )\n"
                        "DeclarePass( C )\n"
                        "DeclareEntryPoint()\n"
                        "DeclarePass( Orphan )\n");
    // The technique text comes once, after the last line; a pass after the
    // last entry point belongs to no technique.
    EXPECT_THAT(lines(*e), ElementsAre("entry:First/First/", "pass:A/A_pass/_A", "code:float4 body;", "pass:B/B_pass/_B",
                                       "entry:Second/Second/", "pass:C/C_pass/_C", "entry:QfMain/QfMain/",
                                       "pass:Orphan/Orphan_pass/_Orphan", "techniques:[First][A,B,Second][C,QfMain]"));
    ASSERT_EQ(e->getTechniques().size(), 3u);
    const Shader::Function& entry = e->getTechniques()[1].passes[2];
    EXPECT_EQ(entry.functionName, Text("Second"));
    EXPECT_TRUE(entry.renderTarget.empty());
    EXPECT_THAT(lines(*read("DeclarePass( A )\n")), ElementsAre("pass:A/A_pass/_A"));
}
