// The coefficient setters, observed through the recording GPU service. Every
// row of the tables is derived here from the luma weights Kr and Kb of its
// colourimetry and from the code ranges; the tables' known oddities are
// listed as the exceptions to that derivation. Also the framework's neighbour
// inputs.
#include "image/ColourConversion.h"
#include "image/ColourReference.h"
#include "support/RecordingGPUService.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

using Qf::Image::ColourConversion;
using namespace QfTest;
using V = Data::Video;

namespace {

std::vector<ParamInfo> params(std::initializer_list<std::pair<const char*, iShaderParam::eType>> list) {
    std::vector<ParamInfo> out;
    for (const auto& [name, type] : list) out.push_back({name, type, {}, {}});
    return out;
}

// What a setter wrote: each parameter's values, in the order the effect takes them.
using Written = std::map<std::string, std::vector<double>>;

Written record(const std::function<void(iShaderEffect&)>& setter) {
    auto journal = std::make_shared<Journal>();
    RecordingEffect effect(params({{"coefsMul", iShaderParam::eFloat3x3},
                                   {"coefsAdd", iShaderParam::eFloat4},
                                   {"coefsMulY", iShaderParam::eFloat4},
                                   {"coefsAddY", iShaderParam::eFloat},
                                   {"ccCoefsAdd1", iShaderParam::eFloat4},
                                   {"ccCoefsMul2", iShaderParam::eFloat3x3},
                                   {"ccCoefsAdd3", iShaderParam::eFloat4}}),
                           journal);
    setter(effect);
    Written out;
    for (const std::string& call : journal->calls) { // "set NAME TYPE v,v,..."
        std::istringstream in(call);
        std::string set, name, type, number;
        in >> set >> name >> type;
        EXPECT_FALSE(out.contains(name)) << name << " written twice";
        for (std::vector<double>& values = out[name]; std::getline(in >> std::ws, number, ',');)
            values.push_back(std::stod(number));
    }
    return out;
}

Written forward(uint32_t srcRange, uint32_t dstRange, uint32_t colourimetry) {
    return record([&](iShaderEffect& e) { ColourConversion::setForwardCoefficients(e, srcRange, dstRange, colourimetry); });
}
Written inverse(uint32_t colourimetry, uint32_t range, int32_t gamutScaling) {
    return record([&](iShaderEffect& e) { ColourConversion::setInverseCoefficients(e, colourimetry, range, gamutScaling); });
}

// --- the derivation ---

// The levels: legal luma spans 876/1023 and legal chroma 29/33 of the code
// range (ColourReference's scales, which the GPU tests use too). Offsets
// added on the way to Y'CrCb are 8-bit fractions (16/256, 128/256); those
// taken off on the way back are 10-bit codes (64/1023, 512/1023). RGB kept at
// legal levels is scaled by the luma span and lifted by 1/16.
constexpr double kToLuma = 16.0 / 256, kToChroma = 128.0 / 256;
constexpr double kFromLuma = 64.0 / 1023, kFromChroma = 512.0 / 1023;
constexpr double kLegalRGBLift = 1.0 / 16;

bool named(uint32_t c) { return c >= V::eBT601 && c <= V::eP3D65; }

// Chroma is Cr = (R - Y') / Nr, Cb = (B - Y') / Nb with Nr = 2 (1 - Kr),
// Nb = 2 (1 - Kb). Oddity: the P3 rows take BT.709's Nr and Nb, in both
// directions, with their own weights everywhere else.
std::pair<double, double> normalisers(uint32_t c) {
    const ColourReference::Weights w = ColourReference::weightsOf(c == V::eDCIP3 || c == V::eP3D65 ? uint32_t(V::eBT709) : c);
    return {2 * (1 - w.kr), 2 * (1 - w.kb)};
}

// Full-range RGB to Y'CrCb: the matrix's rows are R, G, B, its columns Y', Cr, Cb.
Written derivedForward(uint32_t c, bool legal) {
    const auto [kr, kb] = ColourReference::weightsOf(c);
    const double kg = 1 - kr - kb, y = legal ? ColourReference::kLumaScale : 1;
    const auto [nr, nb] = normalisers(c);
    const double cr = (legal ? ColourReference::kChromaScale : 1) / nr, cb = (legal ? ColourReference::kChromaScale : 1) / nb;
    const double lift = legal ? kToLuma : 0;
    return {{"coefsMul", {y * kr, cr * (1 - kr), -cb * kr, y * kg, -cr * kg, -cb * kg, y * kb, -cr * kb, cb * (1 - kb)}},
            {"coefsAdd", {lift, kToChroma, kToChroma, 0}},
            {"coefsMulY", {y * kr, y * kg, y * kb, 0}},
            {"coefsAddY", {lift}}};
}

// Y'CrCb to RGB: rows Y', Cr, Cb, columns R, G, B; `expand` takes legal levels to full range.
Written derivedInverse(uint32_t c, bool legal, bool expand) {
    const auto [kr, kb] = ColourReference::weightsOf(c);
    const double kg = 1 - kr - kb, out = expand ? 1 : ColourReference::kLumaScale;
    const double y = out / (legal ? ColourReference::kLumaScale : 1), s = out / (legal ? ColourReference::kChromaScale : 1);
    const auto [nr, nb] = normalisers(c);
    const double lift = expand ? 0 : kLegalRGBLift;
    return {{"ccCoefsAdd1", {legal ? -kFromLuma : 0, -kFromChroma, -kFromChroma, 0}},
            {"ccCoefsMul2", {y, y, y, s * nr, -s * nr * kr / kg, 0, 0, -s * nb * kb / kg, s * nb}},
            {"ccCoefsAdd3", {lift, lift, lift, 0}}};
}

// What the forward setter should write, or nothing.
std::optional<Written> expectedForward(uint32_t srcRange, uint32_t dstRange, uint32_t c) {
    if (srcRange != V::eFullRange || !named(c)) return std::nullopt; // only full-range RGB has tables
    if (dstRange == V::eLegalRange) return derivedForward(c, true);
    if (dstRange != V::eFullRange) return std::nullopt;
    // Oddities: BT.601 is the one full-range destination with a row of its
    // own; BT.709 gets its legal-range row; the others get nothing.
    if (c == V::eBT601) return derivedForward(c, false);
    if (c == V::eBT709) return derivedForward(c, true);
    return std::nullopt;
}

// What the inverse setter should write, or nothing.
std::optional<Written> expectedInverse(uint32_t c, uint32_t range, int32_t gamutScaling) {
    const bool legal = range == V::eLegalRange, expand = gamutScaling == ColourConversion::eGamutFull;
    if (!named(c) || (!legal && range != V::eFullRange)) return std::nullopt;
    // Oddity: only BT.601 and BT.709 have rows that keep legal levels.
    if (!expand && c != V::eBT601 && c != V::eBT709) return std::nullopt;
    Written w = derivedInverse(c, legal, expand);
    // Oddity: from full range to legal levels Y' keeps its scale (ones), though it is lifted by 1/16.
    if (!legal && !expand) std::fill_n(w["ccCoefsMul2"].begin(), 3, 1.0);
    // Oddities, the uneven alpha terms: legal BT.601 adds 1/16 to alpha
    // before the matrix, and once more after it when it keeps legal levels;
    // legal BT.709 adds it before the matrix when it expands.
    if (legal && (c == V::eBT601 || (c == V::eBT709 && expand))) w["ccCoefsAdd1"][3] = kLegalRGBLift;
    if (legal && c == V::eBT601 && !expand) w["ccCoefsAdd3"][3] = kLegalRGBLift;
    return w;
}

// The tables hold seven significant digits: offsets and weights match the
// derivation to that. A matrix may differ more (its chroma factors were
// rounded along the way), but no output may move by half a 10-bit code for
// any input: |Y'|, |R|, |G|, |B| up to 1 and |Cr|, |Cb| up to 1/2.
void expectDerived(const Written& got, const std::optional<Written>& want, const std::string& what) {
    SCOPED_TRACE(what);
    if (!want) {
        EXPECT_TRUE(got.empty());
        return;
    }
    ASSERT_EQ(got.size(), want->size());
    for (const auto& [name, values] : *want) {
        ASSERT_TRUE(got.contains(name)) << name;
        const std::vector<double>& g = got.at(name);
        ASSERT_EQ(g.size(), values.size()) << name;
        if (values.size() != 9) {
            for (size_t i = 0; i < values.size(); ++i) EXPECT_NEAR(g[i], values[i], 2e-7) << name << "[" << i << "]";
            continue;
        }
        const std::array<double, 3> input = name == "ccCoefsMul2" ? std::array{1.0, 0.5, 0.5} : std::array{1.0, 1.0, 1.0};
        for (size_t column = 0; column < 3; ++column) {
            double moved = 0;
            for (size_t row = 0; row < 3; ++row) moved += std::abs(g[3 * row + column] - values[3 * row + column]) * input[row];
            EXPECT_LT(moved * 1023, 0.5) << name << " column " << column;
        }
    }
}

TEST(ColourCoefficients, ForwardRowsFollowFromTheWeightsAndTheRanges) {
    for (uint32_t srcRange = 0; srcRange < 4; ++srcRange)
        for (uint32_t dstRange = 0; dstRange < 4; ++dstRange)
            for (uint32_t c = 0; c < 10; ++c)
                expectDerived(forward(srcRange, dstRange, c), expectedForward(srcRange, dstRange, c),
                              "forward from range " + std::to_string(srcRange) + " to range " + std::to_string(dstRange) +
                                  ", colourimetry " + std::to_string(c));
}

TEST(ColourCoefficients, InverseRowsFollowFromTheWeightsAndTheRanges) {
    for (uint32_t range = 0; range < 4; ++range)
        for (uint32_t c = 0; c < 10; ++c)
            for (int32_t gamut : std::initializer_list<int32_t>{ColourConversion::eGamutLegal, ColourConversion::eGamutFull, 2})
                expectDerived(inverse(c, range, gamut), expectedInverse(c, range, gamut),
                              "inverse from range " + std::to_string(range) + ", colourimetry " + std::to_string(c) +
                                  ", gamut scaling " + std::to_string(gamut));
}

TEST(ColourCoefficients, BT2100SharesTheBT2020Rows) {
    for (uint32_t c : {V::eBT2100HLG, V::eBT2100PQ}) {
        EXPECT_EQ(forward(V::eFullRange, V::eLegalRange, c), forward(V::eFullRange, V::eLegalRange, V::eBT2020));
        for (uint32_t range : {V::eFullRange, V::eLegalRange})
            EXPECT_EQ(inverse(c, range, ColourConversion::eGamutFull), inverse(V::eBT2020, range, ColourConversion::eGamutFull));
    }
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
    src.setVideoData({.colourimetry = V::eBT601});
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
    EXPECT_EQ(dst.getColourimetry(), V::eBT601);

    Ptr<iShaderEffect> none;
    EXPECT_FALSE(ColourConversion::applyShader(none, src, dst));
    EXPECT_FALSE(ColourConversion::applyShader(effect, Surface(8, 8, Format::eRGBA, 8), dst)); // no GPU image
}

} // namespace
