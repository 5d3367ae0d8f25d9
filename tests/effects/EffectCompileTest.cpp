// Compiling an effect through the GPU service: what the service is given, how
// its answer is taken back, and that one effect compiles once.
#include "codegen/CgCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"
#include "host/misc/Paths.h"
#include "support/Printers.h"
#include "support/RecordingGPUService.h"
#include "support/ScopedLocale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <thread>

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Text = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

namespace {

const char* const kEffect =
    "DeclareQuillframeEffect( Test, Cat, Sub, kNoNotes, CanSize|HasMaxOutputSize )\n"
    "DeclareInput( Input, Point, Wrap )\nDeclareMask\nDeclareFloatParam( Amount, A, G, kNoFlags, 0, 0, 1 )\n"
    "DeclareEntryPoint( Main )\n{ return tex2D( Input, uv1 ); }\n";

Ptr<ShaderEffectInfo> effectFrom(std::string_view text) { return makePtr<ShaderEffectInfo>(TextFile::fromText(text)); }

// What every compile is given: the parameters that the host sets on every effect.
const ShaderDefinitions kHostDefinitions = {{"_OUTPUTWIDTH", "1"}, {"_OUTPUTHEIGHT", "1"}, {"_OUTPUTASPECTRATIO", "1"},
                                            {"_PROGRESS", "1"},    {"_OUTPUTFPS", "1"},    {"_LENGTH", "1"},
                                            {"_LENGTHFRAMES", "1"}};

class EffectCompile : public ::testing::Test {
protected:
    QfTest::RecordingGPUService gpu;
};

} // namespace

TEST_F(EffectCompile, HandsTheJoinedTextAndHostDefinitionsToTheServiceOnce) {
    const auto e = effectFrom(kEffect);
    e->setTechnique(Text("T0")); // not compiled: nothing to select, and no compile
    EXPECT_TRUE(gpu.compiles().empty());
    const ShaderCompilationOutput out = e->compile();
    ASSERT_TRUE(out.shader && out.errors.empty());
    EXPECT_EQ(e->getCompiledShader(), out.shader);
    ASSERT_EQ(gpu.compiles().size(), 1u);
    std::string joined;
    for (const Text& line : e->getProcessedSourceCode()) joined += line.str() + "\n";
    EXPECT_EQ(gpu.compiles()[0].text.str(), joined);
    EXPECT_THAT(gpu.compiles()[0].definitions, ElementsAreArray(kHostDefinitions));

    // A compiled effect is returned as it is: no compile, no sampler states.
    const ShaderCompilationOutput again = e->compile();
    EXPECT_TRUE(again.shader == out.shader && again.errors.empty());
    EXPECT_EQ(gpu.compiles().size(), 1u);
    e->setTechnique(Text("T2"));
    e->setTechnique(uint16_t(1));
    // Every input gets its sampling once, in declaration order; techniques are selected on the compiled effect.
    EXPECT_THAT(gpu.calls(), ElementsAre("setSamplerState Input Point Wrap", "setSamplerState Mask Linear ClampToEdge",
                                         "setTechnique T2", "setTechnique #1"));
}

TEST_F(EffectCompile, GeneratorFollowsTheShadingLanguageAndGLSLAddsThePassMap) {
    for (const auto& [language, start] : {std::pair{0, "#include \""}, {1, "out vec4 FragColor;\n"}, {2, "#include \""}}) {
        gpu.setShadingLanguage(language);
        effectFrom("DeclareQuillframeEffect( T, C, S, N, kNoFlags )\n")->compile();
        EXPECT_TRUE(gpu.compiles().back().text.startsWith(start)) << language;
    }
    // A generator given by the caller wins over the service's language.
    gpu.setShadingLanguage(1);
    effectFrom("DeclareQuillframeEffect( T, C, S, N, kNoFlags )\n")->compile(makePtr<CgCodeGenerator>());
    EXPECT_TRUE(gpu.compiles().back().text.startsWith("#include \""));

    effectFrom("DeclarePass( Blur )\n{}\nDeclarePass( Sharpen )\n{}\nDeclareEntryPoint( Main )\n{}\n")->compile();
    ShaderDefinitions expected = kHostDefinitions;
    expected.insert(expected.end(), {{"Blur", "_T0_P0"}, {"Sharpen", "_T0_P1"}, {"Main", "_T0_P2"}});
    EXPECT_THAT(gpu.compiles().back().definitions, ElementsAreArray(expected));
}

