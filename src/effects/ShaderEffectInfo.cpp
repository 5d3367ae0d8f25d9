// ShaderEffectInfo: construction, compilation and the compiled effect.
#include "effects/ShaderEffectInfo.h"

#include "codegen/CodeGenerators.h"
#include "host/base/Strings.h"
#include "host/misc/Paths.h"
#include "host/os/OS.h"
#include "host/own/ShaderContract.h"

#include <atomic>

using Text = LightweightString<char>;

namespace {

ShaderCompilationOutput noGPUService() {
    ShaderCompilationOutput out;
    out.errors.push_back({"No GPU service is available to compile effects", 0});
    return out;
}

Text joinLines(const std::vector<Text>& lines) {
    Text text;
    text.reserve(lines.size() * 50);
    for (const Text& line : lines) {
        text += line;
        text += '\n';
    }
    return text;
}

} // namespace

ShaderEffectInfo::ShaderEffectInfo() = default;

ShaderEffectInfo::ShaderEffectInfo(const LightweightString<wchar_t>& fileName, uint64_t time) {
    m_state.fullPath = fileName;
    m_state.fileTime = time;
    m_state.source = TextFile(fileName);
}

ShaderEffectInfo::ShaderEffectInfo(const Ptr<iShaderEffect>& compiled, const LightweightString<wchar_t>& key) {
    m_state.fullPath = key;
    setShader(compiled);
}

ShaderEffectInfo::ShaderEffectInfo(const TextFile& text) { m_state.source = text; }

// Copies and moves take the state whole: not the lock, the reference count or
// a read in progress. A copy reads its source under the source's lock, and an
// assignment writes under the target's, so an effect that others hold is
// never seen half-written (a recompiled file replaces its effect in place).
ShaderEffectInfo::State ShaderEffectInfo::lockedState(const ShaderEffectInfo& o) {
    CriticalSectionLock hold(o.m_lock);
    return o.m_state;
}

ShaderEffectInfo::ShaderEffectInfo(const ShaderEffectInfo& o)
    : Qf::InternalRefCount(), iVirtual(), iObject(), m_state(lockedState(o)) {}

ShaderEffectInfo::ShaderEffectInfo(ShaderEffectInfo&& o) noexcept
    : Qf::InternalRefCount(), iVirtual(), iObject(), m_state(std::move(o.m_state)) {}

ShaderEffectInfo& ShaderEffectInfo::operator=(const ShaderEffectInfo& o) {
    if (this != &o) {
        ShaderEffectInfo copy(o);
        *this = std::move(copy);
    }
    return *this;
}

ShaderEffectInfo& ShaderEffectInfo::operator=(ShaderEffectInfo&& o) noexcept {
    if (this == &o) return *this;
    CriticalSectionLock hold(m_lock);
    m_state = std::move(o.m_state);
    return *this;
}

ShaderEffectInfo::~ShaderEffectInfo() = default;

LightweightString<wchar_t> ShaderEffectInfo::getName() const { return fromUTF8(m_state.name); }
LightweightString<wchar_t> ShaderEffectInfo::getCategory() const { return fromUTF8(m_state.category); }
LightweightString<wchar_t> ShaderEffectInfo::getSubcategory() const { return fromUTF8(m_state.subcategory); }
LightweightString<wchar_t> ShaderEffectInfo::getNotes() const { return fromUTF8(m_state.notes); }

void ShaderEffectInfo::read(const Ptr<iShaderCodeGenerator>& generator) {
    CriticalSectionLock hold(m_lock);
    if (m_state.sourceRead || !generator) return;
    m_state.generator = generator;
    preProcess();
}

ShaderCompileInput ShaderEffectInfo::makeCompileInput(const iShaderCodeGenerator& generator) const {
    ShaderCompileInput input;
    input.path = m_state.fullPath;
    // Every compile defines the special parameters, each name with the value "1".
    for (const char* name : ShaderContract::kSpecialParameters) input.definitions.push_back({name, "1"});
    // Text that was generated already is compiled as it stands, from its file.
    input.fromFile = m_state.processedSource.empty();
    if (input.fromFile) {
        input.text = joinLines(m_state.source.lines());
        return input;
    }
    input.text = joinLines(m_state.processedSource);
    for (ShaderDefinition& extra : generator.getExtraDefinitions(m_state.techniques))
        input.definitions.push_back(std::move(extra));
    return input;
}

uint32_t ShaderSourceMap::fileLineOf(const ShaderError& error) const {
    for (const ReaderError& r : readerErrors)
        if (r.error == error) return r.fileLine;
    return error.line < lines.size() ? lines[error.line] : 0;
}

ShaderSourceMap ShaderEffectInfo::getSourceMap() const {
    CriticalSectionLock hold(m_lock);
    ShaderSourceMap map;
    map.readerErrors = m_state.readerErrors;
    if (m_state.processedSource.empty()) {
        // Generated text is compiled from its file as it stands.
        for (size_t i = 0; i < m_state.source.numLines(); ++i) map.lines.push_back(uint32_t(i + 1));
    } else {
        map.lines = m_state.compiledLineSources;
    }
    return map;
}

