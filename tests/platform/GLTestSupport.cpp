#include "GLTestSupport.h"

#include "effects/ShaderEffectInfo.h"
#include "host/base/Shutdown.h"
#include "host/base/Strings.h"
#include "host/misc/TextFile.h"
#include "platform/LinuxServices.h"

#include <atomic>

namespace QfGLTest {

namespace {
std::atomic<bool> g_gpuMissing{false};

// Library code under test may start the effect manager; its exit callbacks
// stop the background compilation before the process's static objects go.
struct ManagerShutdown : ::testing::Environment {
    void TearDown() override { Shutdown::runCallbacks(Shutdown::eNormalExit); }
};
const auto* const g_shutdown = ::testing::AddGlobalTestEnvironment(new ManagerShutdown);

Ptr<iShaderEffect> compile(const Ptr<ShaderEffectInfo>& info, std::vector<ShaderError>* errors) {
    ShaderCompilationOutput out = info->compile();
    if (errors) *errors = out.errors;
    return out.shader;
}

template <typename T>
std::vector<T> readBack(const Ptr<iGPUImage>& image) {
    std::vector<T> texels(size_t(image->getSize().x) * size_t(image->getSize().y) * 4);
    EXPECT_TRUE(image->readBack(texels.data()));
    return texels;
}
} // namespace

iGPUService* gpu() {
    installOS(&LinuxServices::instance());
    iGPUService* g = OS()->gpu();
    if (!g) g_gpuMissing = true;
    return g;
}

void GLTest::SetUp() {
    m_gpu = gpu();
    if (!m_gpu) GTEST_SKIP() << "EGL cannot start an OpenGL 4.5 core context here";
}

std::string dataPath(const std::string& name) { return std::string(QFFX_TEST_DATA_DIR) + "gl/" + name; }
std::string shippedPath(const std::string& name) { return std::string(QFFX_SHADERS_SOURCE_DIR) + name; }

Ptr<iShaderEffect> compileEffect(const std::string& path, std::vector<ShaderError>* errors) {
    return compile(makePtr<ShaderEffectInfo>(fromUTF8(path.c_str()), 0), errors);
}

Ptr<iShaderEffect> compileEffectText(const std::string& text, std::vector<ShaderError>* errors) {
    return compile(makePtr<ShaderEffectInfo>(TextFile::fromText(text)), errors);
}

Ptr<iGPUImage> rgba8Image(int width, int height, const std::vector<uint8_t>& texels) {
    Ptr<iGPUImage> image = gpu()->createImage({width, height}, iGPUImage::eRGBA8);
    if (image && !image->upload(texels.data())) return nullptr;
    return image;
}

std::vector<uint8_t> readRGBA8(const Ptr<iGPUImage>& image) { return readBack<uint8_t>(image); }
std::vector<float> readRGBA32F(const Ptr<iGPUImage>& image) { return readBack<float>(image); }

} // namespace QfGLTest

// A run in which EGL could not start exits 77, so that CTest reports the
// tests as skipped rather than passed.
int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    return result == 0 && QfGLTest::g_gpuMissing ? 77 : result;
}
