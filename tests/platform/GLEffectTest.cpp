// Effects compiled and drawn on the OpenGL service, their pixels read back:
// one pass, several passes and techniques, a mask, a 3D LUT, parameters of
// every type, the special parameters, filters and edge modes, the bindings'
// coordinates, and compile errors.
#include "GLTestSupport.h"

#include "codegen/GLSLCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"
#include "host/Strings.h"
#include "platform/gl/GLInfoLog.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <unistd.h>

using namespace QfGLTest;

namespace {

class GLEffectTest : public GLTest {};

// Distinct texels, so that any swapped row, column or component shows.
std::vector<uint8_t> pattern(int width, int height) {
    std::vector<uint8_t> t;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            t.insert(t.end(), {uint8_t(10 + 40 * x), uint8_t(20 + 90 * y), uint8_t(25 * (x + y) + 3), uint8_t(250 - 10 * x - y)});
    return t;
}

Ptr<iGPUImage> target8(int width, int height) { return gpu()->createImage({width, height}, iGPUImage::eRGBA8); }

ShaderInputBinding binding(const char* name, const Ptr<iGPUImage>& image, float u0, float u1) {
    ShaderInputBinding b;
    b.name = name;
    b.image = image;
    b.corners[0] = {u0, 0};
    b.corners[1] = {u1, 0};
    b.corners[2] = {u0, 1};
    b.corners[3] = {u1, 1};
    return b;
}

} // namespace

TEST_F(GLEffectTest, SinglePassEffectGivesExactPixels) {
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("Invert.fx"));
    ASSERT_TRUE(effect);
    const std::vector<uint8_t> source = pattern(4, 3);
    const Ptr<iGPUImage> target = target8(4, 3);
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", rgba8Image(4, 3, source))}));
    std::vector<uint8_t> expected = source;
    for (size_t i = 0; i < expected.size(); ++i)
        if (i % 4 != 3) expected[i] = uint8_t(255 - expected[i]);
    EXPECT_EQ(readRGBA8(target), expected);
}

TEST_F(GLEffectTest, MultiPassTechniquesRenderTheirPassesInOrder) {
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("TwoTechniques.fx"));
    ASSERT_TRUE(effect);
    const std::vector<uint8_t> source = pattern(3, 2);
    const Ptr<iGPUImage> input = rgba8Image(3, 2, source);
    const Ptr<iGPUImage> target = target8(3, 2);
    std::vector<uint8_t> swappedAndInverted(source.size());
    for (size_t i = 0; i < source.size(); i += 4)
        for (size_t c = 0; c < 4; ++c) swappedAndInverted[i + c] = uint8_t(255 - source[i + 3 - c]);

    // T1: pass Swap into its own texture, then Finish reads it by name.
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", input)}));
    EXPECT_EQ(readRGBA8(target), swappedAndInverted);

    // T2's one pass is case 2 of the switch: the count runs across techniques.
    EXPECT_TRUE(effect->setTechnique(LightweightString<char>("T2")));
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", input)}));
    EXPECT_EQ(readRGBA8(target), source);

    EXPECT_FALSE(effect->setTechnique(LightweightString<char>("T3")));
    EXPECT_FALSE(effect->setTechnique(LightweightString<char>("Finish")));
    EXPECT_FALSE(effect->setTechnique(uint16_t(2)));
    EXPECT_TRUE(effect->setTechnique(uint16_t(0)));
    gpu_->releaseGPUResources(); // the pass texture is made again
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", input)}));
    EXPECT_EQ(readRGBA8(target), swappedAndInverted);
}

TEST_F(GLEffectTest, ShippedBlurKeepsAnEvenPictureEven) {
    const Ptr<iShaderEffect> effect = compileEffect(shippedPath("GaussianBlur.fx"));
    ASSERT_TRUE(effect);
    ASSERT_TRUE(setFloat(effect, "Radius", 6));
    std::vector<uint8_t> flat;
    for (int i = 0; i < 16 * 8; ++i) flat.insert(flat.end(), {90, 160, 30, 255});
    const Ptr<iGPUImage> target = target8(16, 8);
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", rgba8Image(16, 8, flat))}));
    const std::vector<uint8_t> out = readRGBA8(target);
    for (size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], flat[i], 1) << "byte " << i;
}

