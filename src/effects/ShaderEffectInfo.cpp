// ShaderEffectInfo: construction, compilation and the compiled effect.
#include "effects/ShaderEffectInfo.h"

#include "codegen/CgCodeGenerator.h"
#include "codegen/GLSLCodeGenerator.h"
#include "host/OS.h"
#include "host/Strings.h"

using Text = LightweightString<char>;

namespace {

// The parameters that the host writes on every effect at every draw.
const char* const kSpecialParameters[] = {
    "_OUTPUTWIDTH", "_OUTPUTHEIGHT", "_OUTPUTASPECTRATIO", "_PROGRESS", "_OUTPUTFPS", "_LENGTH", "_LENGTHFRAMES",
};

Ptr<iShaderCodeGenerator> generatorForLanguage(int language) {
    if (language == 1) return Ptr<iShaderCodeGenerator>(new GLSLCodeGenerator());
    return Ptr<iShaderCodeGenerator>(new CgCodeGenerator());
}

ShaderCompilationOutput noGPUService() {
    ShaderCompilationOutput out;
    out.errors.push_back({"No GPU service is available to compile effects", 0});
    return out;
}

} // namespace

ShaderDefinitions ShaderEffectInfo::specialParameterDefinitions() {
    ShaderDefinitions definitions;
    for (const char* special : kSpecialParameters) definitions.push_back({special, "1"});
    return definitions;
}

ShaderEffectInfo::ShaderEffectInfo() = default;

ShaderEffectInfo::ShaderEffectInfo(const LightweightString<wchar_t>& fileName, uint64_t time)
    : fullPath(fileName), fileTime(time), source(fileName) {}

ShaderEffectInfo::ShaderEffectInfo(const Ptr<iShaderEffect>& compiled, const LightweightString<wchar_t>& key)
    : fullPath(key) {
    setShader(compiled);
}

ShaderEffectInfo::ShaderEffectInfo(const TextFile& text) : source(text) {}

// Copies take every member but the lock and the reference count.
ShaderEffectInfo::ShaderEffectInfo(const ShaderEffectInfo& o)
    : Qf::InternalRefCount(), iVirtual(), iObject(), generator(o.generator), shader(o.shader), name(o.name),
      category(o.category), subcategory(o.subcategory), notes(o.notes), caps(o.caps), inputs(o.inputs),
      techniques(o.techniques), pendingPasses(o.pendingPasses), params(o.params), processedSource(o.processedSource),
      errors(o.errors), fullPath(o.fullPath), fileTime(o.fileTime), source(o.source) {}

ShaderEffectInfo::ShaderEffectInfo(ShaderEffectInfo&& o) noexcept
    : Qf::InternalRefCount(), iVirtual(), iObject(), generator(std::move(o.generator)), shader(std::move(o.shader)),
      name(std::move(o.name)), category(std::move(o.category)), subcategory(std::move(o.subcategory)),
      notes(std::move(o.notes)), caps(o.caps), inputs(std::move(o.inputs)), techniques(std::move(o.techniques)),
      pendingPasses(std::move(o.pendingPasses)), params(std::move(o.params)),
      processedSource(std::move(o.processedSource)), errors(std::move(o.errors)), fullPath(std::move(o.fullPath)),
      fileTime(o.fileTime), source(std::move(o.source)) {}

ShaderEffectInfo& ShaderEffectInfo::operator=(const ShaderEffectInfo& o) {
    if (this != &o) {
        ShaderEffectInfo copy(o);
        *this = std::move(copy);
    }
    return *this;
}

ShaderEffectInfo& ShaderEffectInfo::operator=(ShaderEffectInfo&& o) noexcept {
    if (this == &o) return *this;
    generator = std::move(o.generator);
    shader = std::move(o.shader);
    name = std::move(o.name);
    category = std::move(o.category);
    subcategory = std::move(o.subcategory);
    notes = std::move(o.notes);
    caps = o.caps;
    inputs = std::move(o.inputs);
    techniques = std::move(o.techniques);
    pendingPasses = std::move(o.pendingPasses);
    params = std::move(o.params);
    processedSource = std::move(o.processedSource);
    errors = std::move(o.errors);
    fullPath = std::move(o.fullPath);
    fileTime = o.fileTime;
    source = std::move(o.source);
    return *this;
}

ShaderEffectInfo::~ShaderEffectInfo() = default;

LightweightString<wchar_t> ShaderEffectInfo::getName() const { return fromUTF8(name); }
LightweightString<wchar_t> ShaderEffectInfo::getCategory() const { return fromUTF8(category); }
LightweightString<wchar_t> ShaderEffectInfo::getSubcategory() const { return fromUTF8(subcategory); }
LightweightString<wchar_t> ShaderEffectInfo::getNotes() const { return fromUTF8(notes); }

