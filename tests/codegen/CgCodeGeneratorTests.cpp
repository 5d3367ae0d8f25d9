#include "codegen/CgCodeGenerator.h"
#include "host/Paths.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <variant>

using Text = LightweightString<char>;
using Lines = Shader::Lines;

namespace {

const char* const kCoordinates =
    "(float2 uv0 : TEXCOORD0,float2 uv1 : TEXCOORD1,float2 uv2 : TEXCOORD2,float2 uv3 : TEXCOORD3,float2 uv4 : TEXCOORD4,"
    "float2 uv5 : TEXCOORD5,float2 uv6 : TEXCOORD6,float2 uv7 : TEXCOORD7,float2 uv8 : TEXCOORD8): COLOR";

using Properties = std::initializer_list<std::pair<const char*, configb::Value>>;

// A parameter whose properties are stored through the store's own setters,
// as the declaration handlers store them.
Shader::Parameter param(iShaderParam::eType type, const char* id, const wchar_t* name, Properties properties = {},
                        const wchar_t* group = L"") {
    Shader::Parameter p(type, id, name, group);
    for (const auto& [key, value] : properties)
        std::visit([&, key = key](const auto& v) {
            if constexpr (std::is_same_v<std::decay_t<decltype(v)>, int64_t>) p.properties.setInt(key, v);
            else p.properties.set(key, v);
        }, value);
    return p;
}

Shader::Function pass(const char* name) { return Shader::Function(name, Text(name) + "_pass", "_" + Text(name)); }

class CgCodeGeneratorTest : public ::testing::Test {
protected:
    void SetUp() override { setShadersDir(L"/fx/"); }
    void TearDown() override { setShadersDir(L""); }

    CgCodeGenerator plain;
    CgCodeGenerator annotated{CgCodeGenerator::eTargetAnnotated};
};

} // namespace

TEST_F(CgCodeGeneratorTest, HeaderIsAnIncludeLineAndInTheAnnotatedFormTheEffectInfo) {
    Shader::Header header{"Tint", "Colour", "Sub", "Notes", 0};
    EXPECT_EQ(plain.generate(header), (Lines{"#include \"/fx/_utils.fx\""}));
    EXPECT_EQ(annotated.generate(header),
              (Lines{"#include \"/fx/_utils.fx\"", "", "int _QfrmEffectInfo", "<", "   string EffectGroup = \"GenericPixelShader\"; ",
                     "   string Description = \"Tint\"; ", "   string Category = \"Colour\"; ", "> = 0;"}));

    header.caps = RotationAware | HasMaxOutputSize | HasMinOutputSize | ScaleAware;
    const Lines all = annotated.generate(header);
    ASSERT_EQ(all.size(), 12u);
    EXPECT_EQ(Lines(all.begin() + 7, all.end()), (Lines{"   bool ScaleAware = true;", "   bool HasMinOutputSize = true;",
                                                        "   bool HasMaxOutputSize = true;", "   bool RotationAware = true;", "> = 0;"}));

    header.caps = 9; // "CanSize"
    const Lines canSize = annotated.generate(header);
    ASSERT_EQ(canSize.size(), 10u);
    EXPECT_EQ(canSize[7], "   bool ScaleAware = true;");
    EXPECT_EQ(canSize[8], "   bool RotationAware = true;");

    setShadersDir(L"/other dir");
    EXPECT_EQ(plain.generate(header), (Lines{"#include \"/other dir/_utils.fx\""}));
}

TEST_F(CgCodeGeneratorTest, InputsPlainAndAnnotated) {
    Shader::Input input{"_Input", "Input"};
    EXPECT_EQ(plain.generate(input), (Lines{
        "texture _Input; sampler Input = sampler_state { Texture = <_Input>; AddressU=ClampToEdge; AddressV=ClampToEdge; "
        "MinFilter=Linear; MagFilter=Linear; };"}));
    EXPECT_EQ(annotated.generate(input),
              (Lines{"texture Input;", "sampler InputSampler = sampler_state", "{", "   Texture = <Input>;", "   AddressU = ClampToEdge;",
                     "   AddressV = ClampToEdge;", "   MinFilter = Linear;", "   MagFilter = Linear;", "};", "#define Input InputSampler"}));

    // A LUT volume: 3D only in the plain form; a mask is written like any input.
    Shader::Input lut{"_Lut", "Lut", iShaderEffectBase::Point, iShaderEffectBase::Wrap, Shader::Input::e3D, true};
    EXPECT_EQ(plain.generate(lut), (Lines{
        "texture _Lut; sampler3D Lut = sampler_state { Texture = <_Lut>; AddressU=Wrap; AddressV=Wrap; "
        "MinFilter=Point; MagFilter=Point; };"}));
    const Lines lutAnnotated = annotated.generate(lut);
    ASSERT_EQ(lutAnnotated.size(), 10u);
    EXPECT_EQ(lutAnnotated[1], "sampler LutSampler = sampler_state");
    EXPECT_EQ(lutAnnotated[4], "   AddressU = Wrap;");
}

