// Compiling an effect through the GPU service: what the service is given, how
// its answer is taken back, and that one effect compiles once.
#include "codegen/CgCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"
#include "support/Printers.h"
#include "support/RecordingGPUService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Text = LightweightString<char>;
using QfTest::ParamSpec;

namespace {

const char* const kEffect = "DeclareQuillframeEffect( Test, Cat, Sub, kNoNotes, CanSize|HasMaxOutputSize )\n"
                            "DeclareInput( Input, Point, Wrap )\n"
                            "DeclareMask\n"
                            "DeclareFloatParam( Amount, \"Amount\", kNoGroup, kNoFlags, 0.5, 0, 1 )\n"
                            "DeclareEntryPoint( Main )\n"
                            "{ return tex2D( Input, uv1 ); }\n";

Ptr<ShaderEffectInfo> effectFrom(std::string_view text) { return makePtr<ShaderEffectInfo>(TextFile::fromText(text)); }

ShaderDefinitions specials() {
    ShaderDefinitions d;
    for (const char* name : {"_OUTPUTWIDTH", "_OUTPUTHEIGHT", "_OUTPUTASPECTRATIO", "_PROGRESS", "_OUTPUTFPS", "_LENGTH",
                             "_LENGTHFRAMES"})
        d.push_back({name, "1"});
    return d;
}

class EffectCompile : public ::testing::Test {
protected:
    QfTest::ScopedRecordingGPU gpu;
};

} // namespace

TEST_F(EffectCompile, HandsTheJoinedTextAndSpecialParametersToTheServiceOnce) {
    const auto e = effectFrom(kEffect);
    const ShaderCompilationOutput out = e->compile();
    ASSERT_TRUE(out.shader);
    EXPECT_TRUE(out.errors.empty());
    EXPECT_EQ(e->getCompiledShader(), out.shader);

    const auto compiles = gpu->compiles();
    ASSERT_EQ(compiles.size(), 1u);
    std::string joined;
    for (const Text& line : e->getProcessedSourceCode()) joined += line.str() + "\n";
    EXPECT_EQ(compiles[0].text.str(), joined);
    EXPECT_TRUE(compiles[0].path.empty());
    EXPECT_THAT(compiles[0].definitions, ElementsAreArray(specials()));
    // Every input gets its sampling, in declaration order.
    EXPECT_THAT(gpu->calls(), ElementsAre("setSamplerState Input Point Wrap", "setSamplerState Mask Linear ClampToEdge"));

    // A compiled effect is returned as it is: no compile, no sampler states.
    const ShaderCompilationOutput again = e->compile();
    EXPECT_EQ(again.shader, out.shader);
    EXPECT_TRUE(again.errors.empty());
    EXPECT_EQ(gpu->compiles().size(), 1u);
    EXPECT_EQ(gpu->calls().size(), 2u);
}

TEST_F(EffectCompile, GLSLCompileAddsThePassMap) {
    gpu->setShadingLanguage(1);
    const auto e = effectFrom("DeclarePass( Blur )\n{}\nDeclarePass( Sharpen )\n{}\nDeclareEntryPoint( Main )\n{}\n");
    ASSERT_TRUE(e->compile().shader);
    ShaderDefinitions expected = specials();
    expected.insert(expected.end(), {{"Blur", "_T0_P0"}, {"Sharpen", "_T0_P1"}, {"Main", "_T0_P2"}});
    ASSERT_EQ(gpu->compiles().size(), 1u);
    EXPECT_THAT(gpu->compiles()[0].definitions, ElementsAreArray(expected));
    EXPECT_TRUE(gpu->compiles()[0].text.startsWith("uniform sampler2D Blur;vec4 Blur_pass()\n{}\n"));
}

TEST_F(EffectCompile, GeneratorFollowsTheShadingLanguage) {
    const std::pair<int, const char*> cases[] = {{0, "#include \""}, {1, "out vec4 FragColor;\n"}, {2, "#include \""},
                                                 {-1, "#include \""}};
    for (const auto& [language, start] : cases) {
        gpu->setShadingLanguage(language);
        effectFrom("DeclareQuillframeEffect( T, C, S, N, kNoFlags )\n")->compile();
        EXPECT_TRUE(gpu->compiles().back().text.startsWith(start)) << language;
    }
    // A generator given by the caller wins over the service's language.
    gpu->setShadingLanguage(1);
    effectFrom("DeclareQuillframeEffect( T, C, S, N, kNoFlags )\n")->compile(makePtr<CgCodeGenerator>());
    EXPECT_TRUE(gpu->compiles().back().text.startsWith("#include \""));
}

