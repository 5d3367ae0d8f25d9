// The effect reader: how each line of an effect file is classified, what the
// declarations put into the model, and which errors they record.
#include "effects/ShaderEffectInfo.h"
#include "support/Printers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Text = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

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
        for (const Shader::Technique& t : techniques)
            for (size_t p = 0; p < t.passes.size(); ++p)
                text += (p ? "," : "[") + t.passes[p].name + (p + 1 < t.passes.size() ? "" : "]");
        return {text};
    }
    Shader::Lines generate(const Shader::Function& f, bool isPass) const override {
        return {Text(isPass ? "pass:" : "entry:") + f.name + "/" + f.functionName + "/" + f.renderTarget};
    }
    Shader::Lines generate(const Shader::Parameter& p) const override {
        return {"param:" + StringFromInteger(p.type) + " " + p.id};
    }
    // "input:TEXTURE NAME scaling/edge/dimension", and " mask" for a mask.
    Shader::Lines generate(const Shader::Input& i) const override {
        return {"input:" + i.textureName + " " + i.name + " " + StringFromInteger(i.scaling) + "/" +
                StringFromInteger(i.edgeMode) + "/" + StringFromInteger(i.dimension) + (i.isMask ? " mask" : "")};
    }
    Shader::Lines generate(const Shader::Header& h) const override {
        return {"header:" + h.name + " " + StringFromInteger(h.caps)};
    }
    Shader::Lines generate(const Shader::Include& i) const override { return {"include:" + i.fileName}; }
};

Ptr<ShaderEffectInfo> read(std::string_view text) {
    Ptr<ShaderEffectInfo> effect = makePtr<ShaderEffectInfo>(TextFile::fromText(text));
    effect->read(makePtr<TaggingGenerator>());
    return effect;
}

// The processed lines, then "error LINE: MESSAGE" for each recorded error.
std::vector<std::string> output(const ShaderEffectInfo& effect) {
    std::vector<std::string> out;
    for (const Text& line : effect.getProcessedSourceCode()) out.push_back(line.str());
    for (const ShaderError& e : effect.getErrors()) out.push_back("error " + std::to_string(e.line) + ": " + e.message.str());
    return out;
}

// "key=value" for each property in order: texts quoted, integers marked with 'i', bools as words.
std::string properties(const Shader::Parameter& p) {
    std::ostringstream out;
    for (size_t i = 0; i < p.properties.size(); ++i) {
        const configb::Value& v = p.properties.valueAt(i);
        out << (i ? " " : "") << p.properties.keyAt(i).view() << "=";
        if (const Text* text = std::get_if<Text>(&v))
            out << '"' << text->view() << '"';
        else if (const int64_t* n = std::get_if<int64_t>(&v))
            out << *n << 'i';
        else if (const bool* b = std::get_if<bool>(&v))
            out << (*b ? "true" : "false");
        else
            out << std::get<double>(v);
    }
    return out.str();
}

} // namespace

TEST(EffectReader, KeywordsAreTestedLongestFirst) {
    const auto e = read("DeclareFloatParamAnimated( A, A, kNoGroup, kNoFlags, 0.5, 0, 1 )\n"
                        "DeclareFloatParam( B, B, kNoGroup, kNoFlags, 0.5, 0, 1 )\nDeclareFloat3Param( V )\n"
                        "DeclareFloat3x3Param( M )\nDeclareInputs( X, Y )\nDeclareInput( I )\nDeclare3DInput( L )\n"
                        "DeclareFloat4Param( F, F, kNoGroup, kNoFlags, 1, 0, 0 )\n"
                        "DeclareColourParam( C, C, kNoGroup, kNoFlags, 1, 0, 0 )\n"
                        "DeclareBoolParam( Bo, Bo, kNoGroup, true )\nDeclareIntParam( N, N, kNoGroup, 2, \"a|b\" )\n"
                        "DeclareSomethingNew( Z )\nDeclare\nDeclareIntParam( i )\nDeclareFloat3Param( v, x )\n");
    // The ID alone declares a shader variable but no parameter; float3 forms drop other counts silently.
    EXPECT_THAT(output(*e), ElementsAre("param:1 A", "param:1 B", "param:7 V", "param:6 M", "input:_X X 0/1/0input:_Y Y 0/1/0",
                                        "input:_I I 0/1/0", "input:_L L 0/1/1", "param:5 F", "param:5 C", "param:3 Bo",
                                        "param:4 N", "param:4 i"));
    ASSERT_EQ(e->getParams().size(), 6u);
    EXPECT_EQ(properties(e->getParams()[0]), "flags=\"\" default=0.5 min=0 max=1 animated=1i");
    EXPECT_EQ(properties(e->getParams()[1]), "flags=\"\" default=0.5 min=0 max=1 animated=0i");
}

