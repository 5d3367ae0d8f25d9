// ShaderEffectInfo: one effect, from its file to its compiled GPU effect.
//
// It holds the source text, the model read from it (header, inputs,
// parameters, passes, techniques), the processed source that a code generator
// made of it, the errors found while reading, and the compiled effect once it
// exists. Shared as Ptr<ShaderEffectInfo>.
//
// Locking: `lock` serialises compile() of one effect; a second caller waits
// and then gets the stored shader. Reading (preProcess) happens inside the
// first compile. Accessors are not locked: callers read the model once the
// effect is compiled, or own the object alone.
#pragma once

#include "codegen/iShaderCodeGenerator.h"
#include "effects/ShaderModel.h"
#include "host/CriticalSection.h"
#include "host/Ptr.h"
#include "host/ShaderEffect.h"
#include "host/TextFile.h"

#include <cstdint>
#include <vector>

class ShaderEffectInfo : public iObject {
public:
    enum eErrorType : int32_t { eTooManyArguments = 0, eTooFewArguments = 1, eInvalidParameterFlag = 2 };

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
    uint32_t getCaps() const { return caps; }
    const std::vector<Shader::Input>& getInputs() const { return inputs; }
    const std::vector<Shader::Parameter>& getParams() const { return params; }
    const std::vector<Shader::Technique>& getTechniques() const { return techniques; }
    const std::vector<LightweightString<char>>& getProcessedSourceCode() const { return processedSource; }
    const std::vector<Shader::Error>& getErrors() const { return errors; }
    const LightweightString<wchar_t>& getFullPath() const { return fullPath; }
    uint64_t getFileTime() const { return fileTime; }
    const TextFile& getSource() const { return source; }
    void setFileName(const LightweightString<wchar_t>& path) { fullPath = path; }
    void setFile(const TextFile& text) { source = text; }

    // Reads the source with `generator` into the model and processed source,
    // when that has not happened yet. compile() does this itself.
    void read(const Ptr<iShaderCodeGenerator>& generator);

    // Compiles through the GPU service with `generator`, or with the one for
    // the service's shading language when it is null. See ShaderEffectInfo.cpp.
    ShaderCompilationOutput compile(Ptr<iShaderCodeGenerator> generator = {});
    // The compiled effect; null until a compile succeeded.
    Ptr<iShaderEffect> getCompiledShader() const;

    // The parameters that the host writes on every effect at every draw, as
    // the name/value pairs handed to a compile ("_OUTPUTWIDTH"="1", ...).
    static ShaderDefinitions specialParameterDefinitions();

    // Index of the compiled parameter of exactly that name, or -1.
    int32_t findShaderParamIndex(const char* name) const;
    // Select a technique of the compiled effect; nothing when not compiled.
    void setTechnique(const LightweightString<char>& name);
    void setTechnique(uint16_t index);

    static bool isInternalParameter(const LightweightString<char>& name) { return !name.empty() && name[0] == '_'; }

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
    Shader::Parameter& addParameter(const Args& args, iShaderParam::eType type);

    bool checkParameterFlags(const LightweightString<char>& flags, const char** table);
    static bool isAcceptableParamFlag(const LightweightString<char>& flag, const char** table);
    static LightweightString<char> makeTextureName(const LightweightString<char>& name);
    void recordError(eErrorType kind, const LightweightString<char>& text);

    static uint32_t getCaps(const Ptr<iShaderEffect>& shader);
    void setShader(const Ptr<iShaderEffect>& shader);

    Ptr<iShaderCodeGenerator> generator;
    Ptr<iShaderEffect> shader;
    CriticalSection lock;
    LightweightString<char> name, category, subcategory, notes;
    uint32_t caps = 0;
    std::vector<Shader::Input> inputs;
    std::vector<Shader::Technique> techniques;
    std::vector<Shader::Function> pendingPasses;
    std::vector<Shader::Parameter> params;
    std::vector<LightweightString<char>> processedSource;
    std::vector<Shader::Error> errors;
    LightweightString<wchar_t> fullPath;
    uint64_t fileTime = 0;
    TextFile source;
};
