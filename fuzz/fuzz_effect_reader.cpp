// libFuzzer target: an arbitrary effect file through the reader, with each
// code generator. The reader must never crash, and every error it records
// must carry one of its message prefixes.
#include "ReaderChecks.h"
#include "codegen/CodeGenerators.h"
#include "effects/ShaderEffectInfo.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const TextFile source = TextFile::fromText(text);
    static const Ptr<iShaderCodeGenerator> generators[] = {
        makeCodeGenerator(eShadingLanguageCg, L"/fx/"),
        makeCodeGenerator(eShadingLanguageCg, L"/fx/", CgCodeGenerator::eTargetAnnotated),
        makeCodeGenerator(eShadingLanguageGLSL, L"/fx/"),
    };
    for (const Ptr<iShaderCodeGenerator>& generator : generators) {
        ShaderEffectInfo effect(source);
        effect.read(generator);
        checkErrorPrefixes(effect);
        (void)effect.makeCompileInput(*generator);
    }
    return 0;
}
