// Effects compiled and drawn on the OpenGL service with their pixels read
// back, compile errors, and every shipped effect.
#include "GLTestSupport.h"

#include "codegen/CgCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"
#include "host/base/Strings.h"
#include "host/misc/TextFile.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>

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

// Spans texels u0..u1 of the image across the target, all of its height.
ShaderInputBinding binding(const char* name, const Ptr<iGPUImage>& image, float u0, float u1) {
    return {name, image, {{u0, 0}, {u1, 0}, {u0, 1}, {u1, 1}}};
}

} // namespace

TEST_F(GLEffectTest, SinglePassEffectGivesExactPixelsAndRefusesBadTargets) {
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("Invert.fx"));
    ASSERT_TRUE(effect);
    const std::vector<uint8_t> source = pattern(4, 3);
    const Ptr<iGPUImage> input = rgba8Image(4, 3, source), target = target8(4, 3);
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", input)}));
    std::vector<uint8_t> expected = source;
    for (size_t i = 0; i < expected.size(); ++i)
        if (i % 4 != 3) expected[i] = uint8_t(255 - expected[i]);
    EXPECT_EQ(readRGBA8(target), expected);

    EXPECT_FALSE(effect->draw(nullptr, {}));
    EXPECT_FALSE(effect->draw(m_gpu->create3DImage(2, 2, 2, iGPUImage::eRGBA8), {}));
    EXPECT_FALSE(effect->draw(input, {ShaderInputBinding::whole("Input", input)})); // reads what it writes
}

TEST_F(GLEffectTest, MultiPassTechniquesRenderTheirPassesInOrder) {
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("TwoTechniques.fx"));
    ASSERT_TRUE(effect);
    const std::vector<uint8_t> source = pattern(3, 2);
    const Ptr<iGPUImage> input = rgba8Image(3, 2, source), target = target8(3, 2);
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

    EXPECT_FALSE(effect->setTechnique(LightweightString<char>("Finish")));
    EXPECT_TRUE(effect->setTechnique(uint16_t(0)));
    m_gpu->releaseGPUResources(); // the pass texture is made again
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", input)}));
    EXPECT_EQ(readRGBA8(target), swappedAndInverted);
}

// The mask is the second binding, at another size than the input: its
// coordinates come through uv2, spanning the mask image.
TEST_F(GLEffectTest, ShippedMaskEffectActsOnlyWhereTheMaskIsOpaque) {
    const Ptr<iShaderEffect> effect = compileEffect(shippedPath("MaskedExposure.fx"));
    ASSERT_TRUE(effect);
    ASSERT_TRUE(effect->getParam("Stops")->setFloat(1));
    const Ptr<iGPUImage> input = rgba8Image(2, 1, {100, 50, 20, 255, 100, 50, 20, 128});
    const Ptr<iGPUImage> mask = rgba8Image(4, 1, {0, 0, 0, 0, 9, 9, 9, 0, 0, 0, 0, 255, 0, 0, 0, 255});
    const Ptr<iGPUImage> target = target8(2, 1);
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", input), ShaderInputBinding::whole("Mask", mask)}));
    EXPECT_EQ(readRGBA8(target), (std::vector<uint8_t>{100, 50, 20, 255, 200, 100, 40, 128}));
}

TEST_F(GLEffectTest, ShippedLutEffectMapsThroughA3DTexture) {
    const Ptr<iShaderEffect> effect = compileEffect(shippedPath("ApplyLUT.fx"));
    ASSERT_TRUE(effect);
    ASSERT_TRUE(effect->getParam("LutSize")->setFloat(2));
    // Entries differing per axis, red fastest: a swapped axis or slice shows.
    std::vector<uint8_t> cube;
    for (int b = 0; b < 2; ++b)
        for (int g = 0; g < 2; ++g)
            for (int r = 0; r < 2; ++r)
                cube.insert(cube.end(), {uint8_t(20 + 200 * r), uint8_t(40 + 150 * g), uint8_t(60 + 100 * b), 255});
    const Ptr<iGPUImage> lut = m_gpu->create3DImage(2, 2, 2, iGPUImage::eRGBA8);
    ASSERT_TRUE(lut && lut->upload(cube.data()));
    const Ptr<iGPUImage> input = rgba8Image(4, 1, {0, 0, 0, 255, 255, 0, 0, 255, 0, 255, 255, 7, 255, 255, 255, 255});
    const Ptr<iGPUImage> target = target8(4, 1);
    ASSERT_TRUE(effect->draw(target, {ShaderInputBinding::whole("Input", input), ShaderInputBinding::whole("Lut", lut)}));
    EXPECT_EQ(readRGBA8(target), (std::vector<uint8_t>{20, 40, 60, 255, 220, 40, 60, 255, 20, 190, 160, 7, 220, 190, 160, 255}));
}

