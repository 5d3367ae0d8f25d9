// The coefficient setters and the framework's bindings, observed through the
// recording GPU service: which parameters each range, colourimetry and gamut
// combination writes, the documented spot values, and the neighbour inputs.
#include "image/ColourConversion.h"
#include "support/RecordingGPUService.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <sstream>

using Qf::Image::ColourConversion;
using namespace QfTest;

namespace {

std::vector<ParamInfo> params(std::initializer_list<std::pair<const char*, iShaderParam::eType>> list) {
    std::vector<ParamInfo> out;
    for (const auto& [name, type] : list) out.push_back({name, type, {}, {}});
    return out;
}

// The written floats as the tables give them: seven significant digits.
std::string sevenDigits(const std::string& numbers) {
    std::string out;
    std::istringstream in(numbers);
    for (std::string number; std::getline(in, number, ',');) {
        char text[32];
        std::snprintf(text, sizeof text, "%.7g", double(std::stof(number)));
        out += (out.empty() ? "" : ",") + std::string(text);
    }
    return out;
}

struct Recorded {
    std::shared_ptr<Journal> journal = std::make_shared<Journal>();
    RecordingEffect effect{params({{"coefsMul", iShaderParam::eFloat3x3},
                                   {"coefsAdd", iShaderParam::eFloat4},
                                   {"coefsMulY", iShaderParam::eFloat4},
                                   {"coefsAddY", iShaderParam::eFloat},
                                   {"ccCoefsAdd1", iShaderParam::eFloat4},
                                   {"ccCoefsMul2", iShaderParam::eFloat3x3},
                                   {"ccCoefsAdd3", iShaderParam::eFloat4}}),
                           journal};
    std::string value(const std::string& name) const {
        for (const std::string& c : journal->calls)
            if (c.starts_with("set " + name + " ")) return sevenDigits(c.substr(c.find(' ', 5 + name.size()) + 1));
        return "";
    }
    const std::vector<std::string>& calls() const { return journal->calls; }
};

std::unique_ptr<Recorded> forward(uint32_t srcRange, uint32_t dstRange, uint32_t colourimetry) {
    auto r = std::make_unique<Recorded>();
    ColourConversion::setForwardCoefficients(r->effect, srcRange, dstRange, colourimetry);
    return r;
}

std::unique_ptr<Recorded> inverse(uint32_t colourimetry, uint32_t range, int32_t gamutScaling) {
    auto r = std::make_unique<Recorded>();
    ColourConversion::setInverseCoefficients(r->effect, colourimetry, range, gamutScaling);
    return r;
}

TEST(ColourCoefficients, ForwardAndInverseWriteOnlyTheTabledCombinations) {
    for (uint32_t range = 0; range < 4; ++range)
        for (uint32_t c = 0; c < 10; ++c) {
            for (uint32_t dstRange = 0; dstRange < 4; ++dstRange) {
                const bool tabled = range == 1 && ((dstRange == 2 && c >= 1 && c <= 7) || (dstRange == 1 && (c == 1 || c == 2)));
                EXPECT_EQ(forward(range, dstRange, c)->calls().size(), tabled ? 4u : 0u) << range << " " << dstRange << " " << c;
            }
            for (int32_t gs = 0; gs < 3; ++gs) {
                const bool tabled = (range == 1 || range == 2) && c >= 1 && c <= 7 && (gs == 1 || c <= 2);
                EXPECT_EQ(inverse(c, range, gs)->calls().size(), tabled ? 3u : 0u) << c << " " << range << " " << gs;
            }
        }
}

TEST(ColourCoefficients, ForwardSpotValues) {
    const auto legal601 = forward(1, 2, 1);
    // White gives Y' = 0.2560352 + 0.502651 + 0.09761877 + 0.0625 = 235/256.
    EXPECT_EQ(legal601->value("coefsMulY"), "0.2560352,0.502651,0.09761877,0");
    EXPECT_EQ(legal601->value("coefsAddY"), "0.0625");
    EXPECT_EQ(legal601->value("coefsAdd"), "0.0625,0.5,0.5,0");
    const auto full601 = forward(1, 1, 1);
    EXPECT_EQ(full601->value("coefsAdd"), "0,0.5,0.5,0");
    EXPECT_EQ(full601->value("coefsMul"), "0.299,0.5,-0.1687359,0.587,-0.4186876,-0.3312641,0.114,-0.08131241,0.5");
    EXPECT_EQ(forward(1, 1, 2)->calls(), forward(1, 2, 2)->calls()); // full-range BT.709 gets the legal row
    EXPECT_EQ(forward(1, 2, 3)->calls(), forward(1, 2, 5)->calls()); // BT.2100 HLG has BT.2020's weights
}

TEST(ColourCoefficients, InverseKeepsTheUnevenAlphaTerms) {
    const auto row = [](uint32_t c, uint32_t range, int32_t gs) {
        const auto r = inverse(c, range, gs);
        return r->value("ccCoefsAdd1") + " | " + r->value("ccCoefsAdd3");
    };
    EXPECT_EQ(row(1, 2, 1), "-0.06256109,-0.5004888,-0.5004888,0.0625 | 0,0,0,0");
    EXPECT_EQ(row(1, 2, 0), "-0.06256109,-0.5004888,-0.5004888,0.0625 | 0.0625,0.0625,0.0625,0.0625");
    EXPECT_EQ(row(2, 2, 1), "-0.06256109,-0.5004888,-0.5004888,0.0625 | 0,0,0,0");
    EXPECT_EQ(row(2, 2, 0), "-0.06256109,-0.5004888,-0.5004888,0 | 0.0625,0.0625,0.0625,0");
    EXPECT_EQ(row(3, 2, 1), "-0.06256109,-0.5004888,-0.5004888,0 | 0,0,0,0");
    EXPECT_EQ(row(2, 1, 0), "0,-0.5004888,-0.5004888,0 | 0.0625,0.0625,0.0625,0");
}

TEST(ColourCoefficients, FullRangeOverrideIsProcessWide) {
    EXPECT_FALSE(ColourConversion::getFullRangeOverride());
    ColourConversion::setFullRangeOverride(true);
    EXPECT_TRUE(ColourConversion::getFullRangeOverride());
    ColourConversion::setFullRangeOverride(false);
}

TEST(ColourConversionFramework, NeighbourInputsAreOnePixelApartInPackedTexels) {
    RecordingGPUService gpu;
    const auto journal = std::make_shared<Journal>();
    Ptr<iShaderEffect> effect(new RecordingEffect(params({{"_Width", iShaderParam::eFloat}}), journal));
    Surface src(1920, 4, Format::eUYVY, 8); // 16 bits a pixel in 32-bit texels: k = 2
    src.createGPUSurface(gpu);
    src.setVideoData({.colourimetry = Data::Video::eBT601});
    Surface dst(1920, 4, Format::eRGBA, 8);
    dst.createGPUSurface(gpu);
    ASSERT_TRUE(ColourConversion::applyShader(effect, src, dst, 123.0f));
    ASSERT_EQ(journal->draws.size(), 1u);
    const auto& in = journal->draws[0].inputs;
    ASSERT_EQ(in.size(), 3u);
    // The left and right edges' u, and the bottom's v, of the input and its two neighbours.
    const std::array<float, 3> want[3] = {{0, 960, 1}, {-0.5f, 959.5f, 1}, {0.5f, 960.5f, 1}};
    for (size_t i = 0; i < 3; ++i)
        EXPECT_EQ((std::array{in[i].corners[0].u, in[i].corners[3].u, in[i].corners[3].v}), want[i]) << i;
    EXPECT_EQ(journal->calls[0], "set _Width float 1920");
    EXPECT_EQ(dst.getColourimetry(), 1u);

    Ptr<iShaderEffect> none;
    EXPECT_FALSE(ColourConversion::applyShader(none, src, dst));
    EXPECT_FALSE(ColourConversion::applyShader(effect, Surface(8, 8, Format::eRGBA, 8), dst)); // no GPU image
}

} // namespace