TEST(EffectReader, LinesAreClassifiedAfterTrimmingBlanksOnly) {
    const auto e = read("\tDeclareInput( Tabbed )\n   // a note  \n   DeclareInput( Indented )   \n  float x = 1;  \n\n"
                        "  #include \"a.fx\" \"b.fx\"\n#include \"unterminated.fx\n#include <system.fx>\n");
    // Code lines pass through untrimmed; comments are handed over trimmed;
    // an include names the text between its first two quotes, or is dropped.
    EXPECT_THAT(output(*e), ElementsAre("code:\tDeclareInput( Tabbed )", "comment:// a note", "input:_Indented Indented 0/1/0",
                                        "code:  float x = 1;  ", "code:", "include:a.fx"));
}

TEST(EffectReader, GeneratedTextMarkerEmptiesTheProcessedSource) {
    const auto e = read("DeclareInput( A )\nfloat x;\nDeclareEntryPoint( Main )\n  int _QfrmEffectInfo\n"
                        "DeclarePass( Late )\nDeclareEntryPoint( Later )\n");
    // Only the technique text declared before the marker is left; reading stops there.
    EXPECT_THAT(output(*e), ElementsAre("techniques:[Main]"));
    EXPECT_EQ(e->getInputs().size(), 1u);
    EXPECT_TRUE(read("float x;\nint _QfrmEffectInfo <\n")->getProcessedSourceCode().empty());
}

TEST(EffectReader, ArgumentsLoseEnclosingQuotesAndPlaceholderWords) {
    std::vector<std::string> args;
    for (const Text& a : ShaderEffectInfo::extractDeclarationArguments(
             "DeclareX( \"a\", \"\"b\"\", kNoGroup, \"kNoX\", a\"x\"b, \" c \", kNo, xkNo, \"\" )"))
        args.push_back(a.str());
    EXPECT_THAT(args, ElementsAre("a", "b", "", "", "a\"x\"b", " c ", "", "xkNo", ""));
}

