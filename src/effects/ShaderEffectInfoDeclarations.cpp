// Reading an effect file: the line scanner and the declaration handlers.
//
// Each handler fills the model and returns the text that the generator makes
// of what it added; that text replaces the declaration in the processed
// source. A bad declaration records an error and contributes no text; reading
// always goes on with the next line.
#include "effects/ShaderEffectInfo.h"

#include "codegen/iShaderCodeGenerator.h"
#include "host/base/Strings.h"
#include "host/misc/CodeParsingUtils.h"
#include "host/own/ShaderContract.h"

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <cmath>
#include <string_view>

using Text = LightweightString<char>;
namespace Key = Shader::PropertyKey;

namespace {

const char* kDoubleParameterFlags[] = {
    "SpecifiesPointX",
    "SpecifiesPointY",
    "SpecifiesPointZ",
    "SpecifiesAngle",
    "SpecifiesBoxL",
    "SpecifiesBoxB",
    "SpecifiesBoxR",
    "SpecifiesBoxT",
    "SpecifiesNonKeyframableValue",
    "DisplayAsPercentage",
    "DisplayAsLiteral",
    "Hidden",
    nullptr,
};

const char* kColourParameterFlags[] = {
    "SpecifiesColourRange",
    "SpecifiesColourOffset",
    "SpecifiesTonalRanges",
    "SpecifiesColourOnly",
    "SupportsAlpha",
    "Hidden",
    nullptr,
};

const char* const kFloatSignature = "DeclareFloatParam( ID, Name, Group, Flags, Default, Min, Max )";
const char* const kIntSignature = "DeclareIntParam( ID, Name, Group, Default, Choices )";
const char* const kBoolSignature = "DeclareBoolParam( ID, Name, Group, Default )";
const char* const kColourSignature = "DeclareColourParam( ID, Name, Group, Flags, R, G, B, A )";
const char* const kEffectSignature = "DeclareQuillframeEffect( Name, Category, Subcategory, Notes, Flags )";
const char* const kPassSignature = "DeclarePass( Name )";
const char* const kEntryPointSignature = "DeclareEntryPoint( Name )";

// Rules that look odd but that existing effect files rely on, kept as they are:
//  - a bool declaration takes 4 arguments but counts up to 5 as "too few";
//  - parameter flags are compared with regard to case ("hidden" is refused)
//    while effect capability words are not ("canSize" is accepted);
//  - capability words are taken exactly as written between the bars, while
//    parameter flags forgive blanks around the bars ("Hidden | SpecifiesAngle");
//  - the GLSL generator's array rewrite skips six characters after "]"
//    (see GLSLCodeGenerator).
constexpr size_t kBoolTooFewBound = 5;

// Line records are 16-bit: the processed text may hold at most this many lines.
constexpr size_t kMaxProcessedLines = UINT16_MAX;

std::vector<Text> tableWords(const char** table) {
    std::vector<Text> words;
    for (uint8_t i = 0; table[i]; ++i) words.emplace_back(table[i]);
    return words;
}

// Splits at every "|"; parts keep their text as written.
std::vector<std::string_view> splitAtBars(std::string_view s) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    for (;;) {
        const size_t bar = s.find('|', start);
        parts.push_back(s.substr(start, bar == std::string_view::npos ? std::string_view::npos : bar - start));
        if (bar == std::string_view::npos) return parts;
        start = bar + 1;
    }
}

} // namespace

std::vector<Text> ShaderEffectInfo::getDoubleParameterFlags() { return tableWords(kDoubleParameterFlags); }
std::vector<Text> ShaderEffectInfo::getColourParameterFlags() { return tableWords(kColourParameterFlags); }

Text ShaderEffectInfo::makeTextureName(const Text& name) { return Shader::textureNameFor(name); }

const char* ShaderEffectInfo::errorPrefix(eErrorType kind) {
    switch (kind) {
    case eTooManyArguments: return "Too many arguments for ";
    case eTooFewArguments: return "Too few arguments for ";
    case eInvalidParameterFlag: return "Invalid parameter flag : ";
    case eNumberOutOfRange: return "Number out of range : ";
    case eTooManyLines: return "Too many lines : ";
    }
    return nullptr;
}