// Each technique of Params.fx writes a group of parameters out as a colour.
TEST_F(GLEffectTest, WritesParametersOfEveryType) {
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("Params.fx"));
    ASSERT_TRUE(effect);
    const Ptr<iGPUImage> target = m_gpu->createImage({8, 2}, iGPUImage::eRGBA32F);
    auto drawn = [&](uint16_t technique) {
        EXPECT_TRUE(effect->setTechnique(technique) && effect->draw(target, {}));
        const std::vector<float> out = readRGBA32F(target);
        return std::vector<float>(out.begin(), out.begin() + 4);
    };
    EXPECT_EQ(drawn(0), (std::vector<float>{0.25f, 0, 3, 0})); // the initialisers of the effect text

    using P = iShaderParam;
    const float v3[3] = {1, 2, 3}, v4[4] = {0.125f, 0.25f, 0.5f, 2}, rows[9] = {1, 2, 3, 4, 5, 6, 7, 8, 10};
    const struct {
        const char* name;
        P::eType type;
        std::function<bool(P&)> set, wrongType;
        uint16_t technique;
        std::vector<float> shown;
    } writes[] = {
        {"F", P::eFloat, [](P& p) { return p.setFloat(0.5f); }, [](P& p) { return p.setInt(1); }, 0, {0.5f, 0, 3, 0}},
        {"B", P::eBool, [](P& p) { return p.setBool(true); }, [](P& p) { return p.setFloat(1); }, 0, {0.5f, 1, 3, 0}},
        {"I", P::eInt, [](P& p) { return p.setInt(-7); }, [](P& p) { return p.setBool(false); }, 0, {0.5f, 1, -7, 0}},
        {"V3",
         P::eFloat3,
         [&](P& p) { return p.setFloat3(v3); },
         [&](P& p) { return p.setFloat4(v4) || p.setFloat3(nullptr); },
         1,
         {1, 2, 3, 0}},
        {"V4",
         P::eFloat4,
         [&](P& p) { return p.setFloat4(v4); },
         [&](P& p) { return p.setFloat3(v3); },
         2,
         {0.125f, 0.25f, 0.5f, 2}},
        // Rows in order; mul(v, M) is the row vector v times M.
        {"M",
         P::eFloat3x3,
         [&](P& p) { return p.setMatrix3x3(rows); },
         [&](P& p) { return p.setFloat3(v3); },
         3,
         {30, 36, 45, 0}},
    };
    for (const auto& w : writes) {
        SCOPED_TRACE(w.name);
        const Ptr<P> param = effect->getParam(w.name);
        ASSERT_TRUE(param);
        EXPECT_EQ(param->getType(), w.type);
        EXPECT_FALSE(w.wrongType(*param)); // refused, changing nothing
        EXPECT_TRUE(w.set(*param));
        EXPECT_EQ(drawn(w.technique), w.shown);
    }
    EXPECT_FALSE(effect->getParam("Nope"));
    // The special parameters: the target's size, then the render context.
    EXPECT_EQ(drawn(4), (std::vector<float>{8, 2, 4, 0}));
    effect->setRenderContext({0.25f, 50, 10, 500});
    EXPECT_EQ(drawn(5), (std::vector<float>{0.25f, 50, 10, 500}));
}