// The mask is the second binding, at another size than the input: its
// coordinates come through uv2, spanning the mask image.
TEST_F(GLEffectTest, ShippedMaskEffectActsOnlyWhereTheMaskIsOpaque) {
    const Ptr<iShaderEffect> effect = compileEffect(shippedPath("MaskedExposure.fx"));
    ASSERT_TRUE(effect);
    ASSERT_TRUE(setFloat(effect, "Stops", 1));
    const Ptr<iGPUImage> input = rgba8Image(2, 1, {100, 50, 20, 255, 100, 50, 20, 128});
    const Ptr<iGPUImage> mask = rgba8Image(4, 1, {0, 0, 0, 0, 9, 9, 9, 0, 0, 0, 0, 255, 0, 0, 0, 255});
    const Ptr<iGPUImage> target = target8(2, 1);
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", input), ShaderInputBinding::whole("Mask", mask)}));
    EXPECT_EQ(readRGBA8(target), (std::vector<uint8_t>{100, 50, 20, 255, 200, 100, 40, 128}));
}

TEST_F(GLEffectTest, ShippedLutEffectMapsThroughA3DTexture) {
    const Ptr<iShaderEffect> effect = compileEffect(shippedPath("ApplyLUT.fx"));
    ASSERT_TRUE(effect);
    ASSERT_TRUE(setFloat(effect, "LutSize", 2));
    // A 2x2x2 cube whose entries differ per axis, red varying fastest, so that
    // a swapped axis or a misplaced slice shows.
    std::vector<uint8_t> cube;
    for (int b = 0; b < 2; ++b)
        for (int g = 0; g < 2; ++g)
            for (int r = 0; r < 2; ++r) cube.insert(cube.end(), {uint8_t(20 + 200 * r), uint8_t(40 + 150 * g), uint8_t(60 + 100 * b), 255});
    const Ptr<iGPUImage> lut = gpu_->create3DImage(2, 2, 2, iGPUImage::eRGBA8);
    ASSERT_TRUE(lut && lut->upload(cube.data()));
    const Ptr<iGPUImage> input = rgba8Image(4, 1, {0, 0, 0, 255, 255, 0, 0, 255, 0, 255, 255, 7, 255, 255, 255, 255});
    const Ptr<iGPUImage> target = target8(4, 1);
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", input), ShaderInputBinding::whole("Lut", lut)}));
    EXPECT_EQ(readRGBA8(target), (std::vector<uint8_t>{20, 40, 60, 255, 220, 40, 60, 255, 20, 190, 160, 7, 220, 190, 160, 255}));

    // A 2D image where the effect wants a 3D one is not bound at all.
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", input), ShaderInputBinding::whole("Lut", input)}));
    EXPECT_EQ(readRGBA8(target)[0], 0);
}

