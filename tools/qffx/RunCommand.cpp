// qffx run: runs an effect on PNG images with the real GPU service.
#include "Commands.h"
#include "EffectDrawing.h"
#include "Options.h"
#include "ParameterValues.h"
#include "ToolEffects.h"

#include "host/HostImage.h"
#include "host/Strings.h"
#include "platform/png/PngFile.h"

#include <cstdio>
#include <map>

namespace {

const char* const kHelp = "usage: qffx run EFFECT --in IN.png --out OUT.png [--input NAME=FILE.png]...\n"
                          "                [--set NAME=VALUE]... [--shaders DIR] [--templates DIR]\n"
                          "\n"
                          "Compiles EFFECT (an .fx file, or the name of an effect in the shaders or\n"
                          "effect-templates directory) and draws it over an image the size of IN.png.\n"
                          "\n"
                          "  --in IN.png            the picture bound to the effect's first input\n"
                          "  --out OUT.png          where the result is written (8 or 16 bits, as IN.png)\n"
                          "  --input NAME=FILE     the picture for another input (e.g. Mask=mask.png), or\n"
                          "                         a .cube file for a 3D input\n"
                          "  --set NAME=VALUE       a parameter value: a number (float, int), true/false\n"
                          "                         (bool), or comma-separated numbers (float3, float4,\n"
                          "                         float3x3 with 9 numbers, rows in order)\n"
                          "\n"
                          "A 3D input without a file gets an identity look-up table. Exit status: 0 on\n"
                          "success, 1 when the effect does not compile, 2 for bad arguments or files.\n";

int fail(const std::string& message) { return failWith("run", message); }

bool splitNameValue(const std::string& text, std::string& name, std::string& value) {
    const size_t eq = text.find('=');
    if (eq == std::string::npos || eq == 0) return false;
    name = text.substr(0, eq);
    value = text.substr(eq + 1);
    return true;
}

} // namespace

int runRun(const CommandArgs& args) {
    const ParsedArgs parsed = parseArgs(args, {{"--in", true}, {"--out", true}, {"--input", true, true}, {"--set", true, true}});
    if (parsed.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!parsed.error.empty()) return usageError("run", parsed.error);
    if (parsed.positional.size() != 1) return usageError("run", "give exactly one effect");
    if (!parsed.has("--in") || !parsed.has("--out")) return usageError("run", "--in and --out are required");

    const Ptr<ShaderEffectInfo> effect = openEffect("run", parsed.positional[0]);
    if (!effect) return 2;

    std::map<std::string, std::string> inputFiles;
    for (const std::string& pair : parsed.values("--input")) {
        std::string name, file;
        if (!splitNameValue(pair, name, file)) return usageError("run", "--input takes NAME=FILE.png, not '" + pair + "'");
        inputFiles[name] = file;
    }

    iGPUService* gpu = startGPU("run");
    if (!gpu) return 2;

    std::string error;
    const Ptr<HostImage> in = PngFile::read(fromUTF8(parsed.value("--in").c_str()), error, gpu->maxImageSide());
    if (!in) return fail(error);

    const ShaderCompilationOutput out = effect->compile();
    if (!out.shader) {
        printEffectErrors(*effect, out.errors);
        return 1;
    }

    EffectValues values(*effect);
    for (const std::string& pair : parsed.values("--set")) {
        std::string name, value;
        if (!splitNameValue(pair, name, value)) return usageError("run", "--set takes NAME=VALUE, not '" + pair + "'");
        const Ptr<iShaderParam> param =
            ShaderEffectInfo::isInternalParameter(name.c_str()) ? Ptr<iShaderParam>() : out.shader->getParam(name.c_str());
        if (!param) {
            std::string known;
            for (const Shader::Parameter& p : effect->getParams()) known += (known.empty() ? "" : ", ") + p.id.str();
            return fail("the effect has no parameter '" + name + "' (parameters: " + (known.empty() ? "none" : known) + ")");
        }
        if (!setParameterFromText(values.at(param->getName(), param->getType()), value, error))
            return fail("--set " + name + ": " + error);
    }

    const Ptr<HostImage> result = drawEffect(*effect, *out.shader, values, *gpu, *in, inputFiles, error);
    if (!result) return fail(error);
    if (!PngFile::write(fromUTF8(parsed.value("--out").c_str()), *result, error)) return fail(error);
    return 0;
}
