// qffx generate: prints the text that compiling an effect would hand to the
// GPU service, or with --definitions the name/value pairs that go with it.
#include "Commands.h"
#include "ToolEffects.h"

#include "codegen/CodeGenerators.h"
#include "host/misc/Paths.h"

#include <cstdio>

int runGenerate(const Invocation& call) {
    const ParsedArgs& parsed = call.args;
    const std::string lang = parsed.value("--lang", "cg");
    const std::string target = parsed.value("--target", "plain");
    if (lang != "cg" && lang != "glsl") return call.report.usage("unknown language '" + lang + "' (cg or glsl)");
    if (target != "plain" && target != "annotated")
        return call.report.usage("unknown target '" + target + "' (plain or annotated)");

    const Ptr<iShaderCodeGenerator> generator =
        makeCodeGenerator(lang == "glsl" ? eShadingLanguageGLSL : eShadingLanguageCg, getShadersDir(),
                          target == "annotated" ? CgCodeGenerator::eTargetAnnotated : CgCodeGenerator::eTargetPlain);
    const Ptr<ShaderEffectInfo> effect = openEffect(call.report, parsed.positional[0]);
    if (!effect) return eExitUsage;
    effect->read(generator);

    const ShaderCompileInput input = effect->makeCompileInput(*generator);
    if (parsed.has("--definitions")) {
        for (const ShaderDefinition& d : input.definitions) std::printf("%s=%s\n", d.name.c_str(), d.value.c_str());
    } else {
        std::fwrite(input.text.data(), 1, input.text.size(), stdout);
    }
    printEffectErrors(*effect, effect->getErrors());
    return effect->getErrors().empty() ? eExitSuccess : eExitFailed;
}
