#include "codegen/CgCodeGenerator.h"
#include "host/misc/Paths.h"

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
        std::visit(
            [&p, key = key](const auto& v) {
                if constexpr (std::is_same_v<std::decay_t<decltype(v)>, int64_t>)
                    p.properties.setInt(key, v);
                else
                    p.properties.set(key, v);
            },
            value);
    return p;
}

Shader::Function pass(const char* name) { return Shader::Function(name, Text(name) + "_pass", "_" + Text(name)); }

class CgCodeGeneratorTest : public ::testing::Test {
protected:
    void SetUp() override { setShadersDir(L"/fx/"); }
    void TearDown() override { setShadersDir(L""); }

    CgCodeGenerator plain{CgCodeGenerator::eTargetPlain, L"/fx"};
    CgCodeGenerator annotated{CgCodeGenerator::eTargetAnnotated, L"/fx"};
};

} // namespace

TEST_F(CgCodeGeneratorTest, HeaderCommentsIncludesAndTargets) {
    Shader::Header header{"Tint", "Colour", "Sub", "Notes", 0};
    EXPECT_EQ(plain.generate(header), (Lines{"#include \"/fx/_utils.fx\""}));
    const Lines info{"#include \"/fx/_utils.fx\"",
                     "",
                     "int _QfrmEffectInfo",
                     "<",
                     "   string EffectGroup = \"GenericPixelShader\"; ",
                     "   string Description = \"Tint\"; ",
                     "   string Category = \"Colour\"; "};
    const std::pair<uint32_t, Lines> cases[] = {
        {0, {}},
        {RotationAware | HasMaxOutputSize | HasMinOutputSize | ScaleAware,
         {"   bool ScaleAware = true;", "   bool HasMinOutputSize = true;", "   bool HasMaxOutputSize = true;",
          "   bool RotationAware = true;"}},
        {ScaleAware | RotationAware, {"   bool ScaleAware = true;", "   bool RotationAware = true;"}}};
    for (const auto& [caps, flags] : cases) {
        header.caps = caps;
        Lines expected = info;
        expected.insert(expected.end(), flags.begin(), flags.end());
        expected.push_back("> = 0;");
        EXPECT_EQ(annotated.generate(header), expected) << "caps " << caps;
    }
    // The include directory is the one given at construction (the default
    // constructor takes the shaders directory of that moment).
    setShadersDir(L"/other dir");
    EXPECT_EQ(plain.generate(header), (Lines{"#include \"/fx/_utils.fx\""}));
    EXPECT_EQ(CgCodeGenerator().generate(header), (Lines{"#include \"/other dir/_utils.fx\""}));
    EXPECT_EQ(CgCodeGenerator(CgCodeGenerator::eTargetPlain, L"/given/").generate(header),
              (Lines{"#include \"/given/_utils.fx\""}));

    // Through the interface, for both targets: code unchanged, comments blank, includes gone.
    for (const auto target : {CgCodeGenerator::eTargetPlain, CgCodeGenerator::eTargetAnnotated}) {
        const Ptr<iShaderCodeGenerator> g = makePtr<CgCodeGenerator>(target, L"/fx/");
        EXPECT_EQ(g->generate(Text("float w[2] = { 1, 2 };")), (Lines{"float w[2] = { 1, 2 };"}));
        EXPECT_EQ(g->generate(Shader::Comment{"// Tint"}), (Lines{""}));
        EXPECT_TRUE(g->generate(Shader::Include{"_utils.fx"}).empty());
        EXPECT_TRUE(g->getExtraDefinitions({{{pass("A"), pass("B")}}}).empty());
    }
    CgCodeGenerator switched;
    switched.setTarget(CgCodeGenerator::eTargetAnnotated);
    EXPECT_EQ(switched.generate(header).size(), 10u);
}

TEST_F(CgCodeGeneratorTest, InputsPlainAndAnnotated) {
    const Shader::Input input{"_Input", "Input"};
    EXPECT_EQ(
        plain.generate(input),
        (Lines{"texture _Input; sampler Input = sampler_state { Texture = <_Input>; AddressU=ClampToEdge; AddressV=ClampToEdge; "
               "MinFilter=Linear; MagFilter=Linear; };"}));
    EXPECT_EQ(annotated.generate(input),
              (Lines{"texture Input;", "sampler InputSampler = sampler_state", "{", "   Texture = <Input>;",
                     "   AddressU = ClampToEdge;", "   AddressV = ClampToEdge;", "   MinFilter = Linear;",
                     "   MagFilter = Linear;", "};", "#define Input InputSampler"}));

    // A LUT volume is 3D only in the plain form; a mask is written like any input.
    const Shader::Input lut{"_Lut", "Lut", iShaderEffectBase::Point, iShaderEffectBase::Wrap, Shader::Input::e3D, true};
    EXPECT_EQ(plain.generate(lut), (Lines{"texture _Lut; sampler3D Lut = sampler_state { Texture = <_Lut>; AddressU=Wrap; "
                                          "AddressV=Wrap; MinFilter=Point; MagFilter=Point; };"}));
    EXPECT_EQ(annotated.generate(lut),
              (Lines{"texture Lut;", "sampler LutSampler = sampler_state", "{", "   Texture = <Lut>;", "   AddressU = Wrap;",
                     "   AddressV = Wrap;", "   MinFilter = Point;", "   MagFilter = Point;", "};", "#define Lut LutSampler"}));
}

