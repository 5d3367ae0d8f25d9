// The values the tool draws an effect with (tools/qffx/EffectValues): every
// declared parameter written once before a draw, in the file's order, at its
// declared default or at the caller's value, observed on the recording GPU service.
#include "EffectValues.h"
#include "ParameterValues.h"

#include "support/RecordingGPUService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAreArray;
using Text = LightweightString<char>;

namespace {

// Parameters and variables of every type, interleaved, and an internal one;
// values a float holds exactly, so that the journal prints them as written.
const char* const kEffect = "DeclareQuillframeEffect( Test, Cat, Sub, kNoNotes, kNoFlags )\n"
                            "DeclareInput( Input )\n"
                            "DeclareFloatParamAnimated( Amount, \"Amount\", kNoGroup, kNoFlags, 0.5, 0, 1 )\n"
                            "DeclareFloat3Param( Offset )\n"
                            "DeclareColourParam( Tint, \"Tint\", kNoGroup, kNoFlags, 0.875, 0.625, 0.375 )\n"
                            "DeclareIntParam( Mode, \"Mode\", kNoGroup, 2, \"A|B|C\" )\n"
                            "DeclareBoolParam( Invert, \"Invert\", kNoGroup, TRUE )\n"
                            "DeclareFloat3x3Param( Coefs )\n"
                            "DeclareColourParam( Lift, \"Lift\", kNoGroup, SpecifiesColourOffset, 0.125, 0.25, 0.375, 0.5 )\n"
                            "DeclareFloatParam( Width )\n"
                            "DeclareFloat4Param( Add )\n"
                            "DeclareFloatParam( _Hidden )\n"
                            "DeclareEntryPoint( Main )\n{ return tex2D( Input, uv1 ); }\n";

// Each parameter at its declared default (variables at zero), in declaration order.
const std::vector<std::string> kDefaults = {
    "set Amount float 0.5",
    "set Offset float3 0,0,0",
    "set Tint float4 0.875,0.625,0.375,1",
    "set Mode int 2",
    "set Invert bool true",
    "set Coefs float3x3 0,0,0,0,0,0,0,0,0",
    "set Lift float4 0.125,0.25,0.375,0.5",
    "set Width float 0",
    "set Add float4 0,0,0,0",
};

std::vector<QfTest::ParamInfo> compiled(std::initializer_list<std::pair<const char*, iShaderParam::eType>> list) {
    std::vector<QfTest::ParamInfo> params;
    for (const auto& [name, type] : list) params.push_back({name, type, {}, {}});
    return params;
}

class EffectValuesTest : public ::testing::Test {
protected:
    // The compiled effect lists its parameters in another order than the file,
    // with the internal one, and without Width (a compiler drops unused uniforms).
    Ptr<iShaderEffect> compile(iShaderParam::eType tintType = iShaderParam::eFloat4) {
        gpu.succeedNextCompile(compiled({{"_Hidden", iShaderParam::eFloat},
                                         {"Add", iShaderParam::eFloat4},
                                         {"Lift", iShaderParam::eFloat4},
                                         {"Coefs", iShaderParam::eFloat3x3},
                                         {"Invert", iShaderParam::eBool},
                                         {"Mode", iShaderParam::eInt},
                                         {"Tint", tintType},
                                         {"Offset", iShaderParam::eFloat3},
                                         {"Amount", iShaderParam::eFloat}}));
        effect = makePtr<ShaderEffectInfo>(TextFile::fromText(kEffect));
        const ShaderCompilationOutput out = effect->compile();
        EXPECT_TRUE(out.errors.empty());
        gpu.clearCalls();
        return out.shader;
    }
    // The writes of one EffectValues::writeTo, as journalled.
    std::vector<std::string> written(const EffectValues& values, iShaderEffect& shader) {
        std::string error;
        EXPECT_TRUE(values.writeTo(shader, error)) << error;
        return gpu.calls();
    }
    QfTest::RecordingGPUService gpu;
    Ptr<ShaderEffectInfo> effect;
};

std::vector<std::string> without(std::vector<std::string> calls, const std::string& name) {
    std::erase_if(calls, [&](const std::string& c) { return c.rfind("set " + name + " ", 0) == 0; });
    return calls;
}

} // namespace

