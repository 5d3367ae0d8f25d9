// The tool's drawing of shipped effects (tools/qffx/EffectDrawing) on the
// real GPU service, against CPU references computed here from each effect's
// maths (resources/shaders/Tint.fx, cc3.fx). Colour uniforms have no
// initialiser in GLSL: an effect drawn without its declared defaults written
// comes out black.
#include "EffectDrawing.h"
#include "ParameterValues.h"

#include "platform/GLTestSupport.h"

#include "host/base/Strings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace {

using Rgb = std::array<double, 3>;

double saturate(double v) { return std::clamp(v, 0.0, 1.0); }

// Tint: the picture blended towards the colour scaled by twice its Rec. 709 luma.
std::function<Rgb(Rgb)> tint(double amount, Rgb colour) {
    return [=](Rgb s) {
        const double y = 0.2126 * s[0] + 0.7152 * s[1] + 0.0722 * s[2];
        Rgb out;
        for (int c = 0; c < 3; ++c) out[c] = s[c] + (saturate(colour[c] * y * 2) - s[c]) * amount;
        return out;
    };
}

// cc3: out = pow(saturate(gain * (x + lift * (1 - x))), 1 / max(gamma, 0.01)) per channel.
std::function<Rgb(Rgb)> threeWay(Rgb lift, Rgb gamma, Rgb gain) {
    return [=](Rgb s) {
        Rgb out;
        for (int c = 0; c < 3; ++c)
            out[c] = std::pow(saturate(gain[c] * (s[c] + lift[c] * (1 - s[c]))), 1 / std::max(gamma[c], 0.01));
        return out;
    };
}

uint8_t* at(HostImage& image, int x, int y) { return image.row(y) + 4 * x; }

// An 8-bit picture of 16x16: red across, green down, blue and alpha in a
// pattern of both; the first texel mid grey.
Ptr<HostImage> picture() {
    const Ptr<HostImage> image = HostImage::create({16, 16}, iGPUImage::eRGBA8);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            const uint8_t texel[4] = {uint8_t(x * 17), uint8_t(y * 17), uint8_t((x * y * 7 + 40) % 256), uint8_t(255 - x * y)};
            std::copy(texel, texel + 4, at(*image, x, y));
        }
    std::fill(at(*image, 0, 0), at(*image, 0, 0) + 3, uint8_t(128));
    return image;
}

using EffectDrawingGPUTest = QfGLTest::GLTest;

} // namespace

TEST_F(EffectDrawingGPUTest, ShippedEffectsAtTheirDefaultsAndWithCallersValues) {
    struct Case {
        const char* effect;
        std::vector<std::pair<std::string, std::string>> set; // as --set NAME=VALUE
        std::function<Rgb(Rgb)> reference;
    };
    const Case cases[] = {
        {"Tint.fx", {}, tint(0.5, {0.9, 0.7, 0.4})},
        {"Tint.fx", {{"Amount", "1"}}, tint(1, {0.9, 0.7, 0.4})},
        {"Tint.fx", {{"Amount", "0.25"}, {"TintColour", "0.2,0.4,1,1"}}, tint(0.25, {0.2, 0.4, 1})},
        {"cc3.fx", {}, threeWay({0, 0, 0}, {1, 1, 1}, {1, 1, 1})},
        {"cc3.fx", {{"Gamma", "2,1,0.5,1"}}, threeWay({0, 0, 0}, {2, 1, 0.5}, {1, 1, 1})},
        {"cc3.fx", {{"Lift", "0.1,0,0.2,1"}, {"Gain", "0.9,1.2,1,1"}}, threeWay({0.1, 0, 0.2}, {1, 1, 1}, {0.9, 1.2, 1})},
    };
    const Ptr<HostImage> in = picture();
    for (const Case& c : cases) {
        std::string what = c.effect;
        for (const auto& [name, value] : c.set) what += " " + name + "=" + value;
        const Ptr<ShaderEffectInfo> effect = makePtr<ShaderEffectInfo>(fromUTF8(QfGLTest::shippedPath(c.effect).c_str()), 0);
        const ShaderCompilationOutput out = effect->compile();
        ASSERT_TRUE(out.shader) << what;
        EffectValues values(*effect);
        std::string error;
        for (const auto& [name, value] : c.set) {
            const Ptr<iShaderParam> param = out.shader->getParam(LightweightString<char>(name));
            ASSERT_TRUE(param) << what;
            ASSERT_TRUE(setParameterFromText(values.at(param->getName(), param->getType()), value, error)) << what << error;
        }
        const Ptr<HostImage> result = drawEffect(*effect, *out.shader, values, *m_gpu, *in, {}, error);
        ASSERT_TRUE(result) << what << ": " << error;

        int worst = 0;
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x) {
                const uint8_t* s = at(*in, x, y);
                const uint8_t* r = at(*result, x, y);
                const Rgb expected = c.reference({s[0] / 255.0, s[1] / 255.0, s[2] / 255.0});
                for (int k = 0; k < 3; ++k) worst = std::max(worst, std::abs(int(r[k]) - int(std::lround(expected[k] * 255))));
                EXPECT_EQ(r[3], s[3]) << what << " alpha at " << x << "," << y;
            }
        EXPECT_LE(worst, 1) << what << ": worst difference in 8-bit codes";
    }
    // The picture's mid grey under Tint at full amount is the tint colour itself (luma 0.5).
    const Ptr<ShaderEffectInfo> effect = makePtr<ShaderEffectInfo>(fromUTF8(QfGLTest::shippedPath("Tint.fx").c_str()), 0);
    const Ptr<iShaderEffect> shader = effect->compile().shader;
    ASSERT_TRUE(shader);
    EffectValues values(*effect);
    values.find(LightweightString<char>("Amount"))->setFloat(1);
    std::string error;
    const Ptr<HostImage> result = drawEffect(*effect, *shader, values, *m_gpu, *in, {}, error);
    ASSERT_TRUE(result) << error;
    EXPECT_EQ(std::vector<int>(at(*result, 0, 0), at(*result, 0, 0) + 3), (std::vector<int>{230, 179, 102}));
}
