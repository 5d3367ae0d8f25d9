// qffx generate: prints the text that compiling an effect would hand to the
// GPU service, or with --definitions the name/value pairs that go with it.
#include "Commands.h"

#include "codegen/CgCodeGenerator.h"
#include "codegen/GLSLCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"
#include "host/Paths.h"
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

int usageError(const char* message, const std::string& what) {
    std::fprintf(stderr, "qffx generate: %s%s\n(see qffx generate --help)\n", message, what.c_str());
    return 2;
}

} // namespace

int runGenerate(const CommandArgs& args) {
    std::string lang = "cg", target = "plain", file;
    bool definitions = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](std::string& out) {
            if (i + 1 >= args.size()) return false;
            out = args[++i];
            return true;
        };
        if (a == "--help" || a == "-h") {
            std::fputs(kHelp, stdout);
            return 0;
        } else if (a == "--lang") {
            if (!value(lang)) return usageError("--lang needs a value", "");
        } else if (a == "--target") {
            if (!value(target)) return usageError("--target needs a value", "");
        } else if (a == "--shaders") {
            std::string dir;
            if (!value(dir)) return usageError("--shaders needs a directory", "");
            setShadersDir(fromUTF8(dir.c_str()));
        } else if (a == "--definitions") {
            definitions = true;
        } else if (a.starts_with("-")) {
            return usageError("unknown option ", a);
        } else if (file.empty()) {
            file = a;
        } else {
            return usageError("more than one file given: ", a);
        }
    }
    if (file.empty()) return usageError("no effect file given", "");

    Ptr<iShaderCodeGenerator> generator;
    if (lang == "cg") {
        if (target != "plain" && target != "annotated") return usageError("unknown target ", target);
        generator = Ptr<iShaderCodeGenerator>(new CgCodeGenerator(
            target == "annotated" ? CgCodeGenerator::eTargetAnnotated : CgCodeGenerator::eTargetPlain));
    } else if (lang == "glsl") {
        generator = Ptr<iShaderCodeGenerator>(new GLSLCodeGenerator());
    } else {
        return usageError("unknown language ", lang);
    }

    const LightweightString<wchar_t> path = fromUTF8(file.c_str());
    TextFile text;
    if (!text.load(path)) {
        std::fprintf(stderr, "qffx generate: cannot read '%s'\n", file.c_str());
        return 2;
    }
    ShaderEffectInfo effect(text);
    effect.setFileName(path);
    effect.read(generator);

    if (definitions) {
        ShaderDefinitions pairs = ShaderEffectInfo::specialParameterDefinitions();
        for (ShaderDefinition& d : generator->getExtraDefinitions()) pairs.push_back(std::move(d));
        for (const ShaderDefinition& d : pairs) std::printf("%s=%s\n", d.name.c_str(), d.value.c_str());
    } else {
        // Text that was generated already goes to the compiler as it stands.
        const auto& lines = effect.getProcessedSourceCode().empty() ? text.lines() : effect.getProcessedSourceCode();
        for (const auto& line : lines) {
            std::fwrite(line.data(), 1, line.size(), stdout);
            std::fputc('\n', stdout);
        }
    }
    for (const Shader::Error& e : effect.getErrors()) std::fprintf(stderr, "error: %s\n", e.message.c_str());
    return effect.getErrors().empty() ? 0 : 1;
}
