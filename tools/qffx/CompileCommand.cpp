// qffx compile: compiles an effect with the real GPU service.
#include "Commands.h"
#include "EffectFiles.h"
#include "Options.h"

#include "codegen/CgCodeGenerator.h"
#include "host/OS.h"
#include "host/Strings.h"
#include "platform/LinuxServices.h"

#include <cstdio>

namespace {

const char* const kHelp =
    "usage: qffx compile [--shaders DIR] EFFECT\n"
    "\n"
    "Compiles EFFECT (an .fx file, or the name of an effect in the shaders\n"
    "directory) with the GPU service (OpenGL: the effect is written as GLSL).\n"
    "Prints the effect's parameters on success; otherwise each error as\n"
    "'error: line N: MESSAGE' with the generated line it points at, exit status 1.\n"
    "An unreadable file or a missing GPU gives exit status 2.\n";

} // namespace

int runCompile(const CommandArgs& args) {
    const ParsedArgs parsed = parseArgs(args, {});
    if (parsed.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!parsed.error.empty()) return usageError("compile", parsed.error);
    if (parsed.positional.size() != 1) return usageError("compile", "give exactly one effect");

    std::string error;
    const std::string path = resolveEffectPath(parsed.positional[0], error);
    const Ptr<ShaderEffectInfo> effect = path.empty() ? Ptr<ShaderEffectInfo>() : loadEffect(path, error);
    if (!effect) {
        std::fprintf(stderr, "qffx compile: %s\n", error.c_str());
        return 2;
    }
    installOS(&LinuxServices::instance());
    if (!OS()->gpu()) {
        std::fprintf(stderr, "qffx compile: no GPU service (EGL/OpenGL could not start)\n");
        return 2;
    }

    const ShaderCompilationOutput out = effect->compile();
    // Error lines count lines of the text that was compiled, in which one
    // processed entry (the technique block) may span several lines.
    std::vector<std::string> lines;
    for (const auto& entry : effect->getProcessedSourceCode()) {
        size_t start = 0;
        for (size_t nl; (nl = entry.view().find('\n', start)) != std::string_view::npos; start = nl + 1)
            lines.emplace_back(entry.view().substr(start, nl - start));
        lines.emplace_back(entry.view().substr(start));
    }
    for (const ShaderError& e : out.errors) {
        std::fprintf(stderr, "error: line %u: %s\n", unsigned(e.line) + 1, e.message.c_str());
        if (e.line < lines.size()) std::fprintf(stderr, "  | %s\n", lines[e.line].c_str());
    }
    if (!out.shader) return 1;

    std::printf("compiled %s\n", path.c_str());
    for (const Shader::Parameter& p : effect->getParams())
        std::printf("  %-8s %s\n", CgCodeGenerator::asString(p.type).c_str(), p.id.c_str());
    return 0;
}
