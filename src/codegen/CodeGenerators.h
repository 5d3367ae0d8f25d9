// The one place where a code generator is chosen.
#pragma once

#include "codegen/CgCodeGenerator.h"
#include "host/own/ShaderContract.h"

// A generator for `language`: GLSL for eShadingLanguageGLSL, Cg for any other
// value. `includeDirectory` is the shaders directory that Cg text includes
// its _utils.fx from; `target` chooses the Cg form (GLSL has only one).
Ptr<iShaderCodeGenerator> makeCodeGenerator(eShadingLanguage language, const LightweightString<wchar_t>& includeDirectory,
                                            CgCodeGenerator::eTarget target = CgCodeGenerator::eTargetPlain);