TEST_F(GLEffectTest, WritesParametersOfEveryType) {
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("Params.fx"));
    ASSERT_TRUE(effect);
    const std::pair<const char*, iShaderParam::eType> declared[] = {
        {"F", iShaderParam::eFloat}, {"B", iShaderParam::eBool}, {"I", iShaderParam::eInt},
        {"V3", iShaderParam::eFloat3}, {"V4", iShaderParam::eFloat4}, {"M", iShaderParam::eFloat3x3}};
    int previous = -1;
    for (const auto& [name, type] : declared) {
        int index = -1;
        for (uint16_t i = 0; effect->getParam(i); ++i)
            if (effect->getParam(i)->getName() == name) index = i;
        ASSERT_GT(index, previous) << name << " is missing or out of declaration order";
        previous = index;
        EXPECT_EQ(effect->getParam(uint16_t(index))->getType(), type) << name;
    }
    const Ptr<iShaderParam> F = effect->getParam("F"), B = effect->getParam("B"), I = effect->getParam("I"),
                            V3 = effect->getParam("V3"), V4 = effect->getParam("V4"), M = effect->getParam("M");
    EXPECT_FALSE(effect->getParam("Nope"));
    int annotation = 0;
    EXPECT_FALSE(F->getAnnotation("Description", annotation));

    const Ptr<iGPUImage> target = gpu_->createImage({8, 2}, iGPUImage::eRGBA32F);
    auto drawn = [&](uint16_t technique) {
        EXPECT_TRUE(effect->setTechnique(technique));
        EXPECT_TRUE(effect->draw(target, {}));
        const std::vector<float> out = readRGBA32F(target);
        return std::vector<float>(out.begin(), out.begin() + 4);
    };
    // Parameters never set keep the initialisers of the effect text.
    EXPECT_EQ(drawn(0), (std::vector<float>{0.25f, 0, 3, 0}));
    EXPECT_TRUE(F->setFloat(0.5f));
    EXPECT_TRUE(B->setBool(true));
    EXPECT_TRUE(I->setInt(-7));
    EXPECT_EQ(drawn(0), (std::vector<float>{0.5f, 1, -7, 0}));

    const float v3[3] = {1, 2, 3}, v4[4] = {0.125f, 0.25f, 0.5f, 2};
    EXPECT_TRUE(V3->setFloat3(v3));
    EXPECT_TRUE(V4->setFloat4(v4));
    EXPECT_EQ(drawn(1), (std::vector<float>{1, 2, 3, 0}));
    EXPECT_EQ(drawn(2), (std::vector<float>{0.125f, 0.25f, 0.5f, 2}));
    // Rows in order; mul(v, M) is the row vector v times M.
    const float rows[9] = {1, 2, 3, 4, 5, 6, 7, 8, 10};
    EXPECT_TRUE(M->setMatrix3x3(rows));
    EXPECT_EQ(drawn(3), (std::vector<float>{1 + 8 + 21, 2 + 10 + 24, 3 + 12 + 30, 0}));

    // A setter of another type, or without values, changes nothing.
    EXPECT_FALSE(F->setInt(1));
    EXPECT_FALSE(B->setFloat(1));
    EXPECT_FALSE(I->setBool(false));
    EXPECT_FALSE(V3->setFloat4(v4));
    EXPECT_FALSE(V4->setFloat3(v3));
    EXPECT_FALSE(M->setFloat3(v3));
    EXPECT_FALSE(V3->setFloat3(nullptr));
    EXPECT_EQ(drawn(0), (std::vector<float>{0.5f, 1, -7, 0}));

    // The special parameters: the target's size, then the render context.
    EXPECT_EQ(drawn(4), (std::vector<float>{8, 2, 4, 0}));
    effect->setRenderContext({0.25f, 50, 10, 500});
    EXPECT_EQ(drawn(5), (std::vector<float>{0.25f, 50, 10, 500}));
}

TEST_F(GLEffectTest, HelpersMapTheEffectVocabularyOntoGLSL) {
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("Vocabulary.fx"));
    ASSERT_TRUE(effect);
    const Ptr<iGPUImage> input = rgba8Image(2, 1, {0, 0, 0, 0, 255, 255, 255, 255});
    const Ptr<iGPUImage> target = gpu_->createImage({1, 1}, iGPUImage::eRGBA32F);
    // One pixel whose centre lies 0.9 texels into the input.
    const std::vector<ShaderInputBinding> inputs{binding("Input", input, 0.4f, 1.4f)};
    ASSERT_TRUE(effect->draw(target, inputs));
    EXPECT_EQ(readRGBA32F(target), (std::vector<float>{1.25f, 1, 1.5f, 12}));
    ASSERT_TRUE(effect->setTechnique(uint16_t(1)));
    ASSERT_TRUE(effect->draw(target, inputs));
    EXPECT_EQ(readRGBA32F(target), (std::vector<float>{0, 0, 0, 0}));
    ASSERT_TRUE(effect->setTechnique(uint16_t(2)));
    ASSERT_TRUE(effect->draw(target, inputs));
    EXPECT_NEAR(readRGBA32F(target)[0], 0.4f, 0.01f);
}