bool ShaderEffectInfo::hasFilePath() const {
    CriticalSectionLock hold(m_lock);
    return !m_state.fullPath.empty();
}

ShaderEffectInfo::FileIdentity ShaderEffectInfo::getFileIdentity() const {
    CriticalSectionLock hold(m_lock);
    return {m_state.fullPath, m_state.fileTime};
}

Ptr<iShaderEffect> ShaderEffectInfo::getCompiledShader() const {
    CriticalSectionLock hold(m_lock);
    return m_state.shader;
}

// compile:
//  - a compiled effect is returned at once, with no errors;
//  - the source is read with the given generator, or with a new one for the
//    GPU service's language, unless it was read before;
//  - reading errors are handed out once, and that compile stops there: an
//    effect with reading errors never reaches the GPU compiler. The processed
//    text is kept, so the next compile sends it to the GPU;
//  - text that was generated already is compiled from the file itself;
//  - on success the inputs' sampler states are set and the parameters are
//    rebuilt from the compiled effect.
ShaderCompilationOutput ShaderEffectInfo::compile(Ptr<iShaderCodeGenerator> generator) {
    CriticalSectionLock hold(m_lock);
    if (m_state.shader) return {m_state.shader, {}};

    iGPUService* gpu = OS()->gpu();
    m_state.generator =
        generator ? generator : makeCodeGenerator(gpu ? gpu->getShadingLanguage() : eShadingLanguageCg, getShadersDir());
    if (!m_state.sourceRead) preProcess();

    ShaderCompilationOutput out;
    if (!m_state.errors.empty()) {
        out.errors = std::move(m_state.errors);
        m_state.errors.clear();
        return out;
    }
    if (!gpu) return noGPUService();
    const ShaderCompileInput input = makeCompileInput(*m_state.generator);
    out = input.fromFile ? gpu->compileEffectFile(input.path, input.definitions)
                         : gpu->compileEffectText(input.text, input.definitions);

    if (out.shader) {
        for (const Shader::Input& i : m_state.inputs) out.shader->setSamplerState(i.name, i.scaling, i.edgeMode);
        setShader(out.shader);
    } else {
        for (Shader::Error& e : out.errors) e.message = e.message.trimmedBlanks();
    }
    return out;
}

uint32_t ShaderEffectInfo::getCaps(const Ptr<iShaderEffect>& compiled) {
    uint32_t mask = 0;
    const Ptr<iShaderParam> info = compiled->getParam(Text(ShaderContract::kEffectInfoName));
    if (!info) return mask;
    // Only these words are read back: "CanSize" gives 0x1 alone here, where
    // the declaration gives 0x9. Existing callers rely on that difference.
    int value = 0;
    if (info->getAnnotation("CanSize", value)) mask = value != 0 ? uint32_t(ScaleAware) : 0u;
    value = 0;
    if (info->getAnnotation("HasMinOutputSize", value) && value != 0) mask |= HasMinOutputSize;
    value = 0;
    if (info->getAnnotation("HasMaxOutputSize", value) && value != 0) mask |= HasMaxOutputSize;
    return mask;
}

void ShaderEffectInfo::setShader(const Ptr<iShaderEffect>& compiled) {
    m_state.shader = compiled;
    m_state.params.clear();
    if (!m_state.shader) return;
    m_state.caps = getCaps(m_state.shader);
    // Indices are 16-bit: the scan ends after index 65535 whatever that parameter is.
    for (uint32_t i = 0; i <= UINT16_MAX; ++i) {
        const Ptr<iShaderParam> p = m_state.shader->getParam(uint16_t(i));
        if (!p) break;
        const Text id = p->getName();
        if (isInternalParameter(id)) continue;
        Text description, group;
        p->getAnnotation("Description", description);
        p->getAnnotation("Group", group);
        if (description.empty()) description = id;
        m_state.params.emplace_back(p->getType(), id, fromUTF8(description), fromUTF8(group));
    }
}

namespace {
std::atomic<ShaderEffectInfo::OnDemandCompiler> g_onDemandCompiler{nullptr};
} // namespace

void ShaderEffectInfo::setOnDemandCompiler(OnDemandCompiler compiler) {
    g_onDemandCompiler.store(compiler, std::memory_order_release);
}

Ptr<iShaderEffect> ShaderEffectInfo::getShader() const {
    bool hasPath;
    {
        CriticalSectionLock hold(m_lock);
        if (m_state.shader) return m_state.shader;
        hasPath = !m_state.fullPath.empty();
    }
    const OnDemandCompiler compiler = g_onDemandCompiler.load(std::memory_order_acquire);
    if (hasPath && compiler) compiler(*this);
    return getCompiledShader();
}

int32_t ShaderEffectInfo::findShaderParamIndex(const char* paramName) const {
    const Ptr<iShaderEffect> compiled = getShader();
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