void ShaderEffectInfo::read(const Ptr<iShaderCodeGenerator>& gen) {
    CriticalSectionLock hold(lock);
    if (!processedSource.empty() || !gen) return;
    generator = gen;
    preProcess();
}

Ptr<iShaderEffect> ShaderEffectInfo::getCompiledShader() const {
    CriticalSectionLock hold(const_cast<CriticalSection&>(lock));
    return shader;
}

// compile:
//  - a compiled effect is returned at once, with no errors;
//  - the source is read with the given generator (or the one for the GPU
//    service's language) unless it was read before;
//  - text that was generated already is compiled from the file itself;
//  - reading errors are handed out once, and that compile stops there; the
//    processed text is kept, so the next compile sends it to the GPU;
//  - on success the inputs' sampler states are set and the parameters are
//    rebuilt from the compiled effect.
ShaderCompilationOutput ShaderEffectInfo::compile(Ptr<iShaderCodeGenerator> gen) {
    CriticalSectionLock hold(lock);
    if (shader) return {shader, {}};

    ShaderDefinitions definitions = specialParameterDefinitions();

    iGPUService* gpu = OS()->gpu();
    // Text read earlier (read()) keeps the generator that wrote it: the GLSL
    // pass map lives in that generator.
    if (!gen && !processedSource.empty()) gen = generator;
    generator = gen ? gen : generatorForLanguage(gpu ? gpu->getShadingLanguage() : 0);
    if (processedSource.empty()) preProcess();

    ShaderCompilationOutput out;
    if (processedSource.empty()) {
        if (!gpu) return noGPUService();
        out = gpu->compileEffectFile(fullPath, definitions);
    } else {
        if (!errors.empty()) {
            out.errors = std::move(errors);
            errors.clear();
            return out;
        }
        Text text;
        text.reserve(processedSource.size() * 50);
        for (const Text& line : processedSource) {
            text += line;
            text += '\n';
        }
        for (ShaderDefinition& extra : generator->getExtraDefinitions()) definitions.push_back(std::move(extra));
        if (!gpu) return noGPUService();
        out = gpu->compileEffectText(text, definitions);
    }

    if (out.shader) {
        for (const Shader::Input& input : inputs) out.shader->setSamplerState(input.name, input.scaling, input.edgeMode);
        setShader(out.shader);
    } else {
        for (Shader::Error& e : out.errors) e.message = e.message.trimmedBlanks();
    }
    return out;
}

uint32_t ShaderEffectInfo::getCaps(const Ptr<iShaderEffect>& compiled) {
    uint32_t mask = 0;
    const Ptr<iShaderParam> info = compiled->getParam(Text("_QfrmEffectInfo"));
    if (!info) return mask;
    // Only these words are read back: "CanSize" gives 0x1 alone here.
    int value = 0;
    if (info->getAnnotation("CanSize", value)) mask = value != 0 ? uint32_t(ScaleAware) : 0u;
    value = 0;
    if (info->getAnnotation("HasMinOutputSize", value) && value != 0) mask |= HasMinOutputSize;
    value = 0;
    if (info->getAnnotation("HasMaxOutputSize", value) && value != 0) mask |= HasMaxOutputSize;
    return mask;
}

void ShaderEffectInfo::setShader(const Ptr<iShaderEffect>& compiled) {
    shader = compiled;
    params.clear();
    if (!shader) return;
    caps = getCaps(shader);
    // Indices are 16-bit: the scan ends after index 65535 whatever that parameter is.
    for (uint32_t i = 0; i <= UINT16_MAX; ++i) {
        const Ptr<iShaderParam> p = shader->getParam(uint16_t(i));
        if (!p) break;
        const Text id = p->getName();
        if (id.startsWith("_")) continue;
        Text description, group;
        p->getAnnotation("Description", description);
        p->getAnnotation("Group", group);
        if (description.empty()) description = id;
        params.emplace_back(p->getType(), id, fromUTF8(description), fromUTF8(group));
    }
}

int32_t ShaderEffectInfo::findShaderParamIndex(const char* paramName) const {
    const Ptr<iShaderEffect> compiled = getCompiledShader();
    if (!compiled || !paramName) return -1;
    for (uint16_t i = 0;; ++i) {
        const Ptr<iShaderParam> p = compiled->getParam(i);
        if (!p) return -1;
        if (p->getName() == paramName) return i;
        if (i == UINT16_MAX) return -1;
    }
}

void ShaderEffectInfo::setTechnique(const Text& techniqueName) {
    if (const Ptr<iShaderEffect> compiled = getCompiledShader()) compiled->setTechnique(techniqueName);
}

void ShaderEffectInfo::setTechnique(uint16_t index) {
    if (const Ptr<iShaderEffect> compiled = getCompiledShader()) compiled->setTechnique(index);
}
