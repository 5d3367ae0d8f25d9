// The coefficient setters of Qf::Image::ColourConversion: the matrices and
// offsets that turn full-range RGB into Y'CrCb and back, by range,
// colourimetry and gamut scaling.
//
// Values are normalised to 10-bit code values: 64/1023 = 0.06256109,
// 512/1023 = 0.5004888, 1023/876 = 1.167808, 1/16 = 0.0625. Matrices are nine
// floats, rows in order, and the effects compute mul(rowVector, M): for the
// forward matrix the rows are R, G, B and the columns Y', Cr, Cb; for the
// inverse matrix the rows are Y', Cr, Cb and the columns R, G, B.
//
// Each row follows from its colourimetry's luma weights Kr, Kb and the code
// ranges (tests/image/ColourCoefficientsTest.cpp derives every one). The
// tables are the editor's and are kept exactly as they are, including their
// oddities: a full-range BT.709 destination gets the legal-range row; the P3
// rows scale chroma by BT.709's 2 (1 - Kr) and 2 (1 - Kb); only BT.601 and
// BT.709 have rows that keep legal levels, and from a full-range source those
// leave Y' unscaled; the alpha terms of the inverse offsets are uneven (legal
// BT.601 adds 1/16 to alpha once or twice, legal BT.709 with full gamut
// scaling once). A combination missing from the tables sets nothing at all.
#include "image/ColourConversion.h"
#include "image/GPUPass.h"

#include <atomic>
#include <initializer_list>
#include <span>