TEST_F(EffectCompile, ParseErrorsAreDeliveredOnceThenTheKeptTextIsCompiled) {
    const auto e =
        effectFrom("float a;\nDeclarePass()\nDeclareBoolParam( B, B, kNoGroup, true, x )\nDeclareEntryPoint( Main )\n");
    const ShaderCompilationOutput first = e->compile();
    EXPECT_FALSE(first.shader);
    EXPECT_THAT(first.errors, ElementsAre(ShaderError{"Too few arguments for DeclarePass( Name )", 1},
                                          ShaderError{"Too few arguments for DeclareBoolParam( ID, Name, Group, Default )", 1}));
    EXPECT_TRUE(e->getErrors().empty());
    EXPECT_TRUE(gpu.compiles().empty());

    const std::vector<Text> processed = e->getProcessedSourceCode();
    const ShaderCompilationOutput second = e->compile();
    EXPECT_TRUE(second.shader && second.errors.empty());
    EXPECT_EQ(gpu.compiles().size(), 1u);
    EXPECT_EQ(e->getProcessedSourceCode(), processed); // not read a second time
}

TEST_F(EffectCompile, GeneratedOrEmptyTextIsCompiledFromItsFile) {
    for (const char* text : {"DeclareInput( Input )\nint _QfrmEffectInfo\n<\n> = 0;\n", ""}) {
        const auto e = effectFrom(text);
        e->setFileName(L"/fx/Generated.fx");
        ASSERT_TRUE(e->compile().shader);
        EXPECT_EQ(gpu.compiles().back().path, Wide(L"/fx/Generated.fx"));
        EXPECT_TRUE(gpu.compiles().back().text.empty());
        EXPECT_THAT(gpu.compiles().back().definitions, ElementsAreArray(kHostDefinitions));
    }
    // The input read before the marker still gets its sampling.
    EXPECT_THAT(gpu.calls(), ElementsAre("setSamplerState Input Linear ClampToEdge"));
}

TEST_F(EffectCompile, FailedCompileTrimsMessagesAndLeavesTheEffectToRetry) {
    gpu.failNextCompile({{"  error X3004: undeclared identifier  ", 12}, {"\tkeeps tabs\t ", 0}});
    const auto e = effectFrom(kEffect);
    const ShaderCompilationOutput out = e->compile();
    EXPECT_FALSE(out.shader || e->getCompiledShader());
    EXPECT_THAT(out.errors, ElementsAre(ShaderError{"error X3004: undeclared identifier", 12}, ShaderError{"\tkeeps tabs\t", 0}));
    EXPECT_TRUE(gpu.calls().empty());
    EXPECT_EQ(e->findShaderParamIndex("Amount"), -1);

    EXPECT_TRUE(e->compile().shader);
    ASSERT_EQ(gpu.compiles().size(), 2u);
    EXPECT_EQ(gpu.compiles()[1].text, gpu.compiles()[0].text);
}

TEST_F(EffectCompile, ParametersAreRebuiltFromTheCompiledEffectWithoutInternalNames) {
    const std::map<std::string, int> info = {
        {"CanSize", 7}, {"HasMinOutputSize", 0}, {"HasMaxOutputSize", 1}, {"RotationAware", 1}};
    gpu.succeedNextCompile({{"_QfrmEffectInfo", iShaderParam::eInt, info, {}},
                            {"Amount", iShaderParam::eFloat, {}, {{"Description", "Amount of tint"}, {"Group", "Look"}}},
                            {"_OUTPUTWIDTH", iShaderParam::eFloat, {}, {}},
                            {"Radius", iShaderParam::eInt, {}, {{"Description", ""}}}});
    const auto e = effectFrom(kEffect);
    e->compile();
    const auto& p = e->getParams();
    ASSERT_EQ(p.size(), 2u);
    EXPECT_EQ(p[0].id, Text("Amount"));
    EXPECT_EQ(p[0].name, Wide(L"Amount of tint"));
    EXPECT_EQ(p[0].group, Wide(L"Look"));
    EXPECT_EQ(p[0].properties.size(), 0u); // the declaration's values are not kept
    EXPECT_EQ(p[1].type, iShaderParam::eInt);
    EXPECT_EQ(p[1].name, Wide(L"Radius"));
    // Non-zero CanSize reads back as 0x1 alone (declared, it gave 0x9); zeros and other words are not read.
    EXPECT_EQ(e->getCaps(), 0x5u);
    // Indices count every compiled parameter, internal ones included; names match exactly.
    EXPECT_EQ(e->findShaderParamIndex("Amount"), 1);
    EXPECT_EQ(e->findShaderParamIndex("amount"), -1);
}

