#include "codegen/GLSLCodeGenerator.h"

#include <gtest/gtest.h>

using Text = LightweightString<char>;
using Lines = Shader::Lines;
using Techniques = std::vector<Shader::Technique>;

namespace {

Shader::Function pass(const char* name) { return Shader::Function(name, Text(name) + "_pass", "_" + Text(name)); }

Shader::Parameter param(iShaderParam::eType type, const char* id) { return Shader::Parameter(type, id, L"Name", L""); }

} // namespace

TEST(GLSLCodeGenerator, HeaderInputsCommentsAndIncludes) {
    const GLSLCodeGenerator glsl;
    EXPECT_EQ(glsl.generate(Shader::Header{"Tint", "Colour", "", "", ScaleAware}), (Lines{"out vec4 FragColor;"}));
    EXPECT_EQ(glsl.generate(Shader::Comment{"// note"}), (Lines{""}));
    EXPECT_TRUE(glsl.generate(Shader::Include{"_utils.fx"}).empty());

    Shader::Input input;
    input.textureName = "_Input";
    input.name = "Input";
    input.scaling = iShaderEffectBase::Point;
    input.edgeMode = iShaderEffectBase::Mirror;
    EXPECT_EQ(glsl.generate(input), (Lines{"uniform sampler2D Input;"}));
    input.name = "Lut";
    input.dimension = Shader::Input::e3D;
    EXPECT_EQ(glsl.generate(input), (Lines{"uniform sampler3D Lut;"}));
}

TEST(GLSLCodeGenerator, ParametersAreUniforms) {
    const GLSLCodeGenerator glsl;
    auto amount = param(iShaderParam::eFloat, "Amount");
    EXPECT_EQ(glsl.generate(amount), (Lines{"uniform float Amount=0;"}));
    amount.properties.set("default", 0.123456); // not the five-place formatter
    EXPECT_EQ(glsl.generate(amount), (Lines{"uniform float Amount=0.123456;"}));

    auto mode = param(iShaderParam::eInt, "Mode");
    mode.properties.setInt("default", -3);
    EXPECT_EQ(glsl.generate(mode), (Lines{"uniform int Mode=-3;"}));

    auto invert = param(iShaderParam::eBool, "Invert");
    EXPECT_EQ(glsl.generate(invert), (Lines{"uniform bool Invert=false;"}));
    invert.properties.set("default", true);
    EXPECT_EQ(glsl.generate(invert), (Lines{"uniform bool Invert=true;"}));

    // Vectors and matrices never get an initialiser.
    auto colour = param(iShaderParam::eFloat4, "Colour");
    colour.properties.set("c1", 0.5);
    colour.properties.set("alpha", 0.0);
    EXPECT_EQ(glsl.generate(colour), (Lines{"uniform vec4 Colour;"}));
    auto matrix = param(iShaderParam::eFloat3x3, "M");
    matrix.properties.set("default", 1.0);
    EXPECT_EQ(glsl.generate(matrix), (Lines{"uniform mat3 M;"}));
    EXPECT_EQ(glsl.generate(param(iShaderParam::eFloat3, "V")), (Lines{"uniform vec3 V;"}));
}

TEST(GLSLCodeGenerator, FunctionSignatures) {
    const GLSLCodeGenerator glsl;
    EXPECT_EQ(glsl.generate(pass("A"), false), (Lines{"vec4 A_pass()"}));
    EXPECT_EQ(glsl.generate(pass("A"), true), (Lines{"uniform sampler2D A;vec4 A_pass()"}));

    // The render-target sampler is written through the input slot.
    struct Traced : GLSLCodeGenerator {
        using GLSLCodeGenerator::generate;
        Lines generate(const Shader::Input& input) const override { return {"[", input.textureName + "|" + input.name, "]"}; }
    };
    EXPECT_EQ(Traced().generate(pass("Blur"), true), (Lines{"[Blur_pass|Blur]vec4 Blur_pass()"}));
}