void ShaderEffectInfo::recordError(eErrorType kind, const Text& text) {
    const char* prefix = errorPrefix(kind);
    if (!prefix) return;
    const size_t line = std::min(m_state.processedSource.size(), kMaxProcessedLines);
    m_state.errors.push_back({prefix + text, uint16_t(line)});
    m_state.readerErrors.push_back({m_state.errors.back(), m_readingLine});
}

// Appends generated lines, each of which may hold several lines of text
// (the GLSL technique text embeds line feeds): every one maps to `fileLine`.
void ShaderEffectInfo::appendProcessed(Shader::Lines&& lines, uint32_t fileLine) {
    for (Text& l : lines) {
        const size_t breaks = size_t(std::count(l.view().begin(), l.view().end(), '\n'));
        m_state.compiledLineSources.insert(m_state.compiledLineSources.end(), breaks + 1, fileLine);
        m_state.processedSource.push_back(std::move(l));
    }
}

// The technique text that ends the processed source. A line of it that calls
// a pass or entry function maps to that function's declaration; the others
// (main's frame, the pass switch) to the entry point of the first technique.
void ShaderEffectInfo::appendTechniques() {
    const auto declarationOf = [this](std::string_view line) -> uint32_t {
        for (const auto& [function, fileLine] : m_functionLines) {
            for (size_t at = line.find(function.view()); at != std::string_view::npos; at = line.find(function.view(), at + 1)) {
                const size_t end = at + function.size();
                const bool startsWord = at == 0 || !(std::isalnum((unsigned char)line[at - 1]) || line[at - 1] == '_');
                if (startsWord && end < line.size() && line[end] == '(') return fileLine;
            }
        }
        return 0;
    };
    const Text& firstEntry = m_state.techniques.front().passes.back().functionName;
    uint32_t frameLine = 0;
    for (const auto& [function, fileLine] : m_functionLines)
        if (function == firstEntry) {
            frameLine = fileLine;
            break;
        }
    for (Text& entry : m_state.generator->generate(m_state.techniques)) {
        const std::string_view v = entry.view();
        for (size_t start = 0;;) {
            const size_t nl = v.find('\n', start);
            const uint32_t named = declarationOf(v.substr(start, nl == std::string_view::npos ? nl : nl - start));
            m_state.compiledLineSources.push_back(named ? named : frameLine);
            if (nl == std::string_view::npos) break;
            start = nl + 1;
        }
        m_state.processedSource.push_back(std::move(entry));
    }
}

std::vector<Text> ShaderEffectInfo::extractDeclarationArguments(const Text& line) {
    std::vector<Text> args = CodeParsingUtils::extractDeclarationArguments(line);
    for (Text& arg : args) {
        if (arg.empty()) continue;
        std::string_view v = arg.view();
        const size_t first = v.find_first_not_of('"');
        v = first == std::string_view::npos ? std::string_view() : v.substr(first);
        while (v.ends_with('"')) v.remove_suffix(1);
        // "kNo..." is the placeholder an author writes for an empty argument.
        arg = v.starts_with("kNo") ? Text() : (v.size() == arg.size() ? arg : Text(v));
    }
    return args;
}

void ShaderEffectInfo::preProcess() {
    m_state.sourceRead = true;
    if (m_state.source.empty() || !m_state.generator) return;
    m_state.processedSource.reserve(m_state.processedSource.size() + m_state.source.numLines());
    m_state.compiledLineSources.reserve(m_state.processedSource.capacity());

    for (const Text& line : m_state.source.lines()) {
        // The source map counts file lines from 1, as editors do.
        const uint32_t fileLine = ++m_readingLine;
        // All tests are prefix tests on the line without its surrounding
        // blanks (0x20 only); the trimmed copy is made only when it is used.
        const std::string_view t = Text::trimBlanks(line.view());
        if (t.starts_with(ShaderContract::kGeneratedTextMarker)) {
            m_state.processedSource.clear();
            m_state.compiledLineSources.clear();
            break;
        }
        if (t.starts_with("#include"))
            appendProcessed(handleIncludeDirective(Text(t)), fileLine);
        else if (t.starts_with("//"))
            appendProcessed(m_state.generator->generate(Shader::Comment{Text(t)}), fileLine);
        else if (!t.starts_with("Declare"))
            appendProcessed(m_state.generator->generate(line), fileLine);
        else
            appendProcessed(dispatchDeclaration(Text(t)), fileLine);
    }
    if (!m_state.techniques.empty()) appendTechniques();
    m_functionLines.clear();
    m_readingLine = 0;

    // Beyond 65,535 lines the 16-bit line records would wrap: such an effect
    // is refused with one record instead of errors pointing at wrong lines.
    if (m_state.processedSource.size() > kMaxProcessedLines) {
        const Text count = StringFromInteger(int64_t(m_state.processedSource.size()));
        m_state.errors.clear();
        m_state.readerErrors.clear();
        recordError(eTooManyLines, count);
    }
}

