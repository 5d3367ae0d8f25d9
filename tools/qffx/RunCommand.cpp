// qffx run: runs an effect on PNG images with the real GPU service.
#include "Commands.h"
#include "Options.h"
#include "ParameterValues.h"
#include "ToolEffects.h"

#include "host/CubeLUT.h"
#include "host/Files.h"
#include "host/HostImage.h"
#include "host/Paths.h"
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

// An identity 3D look-up table: the colour of each lattice point is its position.
Ptr<iGPUImage> identityLUT(iGPUService& gpu) {
    constexpr int kSize = 33; // the LUT size that the shipped ApplyLUT effect assumes by default
    const Ptr<HostImage3D> lut = HostImage3D::create(kSize, kSize, kSize, 3);
    if (!lut) return {};
    for (int b = 0; b < kSize; ++b)
        for (int g = 0; g < kSize; ++g)
            for (int r = 0; r < kSize; ++r) {
                float* texel = lut->texel(r, g, b);
                texel[0] = r / float(kSize - 1);
                texel[1] = g / float(kSize - 1);
                texel[2] = b / float(kSize - 1);
            }
    return lut->createGPUImage(gpu);
}

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
        if (!setParameterFromText(*param, value, error)) return fail("--set " + name + ": " + error);
    }

    // Bindings follow the effect's inputs in declaration order, so that the
    // N-th input reads its picture through uvN.
    std::vector<ShaderInputBinding> bindings;
    bool firstPicture = true;
    for (const Shader::Input& input : effect->getInputs()) {
        const std::string name = input.name.str();
        Ptr<iGPUImage> image;
        if (auto it = inputFiles.find(name); it != inputFiles.end()) {
            // A 3D input takes a .cube look-up table, a 2D input a picture:
            // the other kind would run and give a black picture.
            const LightweightString<wchar_t> file = fromUTF8(it->second.c_str());
            const bool isCube = toLower(getExtension(file)) == L"cube";
            if (input.dimension == Shader::Input::e3D) {
                if (!isCube)
                    return fail("input '" + name + "' is a 3D look-up table: give a .cube file, not '" + it->second + "'");
                std::string text;
                if (!Files::readWholeFile(file, CubeLUT::kMaxFileBytes, text, error)) return fail(error);
                const CubeLUT::Result lut = CubeLUT::read(text);
                if (!lut.image) return fail(it->second + ": line " + std::to_string(lut.line) + ": " + lut.error);
                image = lut.image->createGPUImage(*gpu);
            } else {
                if (isCube) return fail("input '" + name + "' takes a picture, not the 3D look-up table '" + it->second + "'");
                const Ptr<HostImage> picture = PngFile::read(file, error, gpu->maxImageSide());
                if (!picture) return fail(error);
                image = picture->createGPUImage(*gpu);
            }
            inputFiles.erase(it);
        } else if (input.dimension == Shader::Input::e3D) {
            image = identityLUT(*gpu);
        } else if (firstPicture && !input.isMask) {
            image = in->createGPUImage(*gpu);
            firstPicture = false;
        } else {
            return fail("no picture for input '" + name + "' (give --input " + name + "=FILE.png)");
        }
        if (!image) return fail("cannot make a GPU image for input '" + name + "'");
        bindings.push_back(ShaderInputBinding::whole(input.name, image));
    }
    if (!inputFiles.empty()) return fail("the effect has no input '" + inputFiles.begin()->first + "'");

    const Ptr<iGPUImage> target = gpu->createImage(in->getSize(), in->getFormat());
    if (!target || !out.shader->draw(target, bindings)) return fail("the draw failed");
    const Ptr<HostImage> result = HostImage::fromGPUImage(*target);
    if (!result) return fail("cannot read the result back from the GPU");
    if (!PngFile::write(fromUTF8(parsed.value("--out").c_str()), *result, error)) return fail(error);
    return 0;
}
