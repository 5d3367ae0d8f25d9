// Whole effects against their reviewed outputs: NAME.cg (plain), NAME.annotated.cg
// and NAME.glsl beside each made-up effect tests/data/golden/NAME.fx, and in
// tests/data/golden/shipped/ for every shipped effect (resources/shaders/*.fx
// but the "_" includes, resources/effect-templates/*.fx).
// tests/data/golden/regenerate.sh rewrites them all with `qffx generate`.
#include "codegen/CodeGenerators.h"
#include "effects/ShaderEffectInfo.h"
#include "host/base/Strings.h"
#include "host/misc/Paths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;

std::string fileText(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

const std::string kGolden = QFFX_TEST_DATA_DIR "golden/";
const std::string kShipped = kGolden + "shipped/";

// Reads `fx` with each code generator and compares the text with `base` + its extension.
void expectGoldenFiles(const std::string& fx, const std::string& base) {
    TextFile source;
    ASSERT_TRUE(source.load(fromUTF8(LightweightString<char>(fx)))) << fx;
    // The expected files were written with the shaders directory at /fx/.
    const std::pair<const char*, Ptr<iShaderCodeGenerator>> outputs[] = {
        {".cg", makeCodeGenerator(eShadingLanguageCg, L"/fx/")},
        {".annotated.cg", makeCodeGenerator(eShadingLanguageCg, L"/fx/", CgCodeGenerator::eTargetAnnotated)},
        {".glsl", makeCodeGenerator(eShadingLanguageGLSL, L"/fx/")}};
    for (const auto& [extension, generator] : outputs) {
        ShaderEffectInfo effect(source);
        effect.read(generator);
        EXPECT_TRUE(effect.getErrors().empty()) << fx << extension;
        std::string text;
        for (const LightweightString<char>& line : effect.getProcessedSourceCode()) text += line.str() + "\n";
        ASSERT_TRUE(fs::exists(base + extension)) << base + extension << " is missing: run tests/data/golden/regenerate.sh";
        EXPECT_EQ(text, fileText(base + extension)) << fx << extension;
    }
}

// Every effect the product ships, by path.
std::vector<std::string> shippedEffects() {
    std::vector<std::string> paths;
    for (const std::string dir : {QFFX_SHADERS_SOURCE_DIR, QFFX_SHADERS_SOURCE_DIR "../effect-templates/"})
        for (const fs::directory_entry& entry : fs::directory_iterator(dir))
            if (entry.path().extension() == ".fx" && entry.path().filename().string()[0] != '_')
                paths.push_back(entry.path().string());
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::string stem(const std::string& path) { return fs::path(path).stem().string(); }

using GoldenFiles = ::testing::TestWithParam<const char*>;
using ShippedGoldenFiles = ::testing::TestWithParam<std::string>;

} // namespace

TEST_P(GoldenFiles, GeneratedTextMatchesTheExpectedFiles) {
    expectGoldenFiles(kGolden + GetParam() + ".fx", kGolden + GetParam());
}

INSTANTIATE_TEST_SUITE_P(Effects, GoldenFiles, ::testing::Values("single_pass", "multi_pass", "inputs"));

TEST_P(ShippedGoldenFiles, GeneratedTextMatchesTheExpectedFiles) { expectGoldenFiles(GetParam(), kShipped + stem(GetParam())); }

INSTANTIATE_TEST_SUITE_P(Shipped, ShippedGoldenFiles, ::testing::ValuesIn(shippedEffects()),
                         [](const ::testing::TestParamInfo<std::string>& info) { return stem(info.param); });

// An effect no longer shipped leaves no expected files behind.
TEST(ShippedGoldenFilesDirectory, HoldsOnlyShippedEffects) {
    std::vector<std::string> shipped;
    for (const std::string& path : shippedEffects()) shipped.push_back(stem(path));
    for (const fs::directory_entry& entry : fs::directory_iterator(kShipped)) {
        const std::string name = entry.path().filename().string();
        EXPECT_NE(std::find(shipped.begin(), shipped.end(), name.substr(0, name.find('.'))), shipped.end()) << name;
    }
}
