// libFuzzer target: an arbitrary effect file through the reader, with each
// code generator. The reader must never crash, and every error it records
// must carry one of its three message prefixes.
#include "codegen/CgCodeGenerator.h"
#include "codegen/GLSLCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const TextFile source = TextFile::fromText(text);
    // The GLSL generator keeps the pass list it numbered: one per read.
    const Ptr<iShaderCodeGenerator> generators[] = {
        makePtr<CgCodeGenerator>(),
        makePtr<CgCodeGenerator>(CgCodeGenerator::eTargetAnnotated),
        makePtr<GLSLCodeGenerator>(),
    };
    for (const Ptr<iShaderCodeGenerator>& generator : generators) {
        ShaderEffectInfo effect(source);
        effect.read(generator);
        for (const ShaderError& e : effect.getErrors()) {
            const std::string_view m = e.message.view();
            if (!m.starts_with("Too many arguments for ") && !m.starts_with("Too few arguments for ") &&
                !m.starts_with("Invalid parameter flag : "))
                __builtin_trap();
        }
        (void)generator->getExtraDefinitions();
    }
    return 0;
}
