// qffx describe: what an effect declares, for people (a table) and for
// programs (JSON in the stable schema of docs/effect-schema.md).
//
// The description is read from the effect file alone (no GPU): the
// declaration, inputs, user parameters with every declared value, the shader
// variables the host sets, and the techniques with their passes.
#include "Commands.h"
#include "Options.h"
#include "ToolEffects.h"

#include "codegen/CodeGenerators.h"
#include "host/Paths.h"
#include "host/ShaderContract.h"
#include "host/Strings.h"

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace Key = Shader::PropertyKey;

const char* const kHelp = "usage: qffx describe [--shaders DIR] [--templates DIR] [--json] EFFECT\n"
                          "\n"
                          "Describes what EFFECT (an .fx file, or the name of an effect in the shaders or\n"
                          "effect-templates directory) declares: its name, category, sub-category, notes\n"
                          "and capabilities; its inputs; its parameters (id, type, display name, group,\n"
                          "flags, default, minimum, maximum, choices, colour components, whether it can\n"
                          "be keyframed); the shader variables the host sets; its techniques and passes.\n"
                          "Read from the file alone: no GPU is needed.\n"
                          "\n"
                          "  --json   one JSON object in the schema of docs/effect-schema.md\n"
                          "\n"
                          "An effect whose declarations have errors prints them as 'FILE.fx:LINE:\n"
                          "MESSAGE' and gives exit status 1; bad options or files give 2.\n";

// The version of the JSON schema; raised only when a field changes meaning or goes.
constexpr int kSchemaVersion = 1;

constexpr std::pair<uint32_t, const char*> kCapabilityNames[] = {
    {ScaleAware, "ScaleAware"},
    {HasMinOutputSize, "HasMinOutputSize"},
    {HasMaxOutputSize, "HasMaxOutputSize"},
    {RotationAware, "RotationAware"},
};

std::string num(double value) { return StringFromFloat(value).str(); }

std::string utf8(const LightweightString<wchar_t>& text) { return toUTF8(text).str(); }

std::vector<std::string> flagWords(const Shader::Parameter& p) {
    LightweightString<char> flags;
    p.properties.in(Key::kFlags, flags);
    std::vector<std::string> words;
    const std::string_view all = flags.view();
    for (size_t start = 0; start <= all.size();) {
        const size_t bar = std::min(all.find('|', start), all.size());
        const std::string word = LightweightString<char>(all.substr(start, bar - start)).trimmedBlanks().str();
        if (!word.empty()) words.push_back(word);
        start = bar + 1;
    }
    return words;
}

double number(const Shader::Parameter& p, const char* key, double fallback) {
    double value = fallback;
    p.properties.in(key, value);
    return value;
}

// A float parameter can be keyframed when declared animated, unless its
// flags say its value is not keyframable.
bool keyframable(const Shader::Parameter& p) {
    int animated = 0;
    p.properties.in(Key::kAnimated, animated);
    if (p.type != iShaderParam::eFloat || !animated) return false;
    for (const std::string& flag : flagWords(p))
        if (flag == "SpecifiesNonKeyframableValue") return false;
    return true;
}

bool hasAlpha(const Shader::Parameter& p) {
    double alpha = 0;
    return p.properties.in(Key::kAlpha, alpha) >= 0;
}

// The declared default as JSON: a number, an integer, a boolean, or the four
// colour components (alpha 1 when not declared, as the generated text has it).
std::string jsonDefault(const Shader::Parameter& p) {
    switch (p.type) {
    case iShaderParam::eInt: {
        int64_t value = 0;
        p.properties.in(Key::kDefault, value);
        return StringFromInteger(value).str();
    }
    case iShaderParam::eBool: {
        bool value = false;
        p.properties.in(Key::kDefault, value);
        return value ? "true" : "false";
    }
    case iShaderParam::eFloat4:
        return "[" + num(number(p, Key::kColour1, 0)) + ", " + num(number(p, Key::kColour2, 0)) + ", " +
               num(number(p, Key::kColour3, 0)) + ", " + num(number(p, Key::kAlpha, 1)) + "]";
    default: return num(number(p, Key::kDefault, 0));
    }
}

std::string defaultText(const Shader::Parameter& p) {
    std::string text = jsonDefault(p);
    if (p.type == iShaderParam::eFloat4) text = text.substr(1, text.size() - 2);
    return text;
}

std::string choices(const Shader::Parameter& p) {
    LightweightString<char> text;
    p.properties.in(Key::kChoices, text);
    return text.str();
}