Shader::Lines ShaderEffectInfo::dispatchDeclaration(const Text& trimmed) {
    const std::string_view t = trimmed.view();
    const Args args = extractDeclarationArguments(trimmed);
    // Prefix tests: a longer keyword is tested before a shorter one it starts with.
    if (t.starts_with("DeclareQuillframeEffect")) return handleEffectDeclaration(args);
    if (t.starts_with("DeclareFloatParamAnimated")) return handleFloatParam(args, true);
    if (t.starts_with("DeclareFloatParam")) return handleFloatParam(args, false);
    if (t.starts_with("DeclareFloat3Param")) return handleFloat3Param(args);
    if (t.starts_with("DeclareFloat3x3Param")) return handleFloat3x3Param(args);
    if (t.starts_with("DeclareInputs")) return handleInputs(args);
    if (t.starts_with("DeclareInput")) return handleInput(args, Shader::Input::e2D);
    if (t.starts_with("Declare3DInput")) return handleInput(args, Shader::Input::e3D);
    if (t.starts_with("DeclareMask")) return handleMask(args);
    if (t.starts_with("DeclareColourParam")) return handleColourParam(args);
    if (t.starts_with("DeclareFloat4Param")) return handleColourParam(args);
    if (t.starts_with("DeclareBoolParam")) return handleBoolParam(args);
    if (t.starts_with("DeclareIntParam")) return handleIntParam(args);
    if (t.starts_with("DeclarePass")) return handlePass(args);
    if (t.starts_with("DeclareEntryPoint")) return handleEntryPoint(args);
    return {}; // an unknown declaration is dropped
}

// --- parameters ---

bool ShaderEffectInfo::isAcceptableParamFlag(const Text& flag, const char** table) {
    for (uint8_t i = 0; table[i]; ++i)
        if (flag == table[i]) return true;
    return false;
}

bool ShaderEffectInfo::checkParameterFlags(const Text& flags, const char** table) {
    if (flags.empty()) return true;
    bool allAccepted = true;
    for (std::string_view part : splitAtBars(flags.view())) {
        // Blanks around a word are forgiven ("Hidden | SpecifiesAngle").
        const Text word = Text(part).trimmedBlanks();
        if (!isAcceptableParamFlag(word, table)) {
            recordError(eInvalidParameterFlag, word);
            allAccepted = false;
        }
    }
    return allAccepted;
}

Shader::Parameter& ShaderEffectInfo::addParameter(const Args& args, iShaderParam::eType type) {
    m_state.params.emplace_back(type, args[0], fromUTF8(args[1]), fromUTF8(args[2]));
    return m_state.params.back();
}

// Numbers that a float parameter cannot hold (an infinity, or beyond the
// range of a float) would make text that no compiler accepts: they are
// recorded as errors at their declaration instead.
bool ShaderEffectInfo::readFloat(const Text& text, double& value) {
    value = doubleFromString(text);
    if (std::isfinite(value) && std::fabs(value) <= FLT_MAX) return true;
    recordError(eNumberOutOfRange, text);
    return false;
}

bool ShaderEffectInfo::readInteger(const Text& text, int64_t& value) {
    value = integerFromString(text);
    if (value >= INT32_MIN && value <= INT32_MAX) return true;
    recordError(eNumberOutOfRange, text);
    return false;
}

Shader::Lines ShaderEffectInfo::declareVariableOnly(const Args& args, iShaderParam::eType type) {
    // A shader variable without a user-visible parameter.
    m_state.variables.emplace_back(type, args[0], LightweightString<wchar_t>(), LightweightString<wchar_t>());
    return m_state.generator->generate(m_state.variables.back());
}

