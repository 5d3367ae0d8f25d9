// libFuzzer target: the path from an effect file on disk to the text a GPU
// service compiles. The input is split into an effect file and an include
// file beside it (the first byte chooses where); the effect is loaded as a
// file, read with each code generator, and made into compile input; the rest
// of the input is then read as a driver's compile log. Nothing may crash, an
// effect the reader accepts must stay within the 16-bit line records, and
// every error record must carry one of the reader's prefixes.
#include "ReaderChecks.h"
#include "codegen/CodeGenerators.h"
#include "effects/ShaderEffectInfo.h"
#include "host/base/Strings.h"
#include "host/own/Files.h"
#include "platform/gl/GLInfoLog.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unistd.h>

namespace {

const std::string& workDirectory() {
    static const std::string dir = [] {
        char pattern[] = "/tmp/qffx-fuzz-XXXXXX";
        const char* made = mkdtemp(pattern);
        return std::string(made ? made : "/tmp") + "/";
    }();
    return dir;
}

void write(const std::string& path, const uint8_t* data, size_t size) {
    std::string error;
    Files::writeWholeFile(fromUTF8(path.c_str()), data, size, error);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const size_t split = 1 + (size - 1) * data[0] / 255;
    const std::string effectPath = workDirectory() + "Effect.fx";
    write(effectPath, data + 1, split - 1);
    write(workDirectory() + "_extra.fx", data + split, size - split);

    TextFile source;
    if (!source.load(fromUTF8(effectPath.c_str()))) return 0;
    static const Ptr<iShaderCodeGenerator> generators[] = {
        makeCodeGenerator(eShadingLanguageCg, fromUTF8(workDirectory().c_str())),
        makeCodeGenerator(eShadingLanguageGLSL, fromUTF8(workDirectory().c_str())),
    };
    for (const Ptr<iShaderCodeGenerator>& generator : generators) {
        ShaderEffectInfo effect(source);
        effect.setFileName(fromUTF8(effectPath.c_str()));
        effect.read(generator);
        checkErrorPrefixes(effect);
        const ShaderCompileInput input = effect.makeCompileInput(*generator);
        if (effect.getErrors().empty() && !input.fromFile && std::count(input.text.begin(), input.text.end(), '\n') > 65535)
            __builtin_trap();
    }
    const std::string_view log(reinterpret_cast<const char*>(data + split), size - split);
    (void)parseInfoLog(log, 2);
    return 0;
}
