// ShaderEffectInfo: one effect, from its file to its compiled GPU effect.
//
// It holds the source text, the model read from it (header, inputs,
// parameters, passes, techniques), the processed source that a code generator
// made of it, the errors found while reading, and the compiled effect once it
// exists. Shared as Ptr<ShaderEffectInfo>.
//
// Locking: `lock` serialises compile() of one effect; a second caller waits
// and then gets the stored shader. Assignment holds the target's lock and a
// copy its source's, so an effect replaced in place (a recompiled file) is
// never seen half-written by getShader(). Reading (preProcess) happens inside
// the first compile. Accessors are not locked: callers read the model once
// the effect is compiled, or own the object alone, and do not keep the
// references that getParams, getInputs and getTechniques return across an
// assignment (the manager's recompileAll assigns in place).
#pragma once

#include "codegen/iShaderCodeGenerator.h"
#include "host/base/CriticalSection.h"
#include "host/base/Ptr.h"
#include "host/misc/TextFile.h"
#include "host/os/ShaderEffect.h"
#include "model/ShaderModel.h"

#include <cstdint>
#include <vector>

// What a compile hands to the GPU service.
struct ShaderCompileInput {
    // The source is generated text already: the service compiles the file at
    // `path` as it stands, and `text` is that file's own text.
    bool fromFile = false;
    LightweightString<wchar_t> path;
    // The processed source, each line followed by a line feed.
    LightweightString<char> text;
    // The special parameters, then (for processed text) the generator's extras.
    ShaderDefinitions definitions;
};

// Where the text read from an effect file came from, so that tools can show
// errors at the author's own lines. The error records themselves keep their
// lines in the generated text; this is kept beside them.
struct ShaderSourceMap {
    // For each line of the text a compile hands to the GPU service (index: its
    // 0-based line), the 1-based line of the effect file that made it; 0 where
    // no line did. A copied code line maps to itself, a declaration's text to
    // the declaration, the technique text at the end to the entry point or
    // pass it names. Text compiled from its file as it stands maps to itself.
    std::vector<uint32_t> lines;
    // The reader's own errors, each with the file line of its declaration.
    struct ReaderError {
        ShaderError error;
        uint32_t fileLine = 0;
    };
    std::vector<ReaderError> readerErrors;

    // The file line an error of a read or a compile concerns: a reader error's
    // own declaration, else the file line of the generated line it names (0
    // when none is known).
    uint32_t fileLineOf(const ShaderError& error) const;
};

class ShaderEffectInfo : public iObject {
public:
    enum eErrorType : int32_t {
        eTooManyArguments = 0,     // "Too many arguments for " + signature
        eTooFewArguments = 1,      // "Too few arguments for " + signature
        eInvalidParameterFlag = 2, // "Invalid parameter flag : " + flag
        eNumberOutOfRange = 3,     // "Number out of range : " + argument (beyond what a float or int holds)
        eTooManyLines = 4,         // "Too many lines : " + count (line records are 16-bit)
    };

    ShaderEffectInfo();
    ShaderEffectInfo(const LightweightString<wchar_t>& fileName, uint64_t fileTime);
    // An effect that exists only in compiled form; `name` is its key.
    ShaderEffectInfo(const Ptr<iShaderEffect>& shader, const LightweightString<wchar_t>& name);
    explicit ShaderEffectInfo(const TextFile& text);
    ShaderEffectInfo(const ShaderEffectInfo& other);
    ShaderEffectInfo(ShaderEffectInfo&& other) noexcept;
    ShaderEffectInfo& operator=(const ShaderEffectInfo& other);
    ShaderEffectInfo& operator=(ShaderEffectInfo&& other) noexcept;
    ~ShaderEffectInfo() override;

    LightweightString<wchar_t> getName() const;
    LightweightString<wchar_t> getCategory() const;
    LightweightString<wchar_t> getSubcategory() const;
    LightweightString<wchar_t> getNotes() const;
    uint32_t getCaps() const { return m_state.caps; }
    const std::vector<Shader::Input>& getInputs() const { return m_state.inputs; }
    const std::vector<Shader::Parameter>& getParams() const { return m_state.params; }
    const std::vector<Shader::Technique>& getTechniques() const { return m_state.techniques; }
    const std::vector<LightweightString<char>>& getProcessedSourceCode() const { return m_state.processedSource; }
    const std::vector<Shader::Error>& getErrors() const { return m_state.errors; }
    // Declarations that give only an ID: shader variables the host sets, with
    // no user-visible parameter (not part of getParams()).
    const std::vector<Shader::Parameter>& getVariables() const { return m_state.variables; }
    // Where each line of the read text came from (see ShaderSourceMap).
    ShaderSourceMap getSourceMap() const;
    const LightweightString<wchar_t>& getFullPath() const { return m_state.fullPath; }
    // Whether the effect comes from a file (run-time effects have no path);
    // read under the lock, so that it is safe beside an assignment in place.
    bool hasFilePath() const;
    // The path and the modification stamp, copied together under the lock.
    struct FileIdentity {
        LightweightString<wchar_t> path;
        uint64_t time = 0;
    };
    FileIdentity getFileIdentity() const;
    uint64_t getFileTime() const { return m_state.fileTime; }
    const TextFile& getSource() const { return m_state.source; }
    void setFileName(const LightweightString<wchar_t>& path) { m_state.fullPath = path; }
    void setFile(const TextFile& text) { m_state.source = text; }