TEST_F(CgCodeGeneratorTest, ParametersPlain) {
    using enum iShaderParam::eType;
    EXPECT_EQ(plain.generate(param(eFloat, "Amount", L"Amount", {{"default", 0.5}, {"min", -1.0}, {"animated", int64_t(1)}})),
              (Lines{"", "float Amount = 0.5;"}));
    EXPECT_EQ(plain.generate(param(eFloat, "Zero", L"Zero")), (Lines{"", "float Zero = 0;"}));
    EXPECT_EQ(plain.generate(param(eFloat, "Fine", L"Fine", {{"default", 0.123456}})), (Lines{"", "float Fine = 0.12346;"}));
    EXPECT_EQ(plain.generate(param(eInt, "Mode", L"Mode", {{"default", int64_t(-2)}, {"choices", Text("A,B")}})),
              (Lines{"", "int Mode = -2;"}));
    EXPECT_EQ(plain.generate(param(eBool, "Invert", L"Invert")), (Lines{"", "bool Invert = false;"}));
    EXPECT_EQ(plain.generate(param(eBool, "Invert", L"Invert", {{"default", true}})), (Lines{"", "bool Invert = true;"}));
    EXPECT_EQ(plain.generate(param(eFloat4, "Colour", L"Colour")), (Lines{"", "float4 Colour = { 0,0,0,1 };"}));
    EXPECT_EQ(plain.generate(param(eFloat4, "Tint", L"Tint", {{"c1", 0.5}, {"c2", 0.25}, {"c3", 1.0}, {"alpha", 0.75}})),
              (Lines{"", "float4 Tint = { 0.5,0.25,1,0.75 };"}));
    EXPECT_EQ(plain.generate(param(eFloat3x3, "Matrix", L"Matrix", {{"default", 1.0}})), (Lines{"", "float3x3 Matrix;"}));
    EXPECT_EQ(plain.generate(param(eFloat3, "Offset", L"Offset")), (Lines{"", "float3 Offset;"}));
    EXPECT_EQ(plain.generate(param(eUnused, "Odd", L"Odd")), (Lines{"", " Odd;"}));
}

TEST_F(CgCodeGeneratorTest, FloatParameterAnnotations) {
    const auto amount = param(iShaderParam::eFloat, "Amount", L"Amount",
                              {{"default", 0.5}, {"min", 0.0}, {"max", 1.0}, {"animated", int64_t(1)}});
    EXPECT_EQ(annotated.generate(amount),
              (Lines{"", "float Amount", "<", "   string Description = \"Amount\"; ", "   float MinVal = 0;", "   float MaxVal = 1;",
                     "   float KF0 = 0;", "   float KF1 = 1;", "> = 0.5;", ""}));

    // Group and flags when present; no key frames unless animated; range defaults 0..1.
    const auto gain = param(iShaderParam::eFloat, "Gain", L"Gain, in \u00B0",
                            {{"flags", Text("Hidden")}, {"group", Text("ignored")}, {"max", 2.5}, {"animated", int64_t(0)}}, L"Levels");
    EXPECT_EQ(annotated.generate(gain),
              (Lines{"", "float Gain", "<", "   string Description = \"Gain, in \xC2\xB0\"; ", "   string Group = \"Levels\"; ",
                     "   string Flags = \"Hidden\"; ", "   float MinVal = 0;", "   float MaxVal = 2.5;", "> = 0;", ""}));

    // Plain output never carries annotations, whatever the settings.
    EXPECT_TRUE(plain.makeAnnotations(gain).empty());
    EXPECT_EQ(plain.generate(gain), (Lines{"", "float Gain = 0;"}));

    // Display names beginning with "_" get no block; an empty one still does.
    EXPECT_EQ(annotated.generate(param(iShaderParam::eFloat, "_x", L"_hidden", {{"default", 0.5}})), (Lines{"", "float _x = 0.5;", ""}));
    EXPECT_EQ(annotated.makeAnnotations(param(iShaderParam::eBool, "b", L"")), (Lines{"<", "   string Description = \"\"; ", ">"}));
}