TEST_F(EffectCompile, ConcurrentCompilesOfOneEffectCompileOnce) {
    gpu.setCompileDelay(std::chrono::milliseconds(20));
    const auto e = effectFrom(kEffect);
    std::vector<ShaderCompilationOutput> outs(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < outs.size(); ++i) threads.emplace_back([&, i] { outs[i] = e->compile(); });
    for (std::thread& t : threads) t.join();

    EXPECT_EQ(gpu.compiles().size(), 1u);
    EXPECT_EQ(gpu.calls().size(), 2u);
    for (const ShaderCompilationOutput& out : outs) {
        EXPECT_EQ(out.shader, outs[0].shader);
        EXPECT_TRUE(out.shader && out.errors.empty());
    }
}

TEST_F(EffectCompile, ReadingErrorsBeforeGeneratedTextAreDeliveredAndNothingIsCompiled) {
    const auto e = effectFrom("DeclareInput( Input )\nDeclarePass()\nint _QfrmEffectInfo\n<\n> = 0;\n");
    e->setFileName(L"/fx/Generated.fx");
    const ShaderCompilationOutput first = e->compile();
    EXPECT_FALSE(first.shader);
    EXPECT_THAT(first.errors, ElementsAre(ShaderError{"Too few arguments for DeclarePass( Name )", 1}));
    EXPECT_TRUE(gpu.compiles().empty());

    // The retry compiles the file; the file is not read again, so its input is there once.
    gpu.failNextCompile({{"error", 0}});
    EXPECT_FALSE(e->compile().shader);
    EXPECT_TRUE(e->compile().shader);
    EXPECT_EQ(gpu.compiles().size(), 2u);
    EXPECT_EQ(e->getInputs().size(), 1u);
    EXPECT_THAT(gpu.calls(), ElementsAre("setSamplerState Input Linear ClampToEdge"));
}

TEST_F(EffectCompile, CgTextIncludesTheHelpersByAnAbsolutePath) {
    const std::string before = toUTF8(getShadersDir()).str();
    setShadersDir(L"relative/shaders");
    effectFrom("DeclareQuillframeEffect( T, C, S, N, kNoFlags )\n")->compile();
    setShadersDir(L"");
    const std::string first = gpu.compiles().back().text.str().substr(0, gpu.compiles().back().text.view().find('\n'));
    EXPECT_EQ(first, "#include \"" + std::filesystem::current_path().string() + "/relative/shaders/_utils.fx\"");
    EXPECT_EQ(toUTF8(getShadersDir()).str(), before);
}

TEST_F(EffectCompile, CgTextIgnoresACommaLocale) {
    QfTest::ScopedLocale comma(QfTest::kCommaLocale);
    if (!comma.active()) GTEST_SKIP() << QfTest::kCommaLocale << " is not installed";
    effectFrom("DeclareFloatParam( Amount, A, G, kNoFlags, 0.5, 0, 1.25 )\n"
               "DeclareColourParam( Tint, T, G, kNoFlags, 0.25, 0.5, 0.75, 1 )\n")
        ->compile();
    EXPECT_EQ(gpu.compiles().back().text.str(), "\nfloat Amount = 0.5;\n\nfloat4 Tint = { 0.25,0.5,0.75,1 };\n");
}