TEST(GLSLCodeGenerator, SinglePassMainLeavesThePassListEmpty) {
    const GLSLCodeGenerator glsl;
    EXPECT_EQ(glsl.generate(Techniques{}), (Lines{""}));
    EXPECT_EQ(glsl.generate(Techniques{{{pass("A")}}}), (Lines{"void main()\n{\n   FragColor = A_pass();}"}));
    EXPECT_TRUE(glsl.getExtraDefinitions().empty());
}

TEST(GLSLCodeGenerator, MultiPassMainSwitchesOnTheEntryPoint) {
    const GLSLCodeGenerator glsl;
    EXPECT_EQ(glsl.generate(Techniques{{{pass("A"), pass("B")}}}),
              (Lines{"uniform int _passCount0=2;uniform int _entryPoint=0;\nvoid main()\n{\n   switch ( _entryPoint )\n   {\n"
                     "      case 0: FragColor = A_pass(); break;\n"
                     "      case 1: FragColor = B_pass(); break;\n"
                     "   }\n}"}));
    EXPECT_EQ(glsl.getExtraDefinitions(), (ShaderDefinitions{{"A", "_T0_P0"}, {"B", "_T0_P1"}}));

    // Two one-pass techniques also take the switch form; case numbers run on
    // across techniques, and the pass list keeps growing.
    EXPECT_EQ(glsl.generate(Techniques{{{pass("C")}}, {{pass("D")}}}),
              (Lines{"uniform int _passCount0=1;uniform int _passCount1=1;uniform int _entryPoint=0;\nvoid main()\n{\n"
                     "   switch ( _entryPoint )\n   {\n"
                     "      case 0: FragColor = C_pass(); break;\n"
                     "      case 1: FragColor = D_pass(); break;\n"
                     "   }\n}"}));
    EXPECT_EQ(glsl.getExtraDefinitions(),
              (ShaderDefinitions{{"A", "_T0_P0"}, {"B", "_T0_P1"}, {"C", "_T0_P0"}, {"D", "_T1_P0"}}));

    // A technique without passes still declares its count.
    const GLSLCodeGenerator other;
    EXPECT_TRUE(other.generate(Techniques{{}, {{pass("E"), pass("F")}}})[0].startsWith(
        "uniform int _passCount0=0;uniform int _passCount1=2;uniform int _entryPoint=0;\n"));
    EXPECT_EQ(other.getExtraDefinitions(), (ShaderDefinitions{{"E", "_T1_P0"}, {"F", "_T1_P1"}}));
}

TEST(GLSLCodeGenerator, ArrayInitialisersAreRewritten) {
    const GLSLCodeGenerator glsl;
    const auto rewrite = [&](const char* line) {
        const Lines lines = glsl.generate(Text(line));
        EXPECT_EQ(lines.size(), 1u);
        return lines.empty() ? Text() : lines[0];
    };
    EXPECT_EQ(rewrite("float w[3] = { 1.0, 2.0, 3.0 };"), "float w[3] = float[]( 1.0, 2.0, 3.0  );");
    EXPECT_EQ(rewrite("   float2 o[2] = { float2(0,1), float2(1,0) }; // offsets"),
              "   float2 o[2] = float2[]( float2(0,1), float2(1,0)  );");
    // Six characters are skipped after the bracket, blank or not.
    EXPECT_EQ(rewrite("float k[2] = {1,2};"), "float k[2] = float[]( ,2 );");
    EXPECT_EQ(rewrite("float k[1] = {};"), "float k[1] = float[](  );");

    // Anything else passes through unchanged.
    for (const char* line : {"float x = 1.0;", "float k[2] ={ 1, 2 };", "float k[2] = { 1, 2 }", "float k[2] = {", "", "}; ] = {"})
        EXPECT_EQ(rewrite(line), line);
}