    // Reads the source with `generator` into the model and processed source,
    // unless it was read before. compile() does this itself.
    void read(const Ptr<iShaderCodeGenerator>& generator);
    // What compiling the text read with `generator` hands to the GPU service.
    ShaderCompileInput makeCompileInput(const iShaderCodeGenerator& generator) const;

    // Compiles through the GPU service with `generator`, or with a new one for
    // the service's shading language when it is null. See ShaderEffectInfo.cpp.
    ShaderCompilationOutput compile(Ptr<iShaderCodeGenerator> generator = {});
    // The compiled effect; null until a compile succeeded.
    Ptr<iShaderEffect> getCompiledShader() const;
    // The compiled effect, compiled on demand through the effect manager when
    // it has none yet and has a file path (run-time effects have none); null
    // when that compile fails.
    Ptr<iShaderEffect> getShader() const;
    bool valid() const { return bool(getShader()); }

    // Who compiles an effect on demand: the effect manager installs itself
    // here, as it sits above this class. Without one, getShader() compiles nothing.
    using OnDemandCompiler = Ptr<iShaderEffect> (*)(const ShaderEffectInfo& effect);
    static void setOnDemandCompiler(OnDemandCompiler compiler);

    // Index of the compiled parameter of exactly that name, or -1 (compiles
    // on demand like getShader()).
    int32_t findShaderParamIndex(const char* name) const;
    // Select a technique of the compiled effect; nothing when not compiled.
    void setTechnique(const LightweightString<char>& name);
    void setTechnique(uint16_t index);

    static bool isInternalParameter(const LightweightString<char>& name) { return !name.empty() && name[0] == '_'; }

    // The message prefix of each kind of error the reader records.
    static const char* errorPrefix(eErrorType kind);

    // Declaration arguments: split, enclosing quotes stripped, "kNo..." emptied.
    static std::vector<LightweightString<char>> extractDeclarationArguments(const LightweightString<char>& line);

    // The accepted flag words of float and colour parameters, in table order.
    static std::vector<LightweightString<char>> getDoubleParameterFlags();
    static std::vector<LightweightString<char>> getColourParameterFlags();

private:
    using Args = std::vector<LightweightString<char>>;

    void preProcess();
    Shader::Lines dispatchDeclaration(const LightweightString<char>& trimmedLine);

    Shader::Lines handleEffectDeclaration(const Args& args);
    Shader::Lines handleFloatParam(const Args& args, bool animated);
    Shader::Lines handleIntParam(const Args& args);
    Shader::Lines handleBoolParam(const Args& args);
    Shader::Lines handleColourParam(const Args& args);
    Shader::Lines handleFloat3Param(const Args& args);
    Shader::Lines handleFloat3x3Param(const Args& args);
    Shader::Lines handleInput(const Args& args, Shader::Input::eDimension dimension);
    Shader::Lines handleInputs(const Args& args);
    Shader::Lines handleMask(const Args& args);
    Shader::Lines handlePass(const Args& args);
    Shader::Lines handleEntryPoint(const Args& args);
    Shader::Lines handleIncludeDirective(const LightweightString<char>& line);
    Shader::Lines declareVariableOnly(const Args& args, iShaderParam::eType type);
    bool readFloat(const LightweightString<char>& text, double& value);
    bool readInteger(const LightweightString<char>& text, int64_t& value);
    Shader::Parameter& addParameter(const Args& args, iShaderParam::eType type);

    bool checkParameterFlags(const LightweightString<char>& flags, const char** table);
    static bool isAcceptableParamFlag(const LightweightString<char>& flag, const char** table);
    static LightweightString<char> makeTextureName(const LightweightString<char>& name);
    void recordError(eErrorType kind, const LightweightString<char>& text);
    void appendProcessed(Shader::Lines&& lines, uint32_t fileLine);
    void appendTechniques();

    static uint32_t getCaps(const Ptr<iShaderEffect>& shader);
    void setShader(const Ptr<iShaderEffect>& shader);

    // Everything a copy or a move takes: one structure, so that a member added
    // here is copied too (an effect recompiled in place is assigned whole).
    struct State {
        Ptr<iShaderCodeGenerator> generator;
        Ptr<iShaderEffect> shader;
        LightweightString<char> name, category, subcategory, notes;
        uint32_t caps = 0;
        std::vector<Shader::Input> inputs;
        std::vector<Shader::Technique> techniques;
        std::vector<Shader::Function> pendingPasses;
        std::vector<Shader::Parameter> params;
        std::vector<LightweightString<char>> processedSource;
        std::vector<Shader::Error> errors;
        std::vector<Shader::Parameter> variables;
        // The source map: a file line per compiled line, and the reader's errors
        // with their file lines (kept after the errors are handed out).
        std::vector<uint32_t> compiledLineSources;
        std::vector<ShaderSourceMap::ReaderError> readerErrors;
        LightweightString<wchar_t> fullPath;
        uint64_t fileTime = 0;
        TextFile source;
        // The source has been read. Generated text leaves the processed source
        // empty; this keeps a retry from reading (and adding its inputs) twice.
        bool sourceRead = false;
    };

    static State lockedState(const ShaderEffectInfo& other);

    State m_state;
    // Not copied: each object has its own.
    mutable CriticalSection m_lock;
    // While reading: the file line being read, and the file line of each pass
    // and entry function declared (by function name). Not copied: only a read
    // in progress uses them.
    uint32_t m_readingLine = 0;
    std::vector<std::pair<LightweightString<char>, uint32_t>> m_functionLines;
};