Shader::Lines ShaderEffectInfo::handleFloatParam(const Args& args, bool animated) {
    if (args.size() == 1) return declareVariableOnly(args, iShaderParam::eFloat);
    if (args.size() != 7) {
        recordError(args.size() <= 7 ? eTooFewArguments : eTooManyArguments, kFloatSignature);
        return {};
    }
    if (!checkParameterFlags(args[3], kDoubleParameterFlags)) return {};
    double defaultValue = 0, minValue = 0, maxValue = 0;
    // All three are read, so that each number that does not fit is reported.
    const bool defaultFits = readFloat(args[4], defaultValue);
    const bool minFits = readFloat(args[5], minValue);
    const bool maxFits = readFloat(args[6], maxValue);
    if (!(defaultFits && minFits && maxFits)) return {};
    Shader::Parameter& p = addParameter(args, iShaderParam::eFloat);
    p.properties.set(Key::kFlags, args[3]);
    p.properties.set(Key::kDefault, defaultValue);
    p.properties.set(Key::kMin, minValue);
    p.properties.set(Key::kMax, maxValue);
    p.properties.setInt(Key::kAnimated, animated ? 1 : 0);
    return m_state.generator->generate(p);
}

Shader::Lines ShaderEffectInfo::handleIntParam(const Args& args) {
    if (args.size() == 1) return declareVariableOnly(args, iShaderParam::eInt);
    if (args.size() != 5) {
        recordError(args.size() <= 5 ? eTooFewArguments : eTooManyArguments, kIntSignature);
        return {};
    }
    int64_t defaultValue = 0;
    if (!readInteger(args[3], defaultValue)) return {};
    Shader::Parameter& p = addParameter(args, iShaderParam::eInt);
    p.properties.setInt(Key::kDefault, defaultValue);
    p.properties.set(Key::kChoices, args[4]);
    return m_state.generator->generate(p);
}

Shader::Lines ShaderEffectInfo::handleBoolParam(const Args& args) {
    if (args.size() != 4) {
        recordError(args.size() <= kBoolTooFewBound ? eTooFewArguments : eTooManyArguments, kBoolSignature);
        return {};
    }
    Shader::Parameter& p = addParameter(args, iShaderParam::eBool);
    p.properties.set(Key::kDefault, equalsIgnoreCase(args[3], "true"));
    return m_state.generator->generate(p);
}

Shader::Lines ShaderEffectInfo::handleColourParam(const Args& args) {
    if (args.size() == 1) return declareVariableOnly(args, iShaderParam::eFloat4);
    if (args.size() != 7 && args.size() != 8) {
        recordError(args.size() <= 8 ? eTooFewArguments : eTooManyArguments, kColourSignature);
        return {};
    }
    if (!checkParameterFlags(args[3], kColourParameterFlags)) return {};
    double components[4] = {0, 0, 0, 0};
    bool numbersFit = true;
    for (size_t i = 4; i < args.size(); ++i) numbersFit &= readFloat(args[i], components[i - 4]);
    if (!numbersFit) return {};
    Shader::Parameter& p = addParameter(args, iShaderParam::eFloat4);
    p.properties.set(Key::kFlags, args[3]);
    p.properties.set(Key::kColour1, components[0]);
    p.properties.set(Key::kColour2, components[1]);
    p.properties.set(Key::kColour3, components[2]);
    if (args.size() == 8) p.properties.set(Key::kAlpha, components[3]);
    return m_state.generator->generate(p);
}

Shader::Lines ShaderEffectInfo::handleFloat3Param(const Args& args) {
    return args.size() == 1 ? declareVariableOnly(args, iShaderParam::eFloat3) : Shader::Lines();
}

Shader::Lines ShaderEffectInfo::handleFloat3x3Param(const Args& args) {
    return args.size() == 1 ? declareVariableOnly(args, iShaderParam::eFloat3x3) : Shader::Lines();
}

// --- effect, inputs, passes ---