// A 2x1 input drawn over 8 pixels from u = -2 to 4 texels: the pixel centres
// fall at u = -1.625, -0.875, ... 3.625, three outside each side.
TEST_F(GLEffectTest, SamplesWithEachFilterAndEdgeMode) {
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("Sample.fx"));
    ASSERT_TRUE(effect);
    const float A[4] = {10, 200, 30, 255}, B[4] = {250, 0, 120, 60};
    const Ptr<iGPUImage> input = rgba8Image(2, 1, {10, 200, 30, 255, 250, 0, 120, 60});
    const Ptr<iGPUImage> target = gpu_->createImage({8, 1}, iGPUImage::eRGBA32F);

    // What OpenGL prescribes, per texel index, for a width of 2; Border is transparent black.
    auto texel = [&](int i, iShaderEffectBase::eEdgeReadMode edge, int c) -> float {
        switch (edge) {
            case iShaderEffectBase::Border: if (i < 0 || i > 1) return 0; break;
            case iShaderEffectBase::ClampToEdge: i = std::clamp(i, 0, 1); break;
            case iShaderEffectBase::Wrap: i = ((i % 2) + 2) % 2; break;
            case iShaderEffectBase::Mirror: i = ((i % 4) + 4) % 4; i = i < 2 ? i : 3 - i; break;
        }
        return (i == 0 ? A : B)[c];
    };
    for (const auto scaling : {iShaderEffectBase::Point, iShaderEffectBase::Linear}) {
        for (const auto edge : {iShaderEffectBase::Border, iShaderEffectBase::ClampToEdge, iShaderEffectBase::Mirror, iShaderEffectBase::Wrap}) {
            SCOPED_TRACE(testing::Message() << "scaling " << scaling << " edge " << edge);
            ASSERT_TRUE(effect->setSamplerState("Input", scaling, edge));
            ASSERT_TRUE(effect->draw(target, {binding("Input", input, -2, 4)}));
            const std::vector<float> out = readRGBA32F(target);
            for (int x = 0; x < 8; ++x) {
                const float u = -2 + (x + 0.5f) * 0.75f;
                for (int c = 0; c < 4; ++c) {
                    float expected;
                    if (scaling == iShaderEffectBase::Point) {
                        expected = texel(int(std::floor(u)), edge, c);
                    } else {
                        const int i0 = int(std::floor(u - 0.5f));
                        const float a = u - 0.5f - float(i0);
                        expected = texel(i0, edge, c) * (1 - a) + texel(i0 + 1, edge, c) * a;
                    }
                    // Point sampling is exact; filtering weights may be quantised by the driver.
                    EXPECT_NEAR(out[size_t(x * 4 + c)] * 255, expected, scaling == iShaderEffectBase::Point ? 1e-3 : 1.5)
                        << "pixel " << x << " component " << c;
                }
            }
        }
    }
    EXPECT_FALSE(effect->setSamplerState("NotAnInput", iShaderEffectBase::Point, iShaderEffectBase::Wrap));
}

TEST_F(GLEffectTest, BindingCornersAreTexelsOfTheBoundImageAndBadTargetsAreRefused) {
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("Invert.fx"));
    ASSERT_TRUE(effect);
    const std::vector<uint8_t> source = pattern(4, 1);
    const Ptr<iGPUImage> input = rgba8Image(4, 1, source);
    const Ptr<iGPUImage> target = target8(2, 1);
    // u from 1 to 3 texels of a 4-texel image: the middle two texels.
    ASSERT_TRUE(effect->draw(target, {binding("Input", input, 1, 3)}));
    const std::vector<uint8_t> out = readRGBA8(target);
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(out[i], i % 4 == 3 ? source[4 + i] : 255 - source[4 + i]) << i;

    // An unknown binding name is ignored; the sampler reads no texture.
    EXPECT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Other", input)}));
    EXPECT_FALSE(effect->draw(nullptr, {}));
    EXPECT_FALSE(effect->draw(gpu_->create3DImage(2, 2, 2, iGPUImage::eRGBA8), {}));
    EXPECT_FALSE(effect->draw(input, {ShaderInputBinding::whole("Input", input)})); // reads what it writes
}

