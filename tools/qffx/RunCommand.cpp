// qffx run: runs an effect on PNG images with the real GPU service.
#include "Commands.h"
#include "EffectDrawing.h"
#include "ParameterValues.h"
#include "ToolEffects.h"
#include "ToolFiles.h"

#include "host/base/Strings.h"
#include "host/image/HostImage.h"
#include "platform/png/PngFile.h"

#include <cstdio>
#include <map>

namespace {

bool splitNameValue(const std::string& text, std::string& name, std::string& value) {
    const size_t eq = text.find('=');
    if (eq == std::string::npos || eq == 0) return false;
    name = text.substr(0, eq);
    value = text.substr(eq + 1);
    return true;
}

} // namespace

int runRun(const Invocation& call) {
    const ParsedArgs& parsed = call.args;
    const Reporter& report = call.report;

    std::string error;
    if (!checkOutputName(parsed.value("--out"), "png", error)) return report.usage("--out " + error);

    std::map<std::string, std::string> inputFiles;
    for (const std::string& pair : parsed.values("--input")) {
        std::string name, file;
        if (!splitNameValue(pair, name, file)) return report.usage("--input takes NAME=FILE.png, not '" + pair + "'");
        inputFiles[name] = file;
    }

    Ptr<ShaderEffectInfo> effect;
    iGPUService* gpu = openEffectOnGPU(report, parsed.positional[0], effect);
    if (!gpu) return eExitUsage;

    const Ptr<HostImage> in = readPngInput(parsed.value("--in"), error, gpu->maxImageSide());
    if (!in) return report.bad(error);

    const ShaderCompilationOutput out = effect->compile();
    if (!out.shader) {
        printEffectErrors(*effect, out.errors);
        return eExitFailed;
    }

    EffectValues values(*effect);
    for (const std::string& pair : parsed.values("--set")) {
        std::string name, value;
        if (!splitNameValue(pair, name, value)) return report.usage("--set takes NAME=VALUE, not '" + pair + "'");
        const Ptr<iShaderParam> param =
            ShaderEffectInfo::isInternalParameter(name.c_str()) ? Ptr<iShaderParam>() : out.shader->getParam(name.c_str());
        if (!param) {
            std::string known;
            for (const Shader::Parameter& p : effect->getParams()) known += (known.empty() ? "" : ", ") + p.id.str();
            return report.bad("the effect has no parameter '" + name + "' (parameters: " + (known.empty() ? "none" : known) +
                              ")");
        }
        if (!setParameterFromText(values.at(param->getName(), param->getType()), value, error))
            return report.bad("--set " + name + ": " + error);
    }

    const Ptr<HostImage> result = drawEffect(*effect, *out.shader, values, *gpu, *in, inputFiles, error);
    if (!result) return report.bad(error);
    if (!writePngOutput(parsed.value("--out"), *result, error)) return report.bad(error);
    return eExitSuccess;
}
