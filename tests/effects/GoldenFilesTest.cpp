// Whole effects against their reviewed outputs: tests/data/golden/NAME.fx
// beside NAME.cg (plain), NAME.annotated.cg and NAME.glsl, which
// tests/data/golden/regenerate.sh rewrites with `qffx generate`.
#include "codegen/CodeGenerators.h"
#include "effects/ShaderEffectInfo.h"
#include "host/Paths.h"
#include "host/Strings.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

std::string fileText(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

using GoldenFiles = ::testing::TestWithParam<const char*>;

} // namespace

TEST_P(GoldenFiles, GeneratedTextMatchesTheExpectedFiles) {
    const std::string base = QFFX_TEST_DATA_DIR "golden/" + std::string(GetParam());
    TextFile source;
    ASSERT_TRUE(source.load(fromUTF8(LightweightString<char>(base + ".fx"))));
    // The expected files were written with the shaders directory at /fx/.
    const std::pair<const char*, Ptr<iShaderCodeGenerator>> outputs[] = {
        {".cg", makeCodeGenerator(eShadingLanguageCg, L"/fx/")},
        {".annotated.cg", makeCodeGenerator(eShadingLanguageCg, L"/fx/", CgCodeGenerator::eTargetAnnotated)},
        {".glsl", makeCodeGenerator(eShadingLanguageGLSL, L"/fx/")}};
    for (const auto& [extension, generator] : outputs) {
        ShaderEffectInfo effect(source);
        effect.read(generator);
        EXPECT_TRUE(effect.getErrors().empty()) << extension;
        std::string text;
        for (const LightweightString<char>& line : effect.getProcessedSourceCode()) text += line.str() + "\n";
        EXPECT_EQ(text, fileText(base + extension)) << GetParam() << extension;
    }
}

INSTANTIATE_TEST_SUITE_P(Effects, GoldenFiles, ::testing::Values("single_pass", "multi_pass", "inputs"));
