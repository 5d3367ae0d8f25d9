// Helpers of the tests that run on the real OpenGL service (llvmpipe when
// the machine has no GPU). GLTest skips a test when EGL cannot start; the
// program then exits 77, which CTest reports as skipped.
#pragma once

#include "host/os/OS.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace QfGLTest {

iGPUService* gpu(); // the Linux services' GPU, installed as OS(); null without EGL

class GLTest : public ::testing::Test {
protected:
    void SetUp() override;
    iGPUService* m_gpu = nullptr;
};

std::string dataPath(const std::string& name);    // tests/data/gl/<name>
std::string shippedPath(const std::string& name); // resources/shaders/<name>

// Compiles effect text, or a file, through ShaderEffectInfo with the GLSL
// generator. Null on failure, with the errors in `errors` when given.
Ptr<iShaderEffect> compileEffect(const std::string& path, std::vector<ShaderError>* errors = nullptr);
Ptr<iShaderEffect> compileEffectText(const std::string& text, std::vector<ShaderError>* errors = nullptr);

// RGBA8 images of 4 bytes a texel, top row first.
Ptr<iGPUImage> rgba8Image(int width, int height, const std::vector<uint8_t>& texels);
std::vector<uint8_t> readRGBA8(const Ptr<iGPUImage>& image);
std::vector<float> readRGBA32F(const Ptr<iGPUImage>& image);

} // namespace QfGLTest