TEST_F(CgCodeGeneratorTest, ParametersOfEveryTypePlainAndAnnotated) {
    using enum iShaderParam::eType;
    const auto described = [](const char* name) { return "   string Description = \"" + Text(name) + "\"; "; };
    const struct {
        Shader::Parameter parameter;
        Lines plain, annotated;
    } cases[] = {
        {param(eFloat, "Amount", L"Amount", {{"default", 0.5}, {"min", 0.0}, {"max", 1.0}, {"animated", int64_t(1)}}),
         {"", "float Amount = 0.5;"},
         {"", "float Amount", "<", described("Amount"), "   float MinVal = 0;", "   float MaxVal = 1;", "   float KF0 = 0;",
          "   float KF1 = 1;", "> = 0.5;", ""}},
        // Five places; group and flags when present (not the "group" property); no key frames unless animated.
        {param(eFloat, "Gain", L"Gain, in \u00B0",
               {{"default", 0.123456},
                {"flags", Text("Hidden")},
                {"group", Text("ignored")},
                {"min", -1.0},
                {"animated", int64_t(0)}},
               L"Levels"),
         {"", "float Gain = 0.12346;"},
         {"", "float Gain", "<", described("Gain, in \xC2\xB0"), "   string Group = \"Levels\"; ",
          "   string Flags = \"Hidden\"; ", "   float MinVal = -1;", "   float MaxVal = 1;", "> = 0.12346;", ""}},
        // Display names beginning with "_" get no block; an empty one still does.
        {param(eFloat, "_x", L"_hidden", {{"max", 2.0}}), {"", "float _x = 0;"}, {"", "float _x = 0;", ""}},
        {param(eBool, "b", L""), {"", "bool b = false;"}, {"", "bool b", "<", described(""), "> = false;", ""}},
        {param(eBool, "Invert", L"Invert", {{"default", true}}),
         {"", "bool Invert = true;"},
         {"", "bool Invert", "<", described("Invert"), "> = true;", ""}},
        {param(eInt, "Mode", L"Mode"),
         {"", "int Mode = 0;"},
         {"", "int Mode", "<", described("Mode"), "   string Enum = \"\"; ", "> = 0;", ""}},
        {param(eInt, "Mode", L"Mode", {{"default", int64_t(-2)}, {"choices", Text("Fast,Best")}}),
         {"", "int Mode = -2;"},
         {"", "int Mode", "<", described("Mode"), "   string Enum = \"Fast,Best\"; ", "> = -2;", ""}},
        {param(eFloat4, "Colour", L"Colour"),
         {"", "float4 Colour = { 0,0,0,1 };"},
         {"", "float4 Colour", "<", described("Colour"), "   bool SupportsAlpha = false;", "> = { 0,0,0,1 };", ""}},
        {param(eFloat4, "Tint", L"Tint", {{"c1", 0.5}, {"c2", 0.25}, {"c3", 1.0}, {"alpha", 0.0}}),
         {"", "float4 Tint = { 0.5,0.25,1,0 };"},
         {"", "float4 Tint", "<", described("Tint"), "   bool SupportsAlpha = true;", "> = { 0.5,0.25,1,0 };", ""}},
        {param(eFloat3x3, "Matrix", L"Matrix", {{"default", 1.0}}),
         {"", "float3x3 Matrix;"},
         {"", "float3x3 Matrix", "<", described("Matrix"), ">;", ""}},
        {param(eFloat3, "Offset", L"Offset"), {"", "float3 Offset;"}, {"", "float3 Offset", "<", described("Offset"), ">;", ""}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(plain.generate(c.parameter), c.plain) << c.parameter.id.c_str();
        EXPECT_EQ(annotated.generate(c.parameter), c.annotated) << c.parameter.id.c_str();
    }
}

TEST_F(CgCodeGeneratorTest, PassSignaturesAndTechniqueBlocks) {
    const Shader::Function a = pass("A");
    EXPECT_EQ(plain.generate(a, false), (Lines{Text("float4 A") + kCoordinates}));
    EXPECT_EQ(plain.generate(a, true), (Lines{"texture _A : RenderColorTarget; sampler A = sampler_state { Texture = <_A>; "
                                              "AddressU=ClampToEdge; AddressV=ClampToEdge; "
                                              "MinFilter=Linear; MagFilter=Linear; };float4 A_pass" +
                                              Text(kCoordinates)}));
    EXPECT_EQ(annotated.generate(a, true), plain.generate(a, true));

    using Techniques = std::vector<Shader::Technique>;
    const std::pair<Techniques, const char*> cases[] = {
        {{}, ""},
        {{{}}, "technique T1{}"},
        {{{{pass("A")}}}, "technique T1{pass P1{ PixelShader = compile PROFILE A_pass(); } }"},
        {{{{pass("A"), pass("B")}}},
         "technique T1{pass P1 < string Script = \"RenderColorTarget0 = _A;\"; > { PixelShader = compile PROFILE A_pass(); } "
         "pass P2{ PixelShader = compile PROFILE B_pass(); } }"},
        // Pass numbers restart in each technique; only the last pass has no target.
        {{{{pass("C")}}, {{pass("A"), pass("B"), pass("D")}}},
         "technique T1{pass P1{ PixelShader = compile PROFILE C_pass(); } }"
         "technique T2{pass P1 < string Script = \"RenderColorTarget0 = _A;\"; > { PixelShader = compile PROFILE A_pass(); } "
         "pass P2 < string Script = \"RenderColorTarget0 = _B;\"; > { PixelShader = compile PROFILE B_pass(); } "
         "pass P3{ PixelShader = compile PROFILE D_pass(); } }"},
    };
    for (const auto& [techniques, text] : cases) {
        EXPECT_EQ(plain.generate(techniques), (Lines{text}));
        EXPECT_EQ(annotated.generate(techniques), (Lines{text}));
    }
}
