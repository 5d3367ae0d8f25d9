#include "codegen/GLSLCodeGenerator.h"

#include <gtest/gtest.h>

using Text = LightweightString<char>;
using Lines = Shader::Lines;
using Techniques = std::vector<Shader::Technique>;

namespace {

Shader::Function pass(const char* name) { return Shader::Function(name, Text(name) + "_pass", "_" + Text(name)); }

Shader::Parameter param(iShaderParam::eType type, const char* id) { return Shader::Parameter(type, id, L"Name", L""); }

} // namespace

TEST(GLSLCodeGenerator, DeclarationsAndSignaturesAreOneLineEach) {
    const GLSLCodeGenerator glsl;
    EXPECT_EQ(glsl.generate(Shader::Header{"Tint", "Colour", "", "", ScaleAware}), (Lines{"out vec4 FragColor;"}));
    EXPECT_EQ(glsl.generate(Shader::Comment{"// note"}), (Lines{""}));
    EXPECT_TRUE(glsl.generate(Shader::Include{"_utils.fx"}).empty());
    Shader::Input input{"_Input", "Input", iShaderEffectBase::Point, iShaderEffectBase::Mirror};
    EXPECT_EQ(glsl.generate(input), (Lines{"uniform sampler2D Input;"}));
    input.dimension = Shader::Input::e3D;
    EXPECT_EQ(glsl.generate(input), (Lines{"uniform sampler3D Input;"}));

    using enum iShaderParam::eType;
    std::pair<Shader::Parameter, const char*> cases[] = {
        {param(eFloat, "Amount"), "uniform float Amount=0.123456;"}, // not the five-place formatter
        {param(eInt, "Mode"), "uniform int Mode=-3;"},
        {param(eBool, "Off"), "uniform bool Off=false;"},
        {param(eBool, "Invert"), "uniform bool Invert=true;"},
        // Vectors and matrices never get an initialiser.
        {param(eFloat4, "Colour"), "uniform vec4 Colour;"},
        {param(eFloat3x3, "M"), "uniform mat3 M;"},
        {param(eFloat3, "V"), "uniform vec3 V;"},
    };
    cases[0].first.properties.set("default", 0.123456);
    cases[1].first.properties.setInt("default", -3);
    cases[3].first.properties.set("default", true);
    cases[4].first.properties.set("c1", 0.5);
    cases[5].first.properties.set("default", 1.0);
    for (const auto& [parameter, line] : cases) EXPECT_EQ(glsl.generate(parameter), (Lines{line}));

    // Float defaults are always valid GLSL float literals.
    const std::pair<double, const char*> literals[] = {
        {0.5, "0.5"},
        {1, "1"},
        {-2, "-2"},
        {0, "0"},
        {2147483647, "2147483647"},
        {2147483648.0, "2147483648.0"},
        {123456789012.0, "123456789012.0"},
        {-123456789012.0, "-123456789012.0"},
        {1e20, "1e+20"},
        {1.5e-7, "1.5e-07"},
    };
    for (const auto& [value, text] : literals) EXPECT_EQ(GLSLCodeGenerator::floatLiteral(value), text) << value;

    EXPECT_EQ(glsl.generate(pass("A"), false), (Lines{"vec4 A_pass()"}));
    EXPECT_EQ(glsl.generate(pass("A"), true), (Lines{"uniform sampler2D A;vec4 A_pass()"}));

    // The render-target sampler is written through the input slot.
    struct Traced : GLSLCodeGenerator {
        using GLSLCodeGenerator::generate;
        Lines generate(const Shader::Input& input) const override { return {"[", input.textureName + "|" + input.name, "]"}; }
    };
    EXPECT_EQ(Traced().generate(pass("Blur"), true), (Lines{"[Blur_pass|Blur]vec4 Blur_pass()"}));
}

// One technique of one pass calls it directly; anything else switches on the
// entry point, with case numbers running on across techniques, and adds to
// the pass list, which keeps growing.
TEST(GLSLCodeGenerator, MainIsDirectForOnePassAndASwitchOtherwise) {
    const GLSLCodeGenerator glsl;
    const struct {
        Techniques techniques;
        Lines text;
        ShaderDefinitions passes;
    } cases[] = {
        {{}, {""}, {}},
        {{{{pass("A")}}}, {"void main()\n{\n   FragColor = A_pass();}"}, {}},
        {{{{pass("A"), pass("B")}}},
         {"uniform int _passCount0=2;uniform int _entryPoint=0;\nvoid main()\n{\n   switch ( _entryPoint )\n   {\n"
          "      case 0: FragColor = A_pass(); break;\n"
          "      case 1: FragColor = B_pass(); break;\n"
          "   }\n}"},
         {{"A", "_T0_P0"}, {"B", "_T0_P1"}}},
        {{{{pass("C")}}, {{pass("D")}}},
         {"uniform int _passCount0=1;uniform int _passCount1=1;uniform int _entryPoint=0;\nvoid main()\n{\n   switch ( "
          "_entryPoint )\n   {\n"
          "      case 0: FragColor = C_pass(); break;\n      case 1: FragColor = D_pass(); break;\n   }\n}"},
         {{"C", "_T0_P0"}, {"D", "_T1_P0"}}},
        {{{}, {{pass("E"), pass("F")}}},
         {"uniform int _passCount0=0;uniform int _passCount1=2;uniform int _entryPoint=0;\nvoid main()\n{\n   switch ( "
          "_entryPoint )\n   {\n"
          "      case 0: FragColor = E_pass(); break;\n      case 1: FragColor = F_pass(); break;\n   }\n}"},
         {{"E", "_T1_P0"}, {"F", "_T1_P1"}}},
    };
    // The pass map is a function of the techniques alone: asking twice, or
    // in another order, gives the same answer.
    for (int round = 0; round < 2; ++round)
        for (const auto& c : cases) {
            EXPECT_EQ(glsl.generate(c.techniques), c.text);
            EXPECT_EQ(glsl.getExtraDefinitions(c.techniques), c.passes);
        }
}

TEST(GLSLCodeGenerator, ArrayInitialisersAreRewritten) {
    const GLSLCodeGenerator glsl;
    const std::pair<const char*, const char*> cases[] = {
        {"float w[3] = { 1.0, 2.0, 3.0 };", "float w[3] = float[]( 1.0, 2.0, 3.0  );"},
        {"   float2 o[2] = { float2(0,1), float2(1,0) }; // offsets", "   float2 o[2] = float2[]( float2(0,1), float2(1,0)  );"},
        // Six characters are skipped after the bracket, blank or not.
        {"float k[2] = {1,2};", "float k[2] = float[]( ,2 );"},
        {"float k[1] = {};", "float k[1] = float[](  );"},
        // Anything else passes through unchanged.
        {"float x = 1.0;", nullptr},
        {"float k[2] ={ 1, 2 };", nullptr},
        {"float k[2] = { 1, 2 }", nullptr},
        {"float k[2] = {", nullptr},
        {"", nullptr},
        {"}; ] = {", nullptr},
    };
    for (const auto& [line, rewritten] : cases) EXPECT_EQ(glsl.generate(Text(line)), (Lines{rewritten ? rewritten : line}));
}
