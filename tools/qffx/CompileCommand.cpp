// qffx compile: compiles an effect with the real GPU service.
#include "Commands.h"
#include "ToolEffects.h"

#include <cstdio>

int runCompile(const Invocation& call) {
    std::string path;
    const Ptr<ShaderEffectInfo> effect = openEffect(call.report, call.args.positional[0], &path);
    if (!effect || !startGPU(call.report)) return eExitUsage;

    const ShaderCompilationOutput out = effect->compile();
    printEffectErrors(*effect, out.errors);
    if (!out.shader) return eExitFailed;

    std::printf("compiled %s\n", path.c_str());
    for (const Shader::Parameter& p : effect->getParams())
        std::printf("  %-8s %s\n", Shader::typeName(p.type).c_str(), p.id.c_str());
    return eExitSuccess;
}