TEST_F(CgCodeGeneratorTest, AnnotationsOfOtherTypes) {
    using enum iShaderParam::eType;
    EXPECT_EQ(annotated.generate(param(eInt, "Mode", L"Mode")),
              (Lines{"", "int Mode", "<", "   string Description = \"Mode\"; ", "   string Enum = \"\"; ", "> = 0;", ""}));
    const Lines mode = annotated.generate(param(eInt, "Mode", L"Mode", {{"choices", Text("Fast,Best")}, {"default", int64_t(1)}}));
    ASSERT_EQ(mode.size(), 7u);
    EXPECT_EQ(mode[4], "   string Enum = \"Fast,Best\"; ");
    EXPECT_EQ(mode[5], "> = 1;");

    EXPECT_EQ(annotated.generate(param(eFloat4, "Colour", L"Colour", {{"c1", 1.0}})),
              (Lines{"", "float4 Colour", "<", "   string Description = \"Colour\"; ", "   bool SupportsAlpha = false;",
                     "> = { 1,0,0,1 };", ""}));
    const Lines withAlpha = annotated.generate(param(eFloat4, "Colour", L"Colour", {{"c1", 1.0}, {"alpha", 0.0}}));
    ASSERT_EQ(withAlpha.size(), 7u);
    EXPECT_EQ(withAlpha[4], "   bool SupportsAlpha = true;");
    EXPECT_EQ(withAlpha[5], "> = { 1,0,0,0 };");

    EXPECT_EQ(annotated.generate(param(eBool, "Invert", L"Invert", {{"default", true}})),
              (Lines{"", "bool Invert", "<", "   string Description = \"Invert\"; ", "> = true;", ""}));
    EXPECT_EQ(annotated.generate(param(eFloat3x3, "M", L"M")), (Lines{"", "float3x3 M", "<", "   string Description = \"M\"; ", ">;", ""}));
}

TEST_F(CgCodeGeneratorTest, FunctionSignatures) {
    const Shader::Function a = pass("A");
    EXPECT_EQ(plain.generate(a, false), (Lines{Text("float4 A") + kCoordinates}));
    EXPECT_EQ(plain.generate(a, true), (Lines{
        "texture _A : RenderColorTarget; sampler A = sampler_state { Texture = <_A>; AddressU=ClampToEdge; AddressV=ClampToEdge; "
        "MinFilter=Linear; MagFilter=Linear; };float4 A_pass" + Text(kCoordinates)}));
    // The annotated target writes the same signatures.
    EXPECT_EQ(annotated.generate(a, true), plain.generate(a, true));
}

TEST_F(CgCodeGeneratorTest, Techniques) {
    using Techniques = std::vector<Shader::Technique>;
    EXPECT_EQ(plain.generate(Techniques{}), (Lines{""}));
    EXPECT_EQ(plain.generate(Techniques{{}}), (Lines{"technique T1{}"}));
    EXPECT_EQ(plain.generate(Techniques{{{pass("A")}}}),
              (Lines{"technique T1{pass P1{ PixelShader = compile PROFILE A_pass(); } }"}));
    EXPECT_EQ(plain.generate(Techniques{{{pass("A"), pass("B")}}}),
              (Lines{"technique T1{pass P1 < string Script = \"RenderColorTarget0 = _A;\"; > { PixelShader = compile PROFILE A_pass(); } "
                     "pass P2{ PixelShader = compile PROFILE B_pass(); } }"}));

    // Pass numbers restart in each technique; only the last pass has no target.
    EXPECT_EQ(annotated.generate(Techniques{{{pass("C")}}, {{pass("A"), pass("B"), pass("D")}}}),
              (Lines{"technique T1{pass P1{ PixelShader = compile PROFILE C_pass(); } }"
                     "technique T2{pass P1 < string Script = \"RenderColorTarget0 = _A;\"; > { PixelShader = compile PROFILE A_pass(); } "
                     "pass P2 < string Script = \"RenderColorTarget0 = _B;\"; > { PixelShader = compile PROFILE B_pass(); } "
                     "pass P3{ PixelShader = compile PROFILE D_pass(); } }"}));
}

TEST_F(CgCodeGeneratorTest, CodeCommentsIncludesAndTargetSwitch) {
    Ptr<iShaderCodeGenerator> generator = makePtr<CgCodeGenerator>();
    EXPECT_EQ(generator->generate(Text("float w[2] = { 1, 2 };")), (Lines{"float w[2] = { 1, 2 };"}));
    EXPECT_EQ(generator->generate(Shader::Comment{"// Tint"}), (Lines{""}));
    EXPECT_TRUE(generator->generate(Shader::Include{"_utils.fx"}).empty());
    EXPECT_TRUE(generator->getExtraDefinitions().empty());

    // The target takes effect on the next call and travels with copies.
    Ptr<CgCodeGenerator> cg = ptrCast<CgCodeGenerator>(generator);
    ASSERT_TRUE(cg);
    const Shader::Header header{"T", "C", "", "", 0};
    cg->setTarget(CgCodeGenerator::eTargetAnnotated);
    EXPECT_EQ(generator->generate(header).size(), 8u);
    const CgCodeGenerator copy(*cg);
    cg->setTarget(CgCodeGenerator::eTargetPlain);
    EXPECT_EQ(generator->generate(header).size(), 1u);
    EXPECT_EQ(copy.generate(header).size(), 8u);
}