Shader::Lines ShaderEffectInfo::handleEffectDeclaration(const Args& args) {
    if (args.size() != 5) {
        recordError(args.size() < 5 ? eTooFewArguments : eTooManyArguments, kEffectSignature);
        return {};
    }
    m_state.name = args[0];
    m_state.category = args[1];
    m_state.subcategory = args[2];
    m_state.notes = args[3];
    static constexpr std::pair<std::string_view, uint32_t> kCapWords[] = {
        {"CanSize", ScaleAware | RotationAware}, {"RotationAware", RotationAware},       {"ScaleAware", ScaleAware},
        {"HasMinOutputSize", HasMinOutputSize},  {"HasMaxOutputSize", HasMaxOutputSize},
    };
    for (std::string_view word : splitAtBars(args[4].view())) {
        for (const auto& [capWord, bits] : kCapWords) {
            if (equalsIgnoreCase(word, capWord)) {
                m_state.caps |= bits;
                break;
            }
        }
    }
    return m_state.generator->generate(
        Shader::Header{m_state.name, m_state.category, m_state.subcategory, m_state.notes, m_state.caps});
}

Shader::Lines ShaderEffectInfo::handleInput(const Args& args, Shader::Input::eDimension dimension) {
    if (args.empty()) return {};
    Shader::Input input;
    input.textureName = makeTextureName(args[0]);
    input.name = args[0];
    input.dimension = dimension;
    if (args.size() >= 2 && equalsIgnoreCase(args[1], "point")) input.scaling = iShaderEffectBase::Point;
    if (args.size() == 3) {
        const std::string_view edge = args[2];
        if (equalsIgnoreCase(edge, "wrap"))
            input.edgeMode = iShaderEffectBase::Wrap;
        else if (equalsIgnoreCase(edge, "border"))
            input.edgeMode = iShaderEffectBase::Border;
        else if (equalsIgnoreCase(edge, "mirror"))
            input.edgeMode = iShaderEffectBase::Mirror;
    }
    m_state.inputs.push_back(input);
    return m_state.generator->generate(m_state.inputs.back());
}

Shader::Lines ShaderEffectInfo::handleInputs(const Args& args) {
    Text joined;
    bool any = false;
    for (const Text& arg : args) {
        if (isInternalParameter(arg)) continue;
        Shader::Input input;
        input.textureName = makeTextureName(arg);
        input.name = arg;
        m_state.inputs.push_back(input);
        for (const Text& l : m_state.generator->generate(m_state.inputs.back())) joined += l;
        any = true;
    }
    return any ? Shader::Lines{joined} : Shader::Lines();
}

Shader::Lines ShaderEffectInfo::handleMask(const Args&) {
    Shader::Input mask;
    mask.name = "Mask";
    mask.textureName = makeTextureName("mask");
    mask.isMask = true;
    m_state.inputs.push_back(mask);
    return m_state.generator->generate(m_state.inputs.back());
}

Shader::Lines ShaderEffectInfo::handlePass(const Args& args) {
    if (args.size() != 1) {
        recordError(args.empty() ? eTooFewArguments : eTooManyArguments, kPassSignature);
        return {};
    }
    m_state.pendingPasses.emplace_back(args[0], Shader::passFunctionName(args[0]), makeTextureName(args[0]));
    m_functionLines.emplace_back(m_state.pendingPasses.back().functionName, m_readingLine);
    return m_state.generator->generate(m_state.pendingPasses.back(), true);
}

Shader::Lines ShaderEffectInfo::handleEntryPoint(const Args& args) {
    if (args.size() >= 2) {
        recordError(eTooManyArguments, kEntryPointSignature);
        return {};
    }
    const Text entry = args.empty() ? Text("QfMain") : args[0];
    // The entry point closes a technique: the passes since the last one, then itself.
    m_state.techniques.emplace_back();
    m_state.techniques.back().passes = std::move(m_state.pendingPasses);
    m_state.pendingPasses.clear();
    m_state.techniques.back().passes.emplace_back(entry, Text(), Text());
    m_functionLines.emplace_back(m_state.techniques.back().passes.back().functionName, m_readingLine);
    return m_state.generator->generate(m_state.techniques.back().passes.back(), false);
}

Shader::Lines ShaderEffectInfo::handleIncludeDirective(const Text& line) {
    const size_t open = line.find('"');
    if (open == Text::npos) return {};
    const size_t close = line.find('"', open + 1);
    if (close == Text::npos) return {};
    return m_state.generator->generate(Shader::Include{line.substr(open + 1, close - open - 1)});
}