// The driver's own message comes back, with its line turned into the
// 0-based line of the generated text.
TEST_F(GLEffectTest, CompileErrorCarriesTheDriversMessageAndTheGeneratedLine) {
    const char* text =
        "DeclareQuillframeEffect( \"Broken\", \"Test\", \"Test\", kNoNotes, kNoFlags )\n"
        "DeclareInput( Input )\n"
        "DeclareEntryPoint( Broken )\n"
        "{\n"
        "   float4 c = tex2D( Input, uv1 );\n"
        "   return c * notDeclaredAnywhere;\n"
        "}\n";
    const Ptr<ShaderEffectInfo> info = makePtr<ShaderEffectInfo>(TextFile::fromText(text));
    const ShaderCompilationOutput out = info->compile(makePtr<GLSLCodeGenerator>());
    EXPECT_FALSE(out.shader);
    const std::vector<LightweightString<char>>& generated = info->getProcessedSourceCode();
    size_t badLine = 0;
    while (badLine < generated.size() && generated[badLine].find("notDeclaredAnywhere") == std::string_view::npos) ++badLine;
    ASSERT_LT(badLine, generated.size());
    bool found = false;
    for (const ShaderError& e : out.errors) {
        if (e.message.find("notDeclaredAnywhere") == std::string_view::npos) continue;
        found = true;
        EXPECT_EQ(e.line, badLine) << e.message.c_str();
    }
    EXPECT_TRUE(found) << (out.errors.empty() ? "no errors" : out.errors[0].message.c_str());
}

TEST(GLInfoLogTest, ReadsTheLinePlacesOfSeveralDrivers) {
    const std::vector<ShaderError> errors = parseInfoLog(
        "0:12(5): error: `x' undeclared\n"
        "0(7) : error C1008: undefined variable \"y\"\n"
        "ERROR: 0:3: 'z' : undeclared identifier\n"
        "1:4(2): error: in the helpers\n"
        "\n"
        "something without a place\r\n",
        0);
    ASSERT_EQ(errors.size(), 5u);
    EXPECT_EQ(errors[0], (ShaderError{"0:12(5): error: `x' undeclared", 11}));
    EXPECT_EQ(errors[1].line, 6);
    EXPECT_EQ(errors[2].line, 2);
    EXPECT_EQ(errors[3].line, 0); // another source string
    EXPECT_EQ(errors[4], (ShaderError{"something without a place", 0}));
}

TEST_F(GLEffectTest, CompilesGeneratedTextFromAFile) {
    const Ptr<ShaderEffectInfo> info = makePtr<ShaderEffectInfo>(fromUTF8(dataPath("Invert.fx").c_str()), 0);
    info->read(makePtr<GLSLCodeGenerator>());
    const std::string path = "/tmp/qffx-gl-" + std::to_string(getpid()) + ".glsl";
    {
        std::ofstream file(path);
        for (const LightweightString<char>& line : info->getProcessedSourceCode()) file << line.view() << '\n';
    }
    const ShaderCompilationOutput out = gpu_->compileEffectFile(fromUTF8(path.c_str()), ShaderEffectInfo::specialParameterDefinitions());
    std::remove(path.c_str());
    ASSERT_TRUE(out.shader);
    const Ptr<iGPUImage> target = target8(1, 1);
    ASSERT_TRUE(out.shader->draw(target, {ShaderInputBinding::whole("Input", rgba8Image(1, 1, {1, 2, 3, 4}))}));
    EXPECT_EQ(readRGBA8(target), (std::vector<uint8_t>{254, 253, 252, 4}));

    const ShaderCompilationOutput missing = gpu_->compileEffectFile(L"/nonexistent/effect.glsl", {});
    EXPECT_FALSE(missing.shader);
    ASSERT_EQ(missing.errors.size(), 1u);
}
