// Random and truncated declaration lines: whatever the text, the reader and a
// compile must not crash, and what they record must stay consistent.
#include "codegen/CgCodeGenerator.h"
#include "codegen/GLSLCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"
#include "support/RecordingGPUService.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

const char* const kPrefixes[] = {
    "DeclareQuillframeEffect", "DeclareFloatParamAnimated", "DeclareFloatParam", "DeclareFloat3Param",
    "DeclareFloat3x3Param",    "DeclareInputs",             "DeclareInput",      "Declare3DInput",
    "DeclareMask",             "DeclareColourParam",        "DeclareFloat4Param", "DeclareBoolParam",
    "DeclareIntParam",         "DeclarePass",               "DeclareEntryPoint", "Declare",
    "DeclareFloat",            "#include \"",               "#include",          "//",
    "int _QfrmEffectInfo",     "float w[2] = { 1, 2 };",    "",                  "\t",
};

const char* const kWords[] = {
    "Hidden", "hidden", "SupportsAlpha", "CanSize|ScaleAware", "|", "||", "kNo", "kNoFlags", "\"", "\"\"", "\"a,b\"",
    "(", ")", "((", "))", "point", "WRAP", "_x", "0.5", "-1e308", "1e999", "nan", "99999999999999999999", "true",
    "", " ", "\t", ",", "\xff\xfe", "Größe", "] = {", "};",
};

std::string randomLine(std::mt19937& rng) {
    auto pick = [&](const auto& table) { return std::string(table[rng() % std::size(table)]); };
    std::string line(rng() % 3, ' ');
    line += pick(kPrefixes);
    if (rng() % 4 != 0) {
        line += rng() % 2 ? "( " : "(";
        for (unsigned i = 0, n = rng() % 10; i < n; ++i) {
            if (i) line += rng() % 3 ? ", " : ",";
            line += pick(kWords);
            if (rng() % 4 == 0) line += pick(kWords);
        }
        if (rng() % 5 != 0) line += " )";
    }
    if (rng() % 40 == 0) line += std::string(3000 + rng() % 3000, "x,|(\")"[rng() % 6]);
    return line;
}

// Reads `text` with each generator and compiles it once.
void readEverywhere(const std::string& text) {
    const Ptr<iShaderCodeGenerator> generators[] = {
        makePtr<CgCodeGenerator>(),
        makePtr<CgCodeGenerator>(CgCodeGenerator::eTargetAnnotated),
        makePtr<GLSLCodeGenerator>(),
    };
    const bool hasMarker = text.find("int _QfrmEffectInfo") != std::string::npos;
    for (const Ptr<iShaderCodeGenerator>& generator : generators) {
        ShaderEffectInfo effect(TextFile::fromText(text));
        effect.read(generator);
        for (const ShaderError& e : effect.getErrors()) {
            const auto m = e.message.view();
            ASSERT_TRUE(m.starts_with("Too many arguments for ") || m.starts_with("Too few arguments for ") ||
                        m.starts_with("Invalid parameter flag : "))
                << m;
            if (!hasMarker) {
                ASSERT_LE(e.line, effect.getProcessedSourceCode().size());
            }
        }
        for (const Shader::Input& in : effect.getInputs())
            ASSERT_EQ(in.textureName, in.isMask ? LightweightString<char>("_mask") : "_" + in.name);
        for (const Shader::Technique& t : effect.getTechniques()) ASSERT_TRUE(t.passes.back().renderTarget.empty());
    }
    ShaderEffectInfo compiled(TextFile::fromText(text));
    compiled.compile();
}

} // namespace

TEST(EffectReaderFuzz, RandomDeclarationFilesNeverBreakTheReader) {
    QfTest::ScopedRecordingGPU gpu;
    std::mt19937 rng(20240611);
    for (int file = 0; file < 1000; ++file) {
        std::string text;
        for (unsigned i = 0, n = rng() % 30; i < n; ++i) text += randomLine(rng) + (rng() % 10 ? "\n" : "\r\n");
        SCOPED_TRACE(text.substr(0, 2000));
        readEverywhere(text);
        if (HasFatalFailure()) return;
    }
}

TEST(EffectReaderFuzz, DeclarationsTruncatedAtEveryPositionNeverBreakTheReader) {
    QfTest::ScopedRecordingGPU gpu(1);
    const char* const lines[] = {
        "DeclareQuillframeEffect( \"Name\", \"Category\", kNoSub, \"Notes\", CanSize|HasMinOutputSize )",
        "DeclareFloatParamAnimated( Amount, \"Amount\", \"Group\", Hidden|SpecifiesPointX, 0.5, 0, 1 )",
        "DeclareIntParam( Mode, \"Mode\", kNoGroup, 1, \"A|B|C\" )",
        "DeclareBoolParam( Flag, \"Flag\", kNoGroup, true )",
        "DeclareColourParam( Tint, \"Tint\", kNoGroup, SupportsAlpha, 1, 0.5, 0, 1 )",
        "DeclareInput( Input, Point, Wrap )",
        "DeclareInputs( A, _B, C )",
        "Declare3DInput( Lut )",
        "DeclarePass( Blur )",
        "DeclareEntryPoint( Main )",
        "#include \"_utils.fx\"",
        "float w[3] = { 1.0, 2.0, 3.0 };",
    };
    for (const std::string line : lines) {
        for (size_t cut = 0; cut <= line.size(); ++cut) {
            SCOPED_TRACE(line.substr(0, cut));
            readEverywhere(line.substr(0, cut) + "\nDeclareEntryPoint( E )\n");
            if (HasFatalFailure()) return;
        }
    }
}
