#include "codegen/CodeGenerators.h"

#include "codegen/GLSLCodeGenerator.h"

Ptr<iShaderCodeGenerator> makeCodeGenerator(eShadingLanguage language, const LightweightString<wchar_t>& includeDirectory,
                                            CgCodeGenerator::eTarget target) {
    if (language == eShadingLanguageGLSL) return makePtr<GLSLCodeGenerator>();
    return makePtr<CgCodeGenerator>(target, includeDirectory);
}