TEST(EffectReader, ArgumentCountErrorsNameTheSignatureAndTheLine) {
    const std::string few = "Too few arguments for ", many = "Too many arguments for ",
                      floatSig = "DeclareFloatParam( ID, Name, Group, Flags, Default, Min, Max )",
                      intSig = "DeclareIntParam( ID, Name, Group, Default, Choices )",
                      boolSig = "DeclareBoolParam( ID, Name, Group, Default )",
                      colourSig = "DeclareColourParam( ID, Name, Group, Flags, R, G, B, A )",
                      effectSig = "DeclareQuillframeEffect( Name, Category, Subcategory, Notes, Flags )";
    const std::pair<const char*, std::string> cases[] = {
        {"DeclareFloatParam", few + floatSig},
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
    // Each declaration follows one more code line, so each error's line differs; the declarations add no text.
    std::string text;
    std::vector<std::string> expected(std::size(cases), "code:code;");
    for (size_t i = 0; i < std::size(cases); ++i) {
        text += "code;\n" + std::string(cases[i].first) + "\n";
        expected.push_back("error " + std::to_string(i + 1) + ": " + cases[i].second);
    }
    const auto e = read(text);
    EXPECT_THAT(output(*e), ElementsAreArray(expected));
    EXPECT_TRUE(e->getParams().empty());
}

TEST(EffectReader, ParameterFlagsAreCheckedWithRegardToCase) {
    const auto e = read("DeclareFloatParam( Lower, L, kNoGroup, hidden, 0, 0, 1 )\n"
                        "DeclareFloatParam( Good, G, kNoGroup, Hidden|SpecifiesAngle, 0, 0, 1 )\n"
                        "DeclareFloatParam( Mixed, M, kNoGroup, Bogus|Hidden|Worse, 0, 0, 1 )\n"
                        "DeclareColourParam( Wrong, W, kNoGroup, SpecifiesAngle, 1, 0, 0 )\n"
                        "DeclareColourParam( Tint, T, kNoGroup, SupportsAlpha|Hidden, 1, 0, 0, 1 )\n");
    EXPECT_THAT(output(*e), ElementsAre("param:1 Good", "param:5 Tint", "error 0: Invalid parameter flag : hidden",
                                        "error 1: Invalid parameter flag : Bogus", "error 1: Invalid parameter flag : Worse",
                                        "error 1: Invalid parameter flag : SpecifiesAngle"));
    EXPECT_EQ(e->getParams().size(), 2u);
}

TEST(EffectReader, ParameterPropertiesKeepTheirTypes) {
    const auto e = read("DeclareFloatParam( Amount, \"Größe\", \"Look\", DisplayAsPercentage, 0.25abc, x, -2e1 )\n"
                        "DeclareIntParam( Mode, Mode, kNoGroup, 42.9, \"One|Two\" )\n"
                        "DeclareBoolParam( On, On, kNoGroup, TRUE )\nDeclareBoolParam( Off, Off, kNoGroup, yes )\n"
                        "DeclareColourParam( Rgb, Rgb, kNoGroup, kNoFlags, 0.5, 0.25, 1 )\n"
                        "DeclareFloat4Param( Rgba, Rgba, kNoGroup, kNoFlags, 0.5, 0.25, 1, 0 )\n");
    ASSERT_EQ(e->getParams().size(), 6u);
    const auto& p = e->getParams();
    EXPECT_EQ(p[0].name, Wide(L"Größe"));
    EXPECT_EQ(properties(p[0]), "flags=\"DisplayAsPercentage\" default=0.25 min=0 max=-20 animated=0i");
    EXPECT_EQ(properties(p[1]), "default=42i choices=\"One|Two\"");
    EXPECT_EQ(properties(p[2]), "default=true");
    EXPECT_EQ(properties(p[3]), "default=false");
    EXPECT_EQ(properties(p[4]), "flags=\"\" c1=0.5 c2=0.25 c3=1");
    EXPECT_EQ(properties(p[5]), "flags=\"\" c1=0.5 c2=0.25 c3=1 alpha=0");
}

TEST(EffectReader, EffectDeclarationSetsTheHeaderAndCapabilities) {
    const auto e = read("DeclareQuillframeEffect( \"Tint\", \"Colour\", kNoSubcategory, \"Soft tint\", canSIZE|Bogus )\n"
                        "DeclareQuillframeEffect( Second, kNoCategory, Sub, Notes, HASMINOUTPUTSIZE )\n");
    // A second declaration overwrites the texts and adds its bits; both headers are written.
    EXPECT_THAT(output(*e), ElementsAre("header:Tint 9", "header:Second 11"));
    EXPECT_TRUE(e->getName() == Wide(L"Second") && e->getCategory().empty());
    for (const auto& [flags, caps] : {std::pair{"ScaleAware", 0x1u}, {"RotationAware", 0x8u}, {"HasMaxOutputSize|x", 0x4u}})
        EXPECT_EQ(read("DeclareQuillframeEffect( N, C, S, X, " + std::string(flags) + " )")->getCaps(), caps) << flags;
}

TEST(EffectReader, InputsTakeSamplingAndEdgeWordsAndMasksIgnoreThem) {
    const auto e = read("DeclareInput( A )\nDeclareInput( B, POINT )\nDeclareInput( C, linear, WRAP )\n"
                        "DeclareInput( D, anything, Border )\nDeclareInput( E, Point, mirror )\n"
                        "DeclareInput( F, point, wrap, extra )\nDeclare3DInput( Lut )\nDeclareInput()\n"
                        "DeclareMask( Whatever, Point, Wrap )\nDeclareInputs( G, _Hidden, H )\nDeclareInputs( _Only )\n");
    // scaling: 0 Linear, 1 Point; edge: 0 Border, 1 ClampToEdge, 2 Mirror, 3 Wrap; dimension: 0 2D, 1 3D
    EXPECT_THAT(output(*e), ElementsAre("input:_A A 0/1/0", "input:_B B 1/1/0", "input:_C C 0/3/0", "input:_D D 0/0/0",
                                        "input:_E E 1/2/0", "input:_F F 1/1/0", "input:_Lut Lut 0/1/1",
                                        "input:_mask Mask 0/1/0 mask", "input:_G G 0/1/0input:_H H 0/1/0"));
    EXPECT_EQ(e->getInputs().size(), 10u);
}

TEST(EffectReader, EntryPointsCloseTechniques) {
    const auto e =
        read("DeclareEntryPoint( First )\nDeclarePass( A )\nfloat4 body;\nDeclarePass( B )\nDeclareEntryPoint( Second )\n"
             "DeclarePass( C )\nDeclareEntryPoint()\nDeclarePass( Orphan )\n");
    // The technique text comes once, after the last line; a pass after the
    // last entry point belongs to no technique.
    EXPECT_THAT(output(*e), ElementsAre("entry:First/First/", "pass:A/A_pass/_A", "code:float4 body;", "pass:B/B_pass/_B",
                                        "entry:Second/Second/", "pass:C/C_pass/_C", "entry:QfMain/QfMain/",
                                        "pass:Orphan/Orphan_pass/_Orphan", "techniques:[First][A,B,Second][C,QfMain]"));
    EXPECT_EQ(e->getTechniques().size(), 3u);
}

TEST(EffectReader, NumbersThatNoFloatOrIntHoldsAreErrorsAtTheirDeclaration) {
    const auto e = read("DeclareFloatParam( A, A, G, kNoFlags, 1e999, 0, 1 )\n"
                        "DeclareFloatParam( B, B, G, kNoFlags, 0.5, -1e39, 1e39 )\n"
                        "DeclareIntParam( C, C, G, 123456789012, kNoChoices )\n"
                        "DeclareColourParam( D, D, G, kNoFlags, 0, 1e40, 0, 1 )\n"
                        "DeclareFloatParam( E, E, G, kNoFlags, 123456789012, 0, 1e38 )\n"
                        "DeclareIntParam( F, F, G, -2147483648, kNoChoices )\n");
    // Every number out of range is named; only the declarations whose numbers fit are kept.
    EXPECT_THAT(output(*e), ElementsAre("param:1 E", "param:4 F", "error 0: Number out of range : 1e999",
                                        "error 0: Number out of range : -1e39", "error 0: Number out of range : 1e39",
                                        "error 0: Number out of range : 123456789012", "error 0: Number out of range : 1e40"));
    ASSERT_EQ(e->getParams().size(), 2u);
    EXPECT_EQ(properties(e->getParams()[0]), "flags=\"\" default=1.23457e+11 min=0 max=1e+38 animated=0i");
    EXPECT_EQ(properties(e->getParams()[1]), "default=-2147483648i choices=\"\"");
}

TEST(EffectReader, CapabilityWordsAreTakenExactlyBetweenTheBars) {
    // Blanks around a capability word make it another word (parameter flags forgive them).
    for (const auto& [flags, caps] : {std::pair{"CanSize|ScaleAware", 0x9u},
                                      {"CanSize | HasMinOutputSize", 0x0u},
                                      {"ScaleAware |HasMaxOutputSize", 0x4u},
                                      {"|ScaleAware|", 0x1u}})
        EXPECT_EQ(read("DeclareQuillframeEffect( N, C, S, X, " + std::string(flags) + " )")->getCaps(), caps) << flags;
}

TEST(EffectReader, ByteOrderMarksAndEveryLineEndReadTheSame) {
    const std::string body = "DeclareQuillframeEffect( Tint, C, S, N, ScaleAware )#DeclareInput( Input )#float4 x;#";
    std::vector<std::vector<std::string>> outputs;
    for (const char* end : {"\n", "\r\n", "\r"})
        for (const char* start : {"", "\xEF\xBB\xBF"}) {
            std::string text = start + body;
            for (size_t at; (at = text.find('#')) != std::string::npos;) text.replace(at, 1, end);
            outputs.push_back(output(*read(text)));
        }
    for (const auto& out : outputs) EXPECT_THAT(out, ElementsAre("header:Tint 1", "input:_Input Input 0/1/0", "code:float4 x;"));
}

TEST(EffectReader, ATooLongProcessedTextIsRefusedWithOneError) {
    std::string text = "DeclarePass()\n";
    for (int i = 0; i < 70000; ++i) text += "x\n";
    const auto e = read(text);
    EXPECT_THAT(e->getErrors(), ElementsAre(ShaderError{"Too many lines : 70000", 65535}));
}