TEST_F(EffectValuesTest, DeclarationsComeFromTheFileInItsOrder) {
    const Ptr<iShaderEffect> shader = compile();
    ASSERT_TRUE(shader);
    const EffectValues values(*effect);
    std::vector<std::string> ids;
    for (const Shader::Parameter& p : values.declarations()) ids.push_back(p.id.str());
    EXPECT_THAT(ids, ElementsAreArray({"Amount", "Offset", "Tint", "Mode", "Invert", "Coefs", "Lift", "Width", "Add"}));
    // The compiled effect's list has lost the declared values; the declarations keep them.
    double max = 0;
    EXPECT_GE(values.declarations()[0].properties.in(Shader::PropertyKey::kMax, max), 0);
    EXPECT_EQ(max, 1);
}

TEST_F(EffectValuesTest, WritesEachParameterOnceInDeclarationOrder) {
    struct Case {
        const char* what;
        std::vector<std::pair<std::string, std::string>> set; // --set NAME=VALUE, in order
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {"defaults", {}, without(kDefaults, "Width")},
        {"the caller's values replace the defaults",
         {{"Tint", "1,0.5,0,1"}, {"Coefs", "1,0,0,0,1,0,0,0,1"}, {"Amount", "0.25"}, {"Mode", "0"}, {"Invert", "false"}},
         {"set Amount float 0.25", "set Offset float3 0,0,0", "set Tint float4 1,0.5,0,1", "set Mode int 0",
          "set Invert bool false", "set Coefs float3x3 1,0,0,0,1,0,0,0,1", "set Lift float4 0.125,0.25,0.375,0.5",
          "set Add float4 0,0,0,0"}},
        {"a value given twice: the last one",
         {{"Amount", "0.25"}, {"Amount", "1"}},
         [] {
             auto calls = without(kDefaults, "Width");
             calls[0] = "set Amount float 1";
             return calls;
         }()},
        {"a float3 and a float4 variable",
         {{"Offset", "0.5,0.25,1"}, {"Add", "1,2,3,4"}},
         [] {
             auto calls = without(kDefaults, "Width");
             calls[1] = "set Offset float3 0.5,0.25,1";
             calls.back() = "set Add float4 1,2,3,4";
             return calls;
         }()},
    };
    for (const Case& c : cases) {
        const Ptr<iShaderEffect> shader = compile();
        ASSERT_TRUE(shader);
        EffectValues values(*effect);
        for (const auto& [name, text] : c.set) {
            const Ptr<iShaderParam> param = shader->getParam(Text(name));
            ASSERT_TRUE(param) << name;
            std::string error;
            ASSERT_TRUE(setParameterFromText(values.at(param->getName(), param->getType()), text, error)) << c.what << error;
        }
        EXPECT_EQ(written(values, *shader), c.expected) << c.what;
        // A second draw writes the same again: nothing is consumed.
        gpu.clearCalls();
        EXPECT_EQ(written(values, *shader), c.expected) << c.what << ", again";
    }
}

TEST_F(EffectValuesTest, ValuesTheFileDoesNotDeclareAreWrittenAfterTheDeclaredOnes) {
    // Text compiled as it stands declares nothing: the caller's values are all there is.
    gpu.succeedNextCompile(compiled({{"Gain", iShaderParam::eFloat}, {"Amount", iShaderParam::eFloat}}));
    effect = makePtr<ShaderEffectInfo>(TextFile::fromText(kEffect));
    const Ptr<iShaderEffect> shader = effect->compile().shader;
    ASSERT_TRUE(shader);
    gpu.clearCalls();
    EffectValues values(*effect);
    values.at(Text("Gain"), iShaderParam::eFloat).setFloat(2);
    EXPECT_EQ(written(values, *shader), (std::vector<std::string>{"set Amount float 0.5", "set Gain float 2"}));
}

TEST_F(EffectValuesTest, AValueTheEffectRefusesStopsTheWritesWithItsName) {
    const Ptr<iShaderEffect> shader = compile(iShaderParam::eFloat); // Tint compiled as a float
    ASSERT_TRUE(shader);
    const EffectValues values(*effect);
    std::string error;
    EXPECT_FALSE(values.writeTo(*shader, error));
    EXPECT_EQ(error, "the effect refused the value of parameter 'Tint'");
    EXPECT_EQ(gpu.calls(), (std::vector<std::string>{"set Amount float 0.5", "set Offset float3 0,0,0",
                                                     "set Tint float4 0.875,0.625,0.375,1"}));
}