TEST_F(EffectCompile, ParseErrorsAreDeliveredOnceThenTheKeptTextIsCompiled) {
    const auto e = effectFrom("float a;\n"
                              "DeclarePass()\n"
                              "DeclareBoolParam( B, \"B\", kNoGroup, true, x )\n"
                              "DeclareEntryPoint( Main )\n");
    const ShaderCompilationOutput first = e->compile();
    EXPECT_FALSE(first.shader);
    EXPECT_THAT(first.errors, ElementsAre(ShaderError{"Too few arguments for DeclarePass( Name )", 1},
                                          ShaderError{"Too few arguments for DeclareBoolParam( ID, Name, Group, Default )", 1}));
    EXPECT_TRUE(e->getErrors().empty());
    EXPECT_TRUE(gpu->compiles().empty());
    EXPECT_FALSE(e->getCompiledShader());

    const std::vector<Text> processed = e->getProcessedSourceCode();
    const ShaderCompilationOutput second = e->compile();
    ASSERT_TRUE(second.shader);
    EXPECT_TRUE(second.errors.empty());
    ASSERT_EQ(gpu->compiles().size(), 1u);
    EXPECT_EQ(e->getProcessedSourceCode(), processed); // not read a second time
}

TEST_F(EffectCompile, GeneratedTextIsCompiledFromItsFile) {
    const auto e = effectFrom("DeclareInput( Input )\nint _QfrmEffectInfo\n<\n> = 0;\n");
    e->setFileName(L"/fx/Generated.fx");
    ASSERT_TRUE(e->compile().shader);
    const auto empty = effectFrom("");
    empty->setFileName(L"/fx/Empty.fx");
    ASSERT_TRUE(empty->compile().shader);

    const auto compiles = gpu->compiles();
    ASSERT_EQ(compiles.size(), 2u);
    EXPECT_EQ(compiles[0].path, LightweightString<wchar_t>(L"/fx/Generated.fx"));
    EXPECT_TRUE(compiles[0].text.empty());
    EXPECT_THAT(compiles[0].definitions, ElementsAreArray(specials()));
    EXPECT_EQ(compiles[1].path, LightweightString<wchar_t>(L"/fx/Empty.fx"));
    // The input read before the marker still gets its sampling.
    EXPECT_THAT(gpu->calls(), ElementsAre("setSamplerState Input Linear ClampToEdge"));
}

TEST_F(EffectCompile, FailedCompileTrimsMessagesAndLeavesTheEffectToRetry) {
    gpu->failNextCompile({{"  error X3004: undeclared identifier  ", 12}, {"\tkeeps tabs\t ", 0}});
    const auto e = effectFrom(kEffect);
    const ShaderCompilationOutput out = e->compile();
    EXPECT_FALSE(out.shader);
    EXPECT_THAT(out.errors, ElementsAre(ShaderError{"error X3004: undeclared identifier", 12}, ShaderError{"\tkeeps tabs\t", 0}));
    EXPECT_FALSE(e->getCompiledShader());
    EXPECT_TRUE(gpu->calls().empty());

    EXPECT_TRUE(e->compile().shader);
    const auto compiles = gpu->compiles();
    ASSERT_EQ(compiles.size(), 2u);
    EXPECT_EQ(compiles[1].text, compiles[0].text);
}

TEST_F(EffectCompile, ParametersAreRebuiltFromTheCompiledEffect) {
    gpu->succeedNextCompile({
        {"_QfrmEffectInfo", iShaderParam::eInt, {{"CanSize", 1}, {"HasMaxOutputSize", 1}}, {}},
        {"Amount", iShaderParam::eFloat, {}, {{"Description", "Amount of tint"}, {"Group", "Look"}}},
        {"_OUTPUTWIDTH", iShaderParam::eFloat, {}, {}},
        {"Radius", iShaderParam::eInt, {}, {}},
        {"Tint", iShaderParam::eFloat4, {}, {{"Description", ""}, {"Group", "Größe"}}},
    });
    const auto e = effectFrom(kEffect);
    e->compile();
    const auto& p = e->getParams();
    ASSERT_EQ(p.size(), 3u);
    EXPECT_EQ(p[0].id, Text("Amount"));
    EXPECT_EQ(p[0].type, iShaderParam::eFloat);
    EXPECT_EQ(p[0].name, LightweightString<wchar_t>(L"Amount of tint"));
    EXPECT_EQ(p[0].group, LightweightString<wchar_t>(L"Look"));
    EXPECT_EQ(p[0].properties.size(), 0u); // the declaration's values are not kept
    EXPECT_EQ(p[1].id, Text("Radius"));
    EXPECT_EQ(p[1].type, iShaderParam::eInt);
    EXPECT_EQ(p[1].name, LightweightString<wchar_t>(L"Radius"));
    EXPECT_TRUE(p[1].group.empty());
    EXPECT_EQ(p[2].name, LightweightString<wchar_t>(L"Tint"));
    EXPECT_EQ(p[2].group, LightweightString<wchar_t>(L"Größe"));
    // The declaration said CanSize (0x9); read back, CanSize is 0x1 alone.
    EXPECT_EQ(e->getCaps(), 0x5u);
}

