// qffx compile: compiles an effect with the real GPU service.
#include "Commands.h"
#include "Options.h"
#include "ToolEffects.h"

#include <cstdio>

namespace {

const char* const kHelp = "usage: qffx compile [--shaders DIR] [--templates DIR] EFFECT\n"
                          "\n"
                          "Compiles EFFECT (an .fx file, or the name of an effect in the shaders or\n"
                          "effect-templates directory, found as the effect manager finds it) with\n"
                          "the GPU service (OpenGL: the effect is written as GLSL).\n"
                          "Prints the effect's parameters on success; otherwise each error at the\n"
                          "effect file's own line as 'FILE.fx:LINE: MESSAGE' (the form compilers use,\n"
                          "so that editors can jump to it), then that line, exit status 1.\n"
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

    std::string path;
    const Ptr<ShaderEffectInfo> effect = openEffect("compile", parsed.positional[0], &path);
    if (!effect || !startGPU("compile")) return 2;

    const ShaderCompilationOutput out = effect->compile();
    printEffectErrors(*effect, out.errors);
    if (!out.shader) return 1;

    std::printf("compiled %s\n", path.c_str());
    for (const Shader::Parameter& p : effect->getParams())
        std::printf("  %-8s %s\n", Shader::typeName(p.type).c_str(), p.id.c_str());
    return 0;
}