const char* edgeName(iShaderEffectBase::eEdgeReadMode mode) {
    switch (mode) {
    case iShaderEffectBase::Border: return "Border";
    case iShaderEffectBase::Mirror: return "Mirror";
    case iShaderEffectBase::Wrap: return "Wrap";
    default: return "ClampToEdge";
    }
}

const char* samplingName(iShaderEffectBase::eScalingMethod scaling) {
    return scaling == iShaderEffectBase::Point ? "Point" : "Linear";
}

std::string jsonStrings(const std::vector<std::string>& words) {
    std::string out = "[";
    for (size_t i = 0; i < words.size(); ++i) out += (i ? ", " : "") + jsonString(words[i]);
    return out + "]";
}

std::vector<std::string> capabilityWords(uint32_t caps) {
    std::vector<std::string> words;
    for (const auto& [bit, name] : kCapabilityNames)
        if (caps & bit) words.emplace_back(name);
    return words;
}

void printJson(const ShaderEffectInfo& e, const std::string& path) {
    std::printf("{\n  \"schemaVersion\": %d,\n  \"path\": %s,\n", kSchemaVersion, jsonString(path).c_str());
    std::printf("  \"effect\": {\"name\": %s, \"category\": %s, \"subcategory\": %s, \"notes\": %s, "
                "\"capabilities\": %s, \"capabilityMask\": %u},\n",
                jsonString(utf8(e.getName())).c_str(), jsonString(utf8(e.getCategory())).c_str(),
                jsonString(utf8(e.getSubcategory())).c_str(), jsonString(utf8(e.getNotes())).c_str(),
                jsonStrings(capabilityWords(e.getCaps())).c_str(), unsigned(e.getCaps()));

    std::printf("  \"inputs\": [");
    const std::vector<Shader::Input>& inputs = e.getInputs();
    for (size_t i = 0; i < inputs.size(); ++i) {
        const Shader::Input& in = inputs[i];
        std::printf("%s\n    {\"name\": %s, \"kind\": \"%s\", \"dimension\": \"%s\", \"sampling\": \"%s\", \"edge\": \"%s\", "
                    "\"coordinates\": \"uv%zu\"}",
                    i ? "," : "", jsonString(in.name.str()).c_str(), in.isMask ? "mask" : "input",
                    in.dimension == Shader::Input::e3D ? "3D" : "2D", samplingName(in.scaling), edgeName(in.edgeMode), i + 1);
    }
    std::printf("%s],\n  \"parameters\": [", inputs.empty() ? "" : "\n  ");

    bool first = true;
    for (const Shader::Parameter& p : e.getParams()) {
        if (ShaderEffectInfo::isInternalParameter(p.id)) continue;
        std::string fields = "{\"id\": " + jsonString(p.id.str()) + ", \"type\": " + jsonString(Shader::typeName(p.type).str()) +
                             ", \"name\": " + jsonString(utf8(p.name)) + ", \"group\": " + jsonString(utf8(p.group)) +
                             ", \"flags\": " + jsonStrings(flagWords(p)) + ", \"default\": " + jsonDefault(p);
        if (p.type == iShaderParam::eFloat)
            fields += ", \"min\": " + num(number(p, Key::kMin, 0)) + ", \"max\": " + num(number(p, Key::kMax, 0));
        if (p.type == iShaderParam::eInt) fields += ", \"choices\": " + jsonString(choices(p));
        if (p.type == iShaderParam::eFloat4) fields += std::string(", \"components\": ") + (hasAlpha(p) ? "4" : "3");
        fields += std::string(", \"keyframable\": ") + (keyframable(p) ? "true" : "false") + "}";
        std::printf("%s\n    %s", first ? "" : ",", fields.c_str());
        first = false;
    }
    std::printf("%s],\n  \"variables\": [", first ? "" : "\n  ");

    first = true;
    for (const Shader::Parameter& v : e.getVariables()) {
        std::printf("%s\n    {\"id\": %s, \"type\": %s}", first ? "" : ",", jsonString(v.id.str()).c_str(),
                    jsonString(Shader::typeName(v.type).str()).c_str());
        first = false;
    }
    std::printf("%s],\n  \"techniques\": [", first ? "" : "\n  ");

    const std::vector<Shader::Technique>& techniques = e.getTechniques();
    for (size_t t = 0; t < techniques.size(); ++t) {
        const std::vector<Shader::Function>& passes = techniques[t].passes;
        std::printf("%s\n    {\"name\": %s, \"index\": %zu, \"entryPoint\": %s, \"passes\": [", t ? "," : "",
                    jsonString(ShaderContract::techniqueName(uint16_t(t)).str()).c_str(), t,
                    jsonString(passes.back().name.str()).c_str());
        for (size_t p = 0; p < passes.size(); ++p)
            std::printf("%s{\"name\": %s, \"function\": %s, \"renderTarget\": %s}", p ? ", " : "",
                        jsonString(passes[p].name.str()).c_str(), jsonString(passes[p].functionName.str()).c_str(),
                        jsonString(passes[p].renderTarget.str()).c_str());
        std::printf("]}");
    }
    std::printf("%s]\n}\n", techniques.empty() ? "" : "\n  ");
}