// A 2x1 input drawn over 8 pixels from u = -2 to 4 texels: the pixel centres
// fall at u = -1.625, -0.875, ... 3.625, three outside each side.
TEST_F(GLEffectTest, SamplesWithEachFilterAndEdgeMode) {
    using E = iShaderEffectBase;
    const Ptr<iShaderEffect> effect = compileEffect(dataPath("Sample.fx"));
    ASSERT_TRUE(effect);
    const float texels[2][4] = {{10, 200, 30, 255}, {250, 0, 120, 60}};
    const Ptr<iGPUImage> input = rgba8Image(2, 1, {10, 200, 30, 255, 250, 0, 120, 60});
    const Ptr<iGPUImage> target = m_gpu->createImage({8, 1}, iGPUImage::eRGBA32F);
    // What OpenGL prescribes for texel i of a width of 2; Border is transparent black.
    auto texel = [&](int i, E::eEdgeReadMode edge, int c) -> float {
        const int mirrored = (i % 4 + 4) % 4;
        if (edge == E::Border && (i < 0 || i > 1)) return 0;
        return texels[edge == E::Wrap     ? (i % 2 + 2) % 2
                      : edge == E::Mirror ? std::min(mirrored, 3 - mirrored)
                                          : std::clamp(i, 0, 1)][c];
    };
    for (const auto scaling : {E::Point, E::Linear}) {
        for (const auto edge : {E::Border, E::ClampToEdge, E::Mirror, E::Wrap}) {
            SCOPED_TRACE(testing::Message() << "scaling " << scaling << " edge " << edge);
            ASSERT_TRUE(effect->setSamplerState("Input", scaling, edge));
            ASSERT_TRUE(effect->draw(target, {binding("Input", input, -2, 4)}));
            const std::vector<float> out = readRGBA32F(target);
            for (int x = 0; x < 8; ++x) {
                const float u = -2 + (x + 0.5f) * 0.75f;
                const int i0 = int(std::floor(u - 0.5f));
                const float a = u - 0.5f - float(i0);
                for (int c = 0; c < 4; ++c) {
                    const float expected = scaling == E::Point ? texel(int(std::floor(u)), edge, c)
                                                               : texel(i0, edge, c) * (1 - a) + texel(i0 + 1, edge, c) * a;
                    // Point sampling is exact; the driver may quantise filtering weights.
                    EXPECT_NEAR(out[size_t(x * 4 + c)] * 255, expected, scaling == E::Point ? 1e-3 : 1.5)
                        << "pixel " << x << " component " << c;
                }
            }
        }
    }
    EXPECT_FALSE(effect->setSamplerState("NotAnInput", E::Point, E::Wrap));
}

// The driver's own message comes back, its line turned into the 0-based line
// of the generated text.
TEST_F(GLEffectTest, CompileErrorCarriesTheDriversMessageAndTheGeneratedLine) {
    const Ptr<ShaderEffectInfo> info = makePtr<ShaderEffectInfo>(
        TextFile::fromText("DeclareQuillframeEffect( \"Broken\", \"Test\", \"Test\", kNoNotes, kNoFlags )\n"
                           "DeclareInput( Input )\nDeclareEntryPoint( Broken )\n{\n"
                           "   float4 c = tex2D( Input, uv1 );\n   return c * notDeclaredAnywhere;\n}\n"));
    const ShaderCompilationOutput out = info->compile();
    EXPECT_FALSE(out.shader);
    const std::vector<LightweightString<char>>& generated = info->getProcessedSourceCode();
    size_t badLine = 0;
    while (badLine < generated.size() && generated[badLine].find("notDeclaredAnywhere") == std::string_view::npos) ++badLine;
    ASSERT_LT(badLine, generated.size());
    const auto named = std::find_if(out.errors.begin(), out.errors.end(), [](const ShaderError& e) {
        return e.message.find("notDeclaredAnywhere") != std::string_view::npos;
    });
    ASSERT_NE(named, out.errors.end()) << (out.errors.empty() ? "no errors" : out.errors[0].message.c_str());
    EXPECT_EQ(named->line, badLine) << named->message.c_str();

    EXPECT_EQ(m_gpu->compileEffectFile(L"/nonexistent/effect.glsl", {}).errors.size(), 1u);
}

// An expression deep enough to overflow an ordinary thread's stack inside the
// driver's compiler compiles (or fails) on the service's own large stack.
TEST_F(GLEffectTest, DeeplyNestedExpressionsDoNotOverflowTheCompilersStack) {
    std::string sum = "0.0";
    for (int i = 0; i < 20000; ++i) sum += "+1.0";
    std::vector<ShaderError> errors;
    const Ptr<iShaderEffect> effect = compileEffectText(
        "DeclareQuillframeEffect( Deep, T, T, kNoNotes, kNoFlags )\nDeclareEntryPoint( Sum )\n{\n   float s = " + sum +
            ";\n   return float4( s, s, s, 1.0 );\n}\n",
        &errors);
    EXPECT_TRUE(effect) << (errors.empty() ? "" : errors[0].message.c_str());
}

// Every effect shipped in resources/shaders (not starting with "_") compiles
// for real as GLSL and reads without errors as Cg text.
TEST_F(GLEffectTest, EveryShippedEffectCompilesAsGLSLAndReadsAsCg) {
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(QFFX_SHADERS_SOURCE_DIR))
        if (entry.path().extension() == ".fx" && !entry.path().filename().string().starts_with("_"))
            paths.push_back(entry.path());
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