TEST_F(EffectCompile, CapabilitiesAreReadBackFromTheEffectInfoParameter) {
    struct Case { std::map<std::string, int> ints; std::map<std::string, std::string> texts; uint32_t caps; };
    const Case cases[] = {
        {{{"CanSize", 1}, {"ScaleAware", 1}, {"RotationAware", 1}}, {}, 0x1},
        {{{"CanSize", 0}, {"HasMinOutputSize", 1}, {"HasMaxOutputSize", 7}}, {}, 0x6},
        {{{"CanSize", -1}, {"HasMinOutputSize", 0}}, {}, 0x1},
        {{}, {{"CanSize", "1"}, {"HasMinOutputSize", "1"}}, 0x0}, // only integer annotations count
    };
    for (const Case& c : cases) {
        gpu->succeedNextCompile({{"_QfrmEffectInfo", iShaderParam::eInt, c.ints, c.texts}});
        const auto e = effectFrom("DeclareQuillframeEffect( T, C, S, N, CanSize|HasMinOutputSize )\n");
        e->compile();
        EXPECT_EQ(e->getCaps(), c.caps);
    }
    const auto noInfo = effectFrom("DeclareQuillframeEffect( T, C, S, N, CanSize )\n");
    noInfo->compile();
    EXPECT_EQ(noInfo->getCaps(), 0u);
}

TEST_F(EffectCompile, ParameterScanEndsAtTheLastIndex) {
    // 65536 parameters, the last of them internal: the 16-bit scan must stop.
    std::vector<ParamSpec> many(65536, ParamSpec{"P", iShaderParam::eFloat, {}, {}});
    many.back().name = "_last";
    gpu->succeedNextCompile(many);
    const auto e = effectFrom(kEffect);
    e->compile();
    EXPECT_EQ(e->getParams().size(), 65535u);
}

TEST_F(EffectCompile, ShaderParamIndexIsExactAndNeedsACompiledEffect) {
    const auto e = effectFrom(kEffect);
    EXPECT_EQ(e->findShaderParamIndex("Amount"), -1);
    EXPECT_TRUE(gpu->compiles().empty()); // asking does not compile

    gpu->succeedNextCompile({{"_QfrmEffectInfo", iShaderParam::eInt, {}, {}}, {"Amount", iShaderParam::eFloat, {}, {}},
                             {"AmountB", iShaderParam::eFloat, {}, {}}});
    e->compile();
    EXPECT_EQ(e->findShaderParamIndex("_QfrmEffectInfo"), 0);
    EXPECT_EQ(e->findShaderParamIndex("Amount"), 1);
    EXPECT_EQ(e->findShaderParamIndex("AmountB"), 2);
    EXPECT_EQ(e->findShaderParamIndex("amount"), -1);
    EXPECT_EQ(e->findShaderParamIndex(nullptr), -1);

    gpu->failNextCompile({{"broken", 0}});
    const auto failed = effectFrom(kEffect);
    failed->compile();
    EXPECT_EQ(failed->findShaderParamIndex("Amount"), -1);
}

TEST_F(EffectCompile, TechniqueSelectionNeedsACompiledEffect) {
    const auto e = effectFrom(kEffect);
    e->setTechnique(Text("T2"));
    e->setTechnique(uint16_t(1));
    EXPECT_TRUE(gpu->calls().empty());
    EXPECT_TRUE(gpu->compiles().empty());

    e->compile();
    gpu->clearCalls();
    e->setTechnique(Text("T2"));
    e->setTechnique(uint16_t(1));
    EXPECT_THAT(gpu->calls(), ElementsAre("setTechnique T2", "setTechnique #1"));
}

TEST_F(EffectCompile, ConcurrentCompilesOfOneEffectCompileOnce) {
    gpu->setCompileDelay(std::chrono::milliseconds(20));
    const auto e = effectFrom(kEffect);
    std::vector<ShaderCompilationOutput> outs(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < outs.size(); ++i) threads.emplace_back([&, i] { outs[i] = e->compile(); });
    for (std::thread& t : threads) t.join();

    EXPECT_EQ(gpu->compiles().size(), 1u);
    EXPECT_EQ(gpu->calls().size(), 2u);
    for (const ShaderCompilationOutput& out : outs) {
        EXPECT_TRUE(out.shader);
        EXPECT_EQ(out.shader, outs[0].shader);
        EXPECT_TRUE(out.errors.empty());
    }
}