void printTable(const ShaderEffectInfo& e, const std::string& path) {
    std::printf("%s\n  category     %s / %s\n", utf8(e.getName()).c_str(), utf8(e.getCategory()).c_str(),
                utf8(e.getSubcategory()).c_str());
    if (!e.getNotes().empty()) std::printf("  notes        %s\n", utf8(e.getNotes()).c_str());
    std::string caps;
    for (const std::string& word : capabilityWords(e.getCaps())) caps += (caps.empty() ? "" : " ") + word;
    std::printf("  capabilities %s\n  file         %s\n", caps.empty() ? "-" : caps.c_str(), path.c_str());

    std::printf("\nInputs\n");
    size_t index = 0;
    for (const Shader::Input& in : e.getInputs())
        std::printf("  %-12s %-5s %s  %-6s %-11s uv%zu\n", in.name.c_str(), in.isMask ? "mask" : "input",
                    in.dimension == Shader::Input::e3D ? "3D" : "2D", samplingName(in.scaling), edgeName(in.edgeMode), ++index);

    std::printf("\nParameters\n  %-12s %-8s %-20s %-16s %-10s %s\n", "id", "type", "name", "default", "range", "flags");
    for (const Shader::Parameter& p : e.getParams()) {
        if (ShaderEffectInfo::isInternalParameter(p.id)) continue;
        std::string range = "-";
        if (p.type == iShaderParam::eFloat) range = num(number(p, Key::kMin, 0)) + ".." + num(number(p, Key::kMax, 0));
        if (p.type == iShaderParam::eInt) range = choices(p);
        std::string flags;
        for (const std::string& flag : flagWords(p)) flags += (flags.empty() ? "" : "|") + flag;
        if (keyframable(p)) flags += flags.empty() ? "keyframable" : " keyframable";
        const std::string name = utf8(p.name) + (p.group.empty() ? "" : " (" + utf8(p.group) + ")");
        std::printf("  %-12s %-8s %-20s %-16s %-10s %s\n", p.id.c_str(), Shader::typeName(p.type).c_str(), name.c_str(),
                    defaultText(p).c_str(), range.c_str(), flags.c_str());
    }
    if (!e.getVariables().empty()) {
        std::printf("\nVariables (set by the host)\n");
        for (const Shader::Parameter& v : e.getVariables())
            std::printf("  %-12s %s\n", v.id.c_str(), Shader::typeName(v.type).c_str());
    }
    std::printf("\nTechniques\n");
    for (size_t t = 0; t < e.getTechniques().size(); ++t) {
        std::string passes;
        for (const Shader::Function& f : e.getTechniques()[t].passes)
            passes +=
                (passes.empty() ? "" : " -> ") + f.name.str() + (f.renderTarget.empty() ? "" : " (" + f.renderTarget.str() + ")");
        std::printf("  %-4s %s\n", ShaderContract::techniqueName(uint16_t(t)).c_str(), passes.c_str());
    }
}

} // namespace

int runDescribe(const CommandArgs& args) {
    const ParsedArgs parsed = parseArgs(args, {{"--json", false}});
    if (parsed.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!parsed.error.empty()) return usageError("describe", parsed.error);
    if (parsed.positional.size() != 1) return usageError("describe", "give exactly one effect");

    std::string path;
    const Ptr<ShaderEffectInfo> effect = openEffect("describe", parsed.positional[0], &path);
    if (!effect) return 2;
    effect->read(makeCodeGenerator(eShadingLanguageGLSL, getShadersDir()));
    if (!effect->getErrors().empty()) {
        printEffectErrors(*effect, effect->getErrors());
        return 1;
    }
    if (parsed.has("--json"))
        printJson(*effect, path);
    else
        printTable(*effect, path);
    return 0;
}
