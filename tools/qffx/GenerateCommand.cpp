// qffx generate: prints the text that compiling an effect would hand to the
// GPU service, or with --definitions the name/value pairs that go with it.
#include "Commands.h"
#include "EffectFiles.h"
#include "Options.h"

#include "codegen/CgCodeGenerator.h"
#include "codegen/GLSLCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"
#include "host/Strings.h"

#include <cstdio>

namespace {

const char* const kHelp =
    "usage: qffx generate [--lang cg|glsl] [--target plain|annotated] [--shaders DIR]\n"
    "                     [--definitions] FILE.fx\n"
    "\n"
    "Reads FILE.fx as an effect and prints each line of the generated shader text.\n"
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
    "Errors in the effect are printed as 'error: MESSAGE' (exit status 1); a file\n"
    "that cannot be read, or bad options, give exit status 2.\n";

} // namespace

int runGenerate(const CommandArgs& args) {
    const ParsedArgs parsed = parseArgs(args, {{"--lang", true}, {"--target", true}, {"--definitions", false}});
    if (parsed.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!parsed.error.empty()) return usageError("generate", parsed.error);
    if (parsed.positional.size() != 1) return usageError("generate", "give exactly one effect file");
    const std::string lang = parsed.value("--lang", "cg");
    const std::string target = parsed.value("--target", "plain");

    Ptr<iShaderCodeGenerator> generator;
    if (lang == "cg") {
        if (target != "plain" && target != "annotated") return usageError("generate", "unknown target " + target);
        generator = Ptr<iShaderCodeGenerator>(new CgCodeGenerator(
            target == "annotated" ? CgCodeGenerator::eTargetAnnotated : CgCodeGenerator::eTargetPlain));
    } else if (lang == "glsl") {
        generator = Ptr<iShaderCodeGenerator>(new GLSLCodeGenerator());
    } else {
        return usageError("generate", "unknown language " + lang);
    }

    std::string error;
    const Ptr<ShaderEffectInfo> effect = loadEffect(parsed.positional[0], error);
    if (!effect) {
        std::fprintf(stderr, "qffx generate: %s\n", error.c_str());
        return 2;
    }
    effect->read(generator);

    if (parsed.has("--definitions")) {
        ShaderDefinitions pairs = ShaderEffectInfo::specialParameterDefinitions();
        for (ShaderDefinition& d : generator->getExtraDefinitions()) pairs.push_back(std::move(d));
        for (const ShaderDefinition& d : pairs) std::printf("%s=%s\n", d.name.c_str(), d.value.c_str());
    } else {
        // Text that was generated already goes to the compiler as it stands.
        const auto& processed = effect->getProcessedSourceCode();
        const auto& lines = processed.empty() ? effect->getSource().lines() : processed;
        for (const auto& line : lines) {
            std::fwrite(line.data(), 1, line.size(), stdout);
            std::fputc('\n', stdout);
        }
    }
    for (const Shader::Error& e : effect->getErrors()) std::fprintf(stderr, "error: %s\n", e.message.c_str());
    return effect->getErrors().empty() ? 0 : 1;
}
