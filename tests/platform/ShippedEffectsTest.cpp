// Every effect shipped in resources/shaders (the files not starting with
// "_") compiles for real as GLSL and reads without errors as Cg text.
#include "GLTestSupport.h"

#include "codegen/CgCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"
#include "host/Strings.h"

#include <filesystem>

using namespace QfGLTest;

namespace {

std::vector<std::string> shippedEffects() {
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(QFFX_SHADERS_SOURCE_DIR)) {
        const std::string name = entry.path().filename().string();
        if (entry.path().extension() == ".fx" && !name.starts_with("_")) paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

class ShippedEffectsTest : public GLTest {};

} // namespace

TEST_F(ShippedEffectsTest, EveryShippedEffectCompilesAsGLSLAndReadsAsCg) {
    const std::vector<std::string> paths = shippedEffects();
    EXPECT_GE(paths.size(), 4u);
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        std::vector<ShaderError> errors;
        EXPECT_TRUE(compileEffect(path, &errors));
        for (const ShaderError& e : errors) ADD_FAILURE() << "line " << e.line << ": " << e.message.c_str();

        const Ptr<ShaderEffectInfo> cg = makePtr<ShaderEffectInfo>(fromUTF8(path.c_str()), 0);
        cg->read(makePtr<CgCodeGenerator>());
        EXPECT_FALSE(cg->getProcessedSourceCode().empty());
        for (const Shader::Error& e : cg->getErrors()) ADD_FAILURE() << "Cg: " << e.message.c_str();
    }
}
