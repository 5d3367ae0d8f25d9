// Helpers of the tests that run on the real OpenGL service (llvmpipe when
// the machine has no GPU).
//
// GLTest skips a test when EGL cannot start at all; the test program then
// exits 77, which CTest reports as skipped.
#pragma once

#include "host/OS.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace QfGLTest {

// The Linux services' GPU, installed as OS(); null when EGL cannot start.
iGPUService* gpu();
bool gpuWasMissing();

class GLTest : public ::testing::Test {
protected:
    void SetUp() override;
    iGPUService* gpu_ = nullptr;
};

std::string dataPath(const std::string& name); // tests/data/gl/<name>
std::string shippedPath(const std::string& name); // resources/shaders/<name>

// Compiles an effect file, or effect text, the way the library does:
// ShaderEffectInfo with the GLSL generator. Null on failure, with the errors
// in `errors` when given.
Ptr<iShaderEffect> compileEffect(const std::string& path, std::vector<ShaderError>* errors = nullptr);
Ptr<iShaderEffect> compileEffectText(const std::string& text, std::vector<ShaderError>* errors = nullptr);

// An RGBA8 image holding `texels` (4 bytes a texel, top row first).
Ptr<iGPUImage> rgba8Image(int width, int height, const std::vector<uint8_t>& texels);
std::vector<uint8_t> readRGBA8(const Ptr<iGPUImage>& image);
std::vector<float> readRGBA32F(const Ptr<iGPUImage>& image);

bool setFloat(const Ptr<iShaderEffect>& effect, const char* name, float value);

} // namespace QfGLTest
