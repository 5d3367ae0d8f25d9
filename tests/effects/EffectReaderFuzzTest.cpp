// Random and truncated declaration lines: whatever the text, the reader and a
// compile must not crash, and what they record must stay consistent.
#include "codegen/CodeGenerators.h"
#include "effects/ShaderEffectInfo.h"
#include "support/RecordingGPUService.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

const char* const kPrefixes[] = {
    "DeclareQuillframeEffect",
    "DeclareFloatParamAnimated",
    "DeclareFloatParam",
    "DeclareFloat3Param",
    "DeclareFloat3x3Param",
    "DeclareInputs",
    "DeclareInput",
    "Declare3DInput",
    "DeclareMask",
    "DeclareColourParam",
    "DeclareFloat4Param",
    "DeclareBoolParam",
    "DeclareIntParam",
    "DeclarePass",
    "DeclareEntryPoint",
    "Declare",
    "#include \"",
    "//",
    "int _QfrmEffectInfo",
    "float w[2] = { 1, 2 };",
    "\t",
};

const char* const kWords[] = {
    "Hidden",
    "hidden",
    "SupportsAlpha",
    "CanSize|ScaleAware",
    "|",
    "kNo",
    "\"",
    "\"a,b\"",
    "(",
    ")",
    "point",
    "WRAP",
    "_x",
    "0.5",
    "1e999",
    "nan",
    "99999999999999999999",
    "true",
    "",
    " ",
    ",",
    "\xff\xfe",
    "Größe",
    "] = {",
};

} // namespace

TEST(EffectReaderFuzz, RandomDeclarationFilesNeverBreakTheReader) {
    QfTest::RecordingGPUService gpu;
    std::mt19937 rng(20240611);
    auto pick = [&](const auto& table) { return std::string(table[rng() % std::size(table)]); };
    const Ptr<iShaderCodeGenerator> generators[] = {
        makeCodeGenerator(eShadingLanguageCg, L"/fx/", CgCodeGenerator::eTargetAnnotated),
        makeCodeGenerator(eShadingLanguageGLSL, L"/fx/")};
    for (int file = 0; file < 1000 && !HasFatalFailure(); ++file) {
        std::string text;
        for (unsigned i = 0, n = rng() % 30; i < n; ++i) {
            std::string line = std::string(rng() % 3, ' ') + pick(kPrefixes);
            if (rng() % 4) {
                line += "( ";
                for (unsigned a = 0, count = rng() % 10; a < count; ++a)
                    line += (a ? ", " : "") + pick(kWords) + (rng() % 4 ? "" : pick(kWords));
                line += " )";
            }
            if (rng() % 5 == 0) line.resize(rng() % (line.size() + 1)); // truncated anywhere
            if (rng() % 40 == 0) line += std::string(3000 + rng() % 3000, "x,|(\")"[rng() % 6]);
            text += line + (rng() % 10 ? "\n" : "\r\n");
        }
        SCOPED_TRACE(text.substr(0, 2000));
        for (const Ptr<iShaderCodeGenerator>& generator : generators) {
            ShaderEffectInfo effect(TextFile::fromText(text));
            effect.read(generator);
            for (const ShaderError& e : effect.getErrors()) {
                bool known = false;
                for (int kind = 0; kind <= ShaderEffectInfo::eTooManyLines; ++kind)
                    known |= e.message.startsWith(ShaderEffectInfo::errorPrefix(ShaderEffectInfo::eErrorType(kind)));
                ASSERT_TRUE(known) << e.message.view();
            }
            for (const Shader::Technique& t : effect.getTechniques()) ASSERT_TRUE(t.passes.back().renderTarget.empty());
        }
        ShaderEffectInfo(TextFile::fromText(text)).compile();
    }
}
