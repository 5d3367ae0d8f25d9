// qffx generate: prints the text that compiling an effect would hand to the
// GPU service, or with --definitions the name/value pairs that go with it.
#include "Commands.h"
#include "Options.h"
#include "ToolEffects.h"

#include "codegen/CodeGenerators.h"
#include "host/Paths.h"

#include <cstdio>

namespace {

const char* const kHelp = "usage: qffx generate [--lang cg|glsl] [--target plain|annotated] [--shaders DIR]\n"
                          "                     [--definitions] EFFECT\n"
                          "\n"
                          "Reads EFFECT (an .fx file, or the name of an effect in the shaders directory)\n"
                          "and prints each line of the generated shader text.\n"
                          "\n"
                          "  --lang cg|glsl     the code generator: Cg-style effect text (default) or a\n"
                          "                     GLSL fragment shader\n"
                          "  --target T         Cg only: 'plain' (default), the compact text compiled at\n"
                          "                     run time, or 'annotated', the self-describing effect form\n"
                          "  --shaders DIR      the effects directory (holds _utils.fx); default: the\n"
                          "                     embedded resources/shaders/, or $QFFX_SHADERS_DIR\n"
                          "  --definitions      print the name/value pairs handed to the compiler\n"
                          "                     instead of the text, one NAME=VALUE a line\n"
                          "\n"
                          "Errors in the effect are printed as 'FILE.fx:LINE: MESSAGE' (exit status 1);\n"
                          "an effect that cannot be read, or bad options, give exit status 2.\n";

} // namespace

int runGenerate(const CommandArgs& args) {
    const ParsedArgs parsed = parseArgs(args, {{"--lang", true}, {"--target", true}, {"--definitions", false}});
    if (parsed.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!parsed.error.empty()) return usageError("generate", parsed.error);
    if (parsed.positional.size() != 1) return usageError("generate", "give exactly one effect");
    const std::string lang = parsed.value("--lang", "cg");
    const std::string target = parsed.value("--target", "plain");
    if (lang != "cg" && lang != "glsl") return usageError("generate", "unknown language '" + lang + "' (cg or glsl)");
    if (target != "plain" && target != "annotated")
        return usageError("generate", "unknown target '" + target + "' (plain or annotated)");

    const Ptr<iShaderCodeGenerator> generator =
        makeCodeGenerator(lang == "glsl" ? eShadingLanguageGLSL : eShadingLanguageCg, getShadersDir(),
                          target == "annotated" ? CgCodeGenerator::eTargetAnnotated : CgCodeGenerator::eTargetPlain);
    const Ptr<ShaderEffectInfo> effect = openEffect("generate", parsed.positional[0]);
    if (!effect) return 2;
    effect->read(generator);

    const ShaderCompileInput input = effect->makeCompileInput(*generator);
    if (parsed.has("--definitions")) {
        for (const ShaderDefinition& d : input.definitions) std::printf("%s=%s\n", d.name.c_str(), d.value.c_str());
    } else {
        std::fwrite(input.text.data(), 1, input.text.size(), stdout);
    }
    printEffectErrors(*effect, effect->getErrors());
    return effect->getErrors().empty() ? 0 : 1;
}