namespace Qf::Image {

namespace {

using V = Data::Video;

// --- RGB to Y'CrCb ---

// The first column of a forward matrix (the weights of Y') is also written
// on its own, as "coefsMulY".
void writeForward(iShaderEffect& effect, const Matrix3x3& mul, const Float4& add, float addY) {
    writeParam(effect, "coefsMul", mul);
    writeParam(effect, "coefsAdd", add);
    writeParam(effect, "coefsMulY", Float4{mul[0], mul[3], mul[6], 0});
    writeParam(effect, "coefsAddY", addY);
}

// Legal-range destinations, by colourimetry (BT.2100 HLG and PQ share the BT.2020 row).
struct Forward {
    std::initializer_list<uint32_t> colourimetries;
    Matrix3x3 mul;
};
const Forward kLegalForward[] = {
    {{V::eBT601},
     {0.2560352f, 0.4393939f, -0.148283f, 0.502651f, -0.3679376f, -0.2911109f, 0.09761877f, -0.07145636f, 0.4393939f}},
    {{V::eBT709},
     {0.1820504f, 0.439393f, -0.1007015f, 0.6124293f, -0.3991033f, -0.3387664f, 0.06182522f, -0.04028979f, 0.4394679f}},
    {{V::eBT2020, V::eBT2100HLG, V::eBT2100PQ},
     {0.2249513f, 0.4393615f, -0.1227008f, 0.5805748f, -0.4040243f, -0.3166774f, 0.05077889f, -0.03533723f, 0.4393781f}},
    {{V::eDCIP3},
     {0.1793959f, 0.4411229f, -0.09923316f, 0.6179097f, -0.4026746f, -0.3417979f, 0.05899941f, -0.03844829f, 0.441031f}},
    {{V::eP3D65},
     {0.1960938f, 0.4302413f, -0.1084697f, 0.5923061f, -0.3859895f, -0.3276352f, 0.06790499f, -0.0442518f, 0.4361049f}},
};
const Float4 kForwardLegalAdd = {0.0625f, 0.5f, 0.5f, 0};
constexpr float kForwardLegalAddY = 0.0625f;

// The one full-range destination with a table of its own: BT.601.
const Matrix3x3 kForwardFullBT601 = {0.299f, 0.5f, -0.1687359f, 0.587f, -0.4186876f, -0.3312641f, 0.114f, -0.08131241f, 0.5f};
const Float4 kForwardFullAdd = {0, 0.5f, 0.5f, 0};

const Forward* legalForward(uint32_t colourimetry) {
    for (const Forward& row : kLegalForward)
        for (uint32_t c : row.colourimetries)
            if (c == colourimetry) return &row;
    return nullptr;
}

// --- Y'CrCb to RGB ---

enum GS { eGSFull, eGSOther }; // gamut scaling 1, or any other value

struct Inverse {
    std::span<const uint32_t> colourimetries;
    GS gs;
    Float4 add1;
    Matrix3x3 mul2;
    Float4 add3;
};

constexpr float kC = 0.5004888f;  // 512/1023
constexpr float kY = 0.06256109f; // 64/1023
constexpr float kS = 1.167808f;   // 1023/876
constexpr float kE = 0.0625f;     // 1/16

// The colourimetries a row serves; BT.2100 HLG and PQ have BT.2020's weights.
constexpr uint32_t kBT601[] = {V::eBT601}, kBT709[] = {V::eBT709}, kDCIP3[] = {V::eDCIP3}, kP3D65[] = {V::eP3D65};
constexpr uint32_t kBT2020[] = {V::eBT2020, V::eBT2100HLG, V::eBT2100PQ};

// Full-range sources.
const Inverse kInverseFull[] = {
    {kBT601, eGSFull, {0, -kC, -kC, 0}, {1, 1, 1, 1.402f, -0.7141362f, 0, 0, -0.3441363f, 1.772f}, {0, 0, 0, 0}},
    {kBT601, eGSOther, {0, -kC, -kC, 0}, {1, 1, 1, 1.20054f, -0.6115184f, 0, 0, -0.2946856f, 1.517372f}, {kE, kE, kE, 0}},
    {kBT709, eGSFull, {0, -kC, -kC, 0}, {1, 1, 1, 1.574803f, -0.4681252f, 0, 0, -0.1872927f, 1.855288f}, {0, 0, 0, 0}},
    {kBT709, eGSOther, {0, -kC, -kC, 0}, {1, 1, 1, 1.348512f, -0.400858f, 0, 0, -0.1603797f, 1.588692f}, {kE, kE, kE, 0}},
    {kBT2020, eGSFull, {0, -kC, -kC, 0}, {1, 1, 1, 1.474709f, -0.5713953f, 0, 0, -0.1645591f, 1.881468f}, {0, 0, 0, 0}},
    {kDCIP3, eGSFull, {0, -kC, -kC, 0}, {1, 1, 1, 1.574803f, -0.457208f, 0, 0, -0.1771471f, 1.855288f}, {0, 0, 0, 0}},
    {kP3D65, eGSFull, {0, -kC, -kC, 0}, {1, 1, 1, 1.574803f, -0.5213675f, 0, 0, -0.2126996f, 1.855288f}, {0, 0, 0, 0}},
};

// Legal-range sources.
const Inverse kInverseLegal[] = {
    {kBT601, eGSFull, {-kY, -kC, -kC, kE}, {kS, kS, kS, 1.595379f, -0.8126377f, 0, 0, -0.3916033f, 2.016414f}, {0, 0, 0, 0}},
    {kBT601, eGSOther, {-kY, -kC, -kC, kE}, {1, 1, 1, 1.366131f, -0.6958658f, 0, 0, -0.3353319f, 1.726665f}, {kE, kE, kE, kE}},
    {kBT709, eGSFull, {-kY, -kC, -kC, kE}, {kS, kS, kS, 1.792017f, -0.5326942f, 0, 0, -0.2131262f, 2.111189f}, {0, 0, 0, 0}},
    {kBT709, eGSOther, {-kY, -kC, -kC, 0}, {1, 1, 1, 1.534513f, -0.4561487f, 0, 0, -0.182501f, 1.807822f}, {kE, kE, kE, 0}},
    {kBT2020, eGSFull, {-kY, -kC, -kC, 0}, {kS, kS, kS, 1.678117f, -0.6502084f, 0, 0, -0.1872569f, 2.14098f}, {0, 0, 0, 0}},
    {kDCIP3, eGSFull, {-kY, -kC, -kC, 0}, {kS, kS, kS, 1.792017f, -0.5202711f, 0, 0, -0.2015811f, 2.111189f}, {0, 0, 0, 0}},
    {kP3D65, eGSFull, {-kY, -kC, -kC, 0}, {kS, kS, kS, 1.792017f, -0.5932803f, 0, 0, -0.2420375f, 2.111189f}, {0, 0, 0, 0}},
};

std::atomic<bool> g_fullRangeOverride{false};

} // namespace

void ColourConversion::setForwardCoefficients(iShaderEffect& effect, uint32_t srcRange, uint32_t dstRange,
                                              uint32_t dstColourimetry) {
    if (srcRange != V::eFullRange) return; // only full-range RGB has a table
    if (dstRange == V::eLegalRange) {
        if (const Forward* f = legalForward(dstColourimetry)) writeForward(effect, f->mul, kForwardLegalAdd, kForwardLegalAddY);
    } else if (dstRange == V::eFullRange) {
        if (dstColourimetry == V::eBT601) writeForward(effect, kForwardFullBT601, kForwardFullAdd, 0);
        // BT.709 keeps the legal-range row here, as the editor always has.
        else if (dstColourimetry == V::eBT709)
            writeForward(effect, legalForward(V::eBT709)->mul, kForwardLegalAdd, kForwardLegalAddY);
    }
}

void ColourConversion::setInverseCoefficients(iShaderEffect& effect, uint32_t srcColourimetry, uint32_t srcRange,
                                              int32_t gamutScaling) {
    const GS gs = gamutScaling == eGamutFull ? eGSFull : eGSOther;
    std::span<const Inverse> rows;
    if (srcRange == V::eFullRange) rows = kInverseFull;
    if (srcRange == V::eLegalRange) rows = kInverseLegal;
    for (const Inverse& row : rows) {
        if (row.gs != gs) continue;
        for (uint32_t c : row.colourimetries)
            if (c == srcColourimetry) {
                writeParam(effect, "ccCoefsAdd1", row.add1);
                writeParam(effect, "ccCoefsMul2", row.mul2);
                writeParam(effect, "ccCoefsAdd3", row.add3);
                return;
            }
    }
}

void ColourConversion::setFullRangeOverride(bool on) { g_fullRangeOverride.store(on, std::memory_order_relaxed); }
bool ColourConversion::getFullRangeOverride() { return g_fullRangeOverride.load(std::memory_order_relaxed); }

} // namespace Qf::Image