namespace {

// Everything an effect shows of itself, as text, to compare an effect with its copies.
std::string snapshot(const ShaderEffectInfo& e) {
    std::string s = toUTF8(e.getName()).str() + "|" + toUTF8(e.getCategory()).str() + "|" + toUTF8(e.getSubcategory()).str() +
                    "|" + toUTF8(e.getNotes()).str() + "|caps " + std::to_string(e.getCaps()) + "|path " +
                    toUTF8(e.getFullPath()).str() + "|time " + std::to_string(e.getFileTime()) + "|shader " +
                    std::to_string(reinterpret_cast<uintptr_t>(e.getCompiledShader().get())) + "\n";
    for (const Shader::Input& i : e.getInputs()) s += "input " + i.name.str() + "\n";
    for (const Shader::Parameter& p : e.getParams()) s += "param " + p.id.str() + " " + toUTF8(p.name).str() + "\n";
    for (const Shader::Parameter& p : e.getVariables()) s += "variable " + p.id.str() + "\n";
    for (const Shader::Technique& t : e.getTechniques()) s += "technique of " + std::to_string(t.passes.size()) + "\n";
    for (const Text& line : e.getProcessedSourceCode()) s += "processed " + line.str() + "\n";
    for (const Text& line : e.getSource().lines()) s += "source " + line.str() + "\n";
    for (const ShaderError& error : e.getErrors()) s += "error " + error.message.str() + "\n";
    const ShaderSourceMap map = e.getSourceMap();
    for (uint32_t line : map.lines) s += std::to_string(line) + " ";
    for (const auto& r : map.readerErrors) s += "\nreader error " + r.error.message.str() + " at " + std::to_string(r.fileLine);
    return s;
}

} // namespace

// A manager recompiling a changed file assigns the fresh effect over the one
// it knows: copies and moves must take every member.
TEST_F(EffectCompile, CopiesAndMovesTakeTheWholeEffect) {
    const auto compiled = effectFrom(kEffect + std::string("DeclareFloat3Param( Offset )\n"));
    compiled->setFileName(L"/fx/Test.fx");
    ASSERT_TRUE(compiled->compile().shader);
    // Read only, with a reader error still to be handed out.
    const auto unread = effectFrom("DeclareQuillframeEffect( Bad, C, S, N, kNoFlags )\nDeclarePass()\nDeclarePass( P )\n{}\n");
    unread->read(makePtr<CgCodeGenerator>());
    ASSERT_FALSE(unread->getErrors().empty());

    using Copier = std::function<Ptr<ShaderEffectInfo>(const ShaderEffectInfo&)>;
    const std::pair<const char*, Copier> ways[] = {
        {"copy", [](const ShaderEffectInfo& e) { return makePtr<ShaderEffectInfo>(e); }},
        {"move", [](const ShaderEffectInfo& e) { return makePtr<ShaderEffectInfo>(ShaderEffectInfo(e)); }},
        {"copy assignment over another effect",
         [](const ShaderEffectInfo& e) {
             auto target = effectFrom("DeclareQuillframeEffect( Old, C, S, N, kNoFlags )\nDeclareInput( Other )\n");
             target->compile();
             *target = e;
             return target;
         }},
        {"move assignment over another effect",
         [](const ShaderEffectInfo& e) {
             auto target = effectFrom("DeclareQuillframeEffect( Old, C, S, N, kNoFlags )\nDeclareInput( Other )\n");
             target->compile();
             ShaderEffectInfo copy(e);
             *target = std::move(copy);
             return target;
         }},
    };
    for (const Ptr<ShaderEffectInfo>& original : {compiled, unread}) {
        for (const auto& [what, copy] : ways) {
            const Ptr<ShaderEffectInfo> e = copy(*original);
            EXPECT_EQ(snapshot(*e), snapshot(*original)) << what;
            // The copy knows it was read: a compile neither reads again nor, once compiled, compiles again.
            const size_t compiles = gpu.compiles().size();
            e->compile();
            EXPECT_EQ(e->getProcessedSourceCode(), original->getProcessedSourceCode()) << what;
            EXPECT_EQ(gpu.compiles().size(), compiles) << what;
        }
    }
}
