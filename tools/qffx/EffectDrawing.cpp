#include "EffectDrawing.h"
#include "ToolFiles.h"

#include "host/base/Strings.h"
#include "host/image/CubeLUT.h"
#include "host/misc/Paths.h"
#include "host/os/OS.h"
#include "host/own/Files.h"
#include "platform/png/PngFile.h"

#include <set>

namespace {

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

// The file named for an input: a .cube look-up table for a 3D input, a PNG
// picture for any other. The other kind is refused: it would draw a black
// picture.
Ptr<iGPUImage> readInputFile(const Shader::Input& input, const std::string& path, iGPUService& gpu, std::string& error) {
    const std::string name = input.name.str();
    const LightweightString<wchar_t> file = fromUTF8(path.c_str());
    const bool isCube = toLower(getExtension(file)) == L"cube";
    if (input.dimension == Shader::Input::e3D) {
        if (!isCube) {
            error = "input '" + name + "' is a 3D look-up table: give a .cube file, not '" + path + "'";
            return {};
        }
        std::string text;
        if (!Files::readWholeFile(file, CubeLUT::kMaxFileBytes, text, error)) return {};
        const CubeLUT::Result lut = CubeLUT::read(text);
        if (!lut.image) {
            error = path + ": line " + std::to_string(lut.line) + ": " + lut.error;
            return {};
        }
        return lut.image->createGPUImage(gpu);
    }
    if (isCube) {
        error = "input '" + name + "' takes a picture, not the 3D look-up table '" + path + "'";
        return {};
    }
    const Ptr<HostImage> picture = readPngInput(path, error, gpu.maxImageSide());
    return picture ? picture->createGPUImage(gpu) : Ptr<iGPUImage>();
}

} // namespace

Ptr<HostImage> drawEffect(const ShaderEffectInfo& effect, iShaderEffect& shader, const EffectValues& values, iGPUService& gpu,
                          const HostImage& picture, const std::map<std::string, std::string>& inputFiles, std::string& error) {
    std::vector<ShaderInputBinding> bindings;
    std::set<std::string> bound;
    bool firstPicture = true;
    for (const Shader::Input& input : effect.getInputs()) {
        const std::string name = input.name.str();
        Ptr<iGPUImage> image;
        if (auto it = inputFiles.find(name); it != inputFiles.end()) {
            image = readInputFile(input, it->second, gpu, error);
            if (!image) return {};
            bound.insert(name);
        } else if (input.dimension == Shader::Input::e3D) {
            image = identityLUT(gpu);
        } else if (firstPicture && !input.isMask) {
            image = picture.createGPUImage(gpu);
            firstPicture = false;
        } else {
            error = "no picture for input '" + name + "' (give --input " + name + "=FILE.png)";
            return {};
        }
        if (!image) {
            error = "cannot make a GPU image for input '" + name + "'";
            return {};
        }
        bindings.push_back(ShaderInputBinding::whole(input.name, image));
    }
    for (const auto& [name, file] : inputFiles)
        if (!bound.count(name)) {
            error = "the effect has no input '" + name + "'";
            return {};
        }

    if (!values.writeTo(shader, error)) return {};
    const Ptr<iGPUImage> target = gpu.createImage(picture.getSize(), picture.getFormat());
    if (!target || !shader.draw(target, bindings)) {
        error = "the draw failed";
        return {};
    }
    const Ptr<HostImage> result = HostImage::fromGPUImage(*target);
    if (!result) error = "cannot read the result back from the GPU";
    return result;
}
