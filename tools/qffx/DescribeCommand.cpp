// qffx describe: what an effect declares, for people (a table) and for
// programs (JSON in the stable schema of docs/effect-schema.md).
//
// The description is read from the effect file alone (no GPU): the
// declaration, inputs, user parameters with every declared value, the shader
// variables the host sets, and the techniques with their passes.
#include "Commands.h"
#include "ToolEffects.h"
#include "ToolJson.h"

#include "codegen/CodeGenerators.h"
#include "host/base/Strings.h"
#include "host/misc/Paths.h"
#include "host/own/ShaderContract.h"

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace Key = Shader::PropertyKey;

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
Json jsonDefault(const Shader::Parameter& p) {
    switch (p.type) {
    case iShaderParam::eInt: {
        int64_t value = 0;
        p.properties.in(Key::kDefault, value);
        return value;
    }
    case iShaderParam::eBool: {
        bool value = false;
        p.properties.in(Key::kDefault, value);
        return value;
    }
    case iShaderParam::eFloat4:
        return Json::array(
            {number(p, Key::kColour1, 0), number(p, Key::kColour2, 0), number(p, Key::kColour3, 0), number(p, Key::kAlpha, 1)});
    default: return number(p, Key::kDefault, 0);
    }
}

// The default as the table shows it: a colour's components separated by ", ".
std::string defaultText(const Shader::Parameter& p) {
    const Json value = jsonDefault(p);
    if (value.is_number_float()) return num(value.get<double>());
    if (!value.is_array()) return value.dump();
    std::string text;
    for (const Json& component : value) text += (text.empty() ? "" : ", ") + num(component.get<double>());
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

std::vector<std::string> capabilityWords(uint32_t caps) {
    std::vector<std::string> words;
    for (const auto& [bit, name] : kCapabilityNames)
        if (caps & bit) words.emplace_back(name);
    return words;
}

void printJson(const ShaderEffectInfo& e, const std::string& path) {
    Json inputs = Json::array();
    const std::vector<Shader::Input>& declared = e.getInputs();
    for (size_t i = 0; i < declared.size(); ++i) {
        const Shader::Input& in = declared[i];
        inputs.push_back({{"name", in.name.str()},
                          {"kind", in.isMask ? "mask" : "input"},
                          {"dimension", in.dimension == Shader::Input::e3D ? "3D" : "2D"},
                          {"sampling", samplingName(in.scaling)},
                          {"edge", edgeName(in.edgeMode)},
                          {"coordinates", "uv" + std::to_string(i + 1)}});
    }
    Json parameters = Json::array();
    for (const Shader::Parameter& p : e.getParams()) {
        if (ShaderEffectInfo::isInternalParameter(p.id)) continue;
        Json fields = {{"id", p.id.str()},      {"type", Shader::typeName(p.type).str()},
                       {"name", utf8(p.name)},  {"group", utf8(p.group)},
                       {"flags", flagWords(p)}, {"default", jsonDefault(p)}};
        if (p.type == iShaderParam::eFloat) {
            fields["min"] = number(p, Key::kMin, 0);
            fields["max"] = number(p, Key::kMax, 0);
        }
        if (p.type == iShaderParam::eInt) fields["choices"] = choices(p);
        if (p.type == iShaderParam::eFloat4) fields["components"] = hasAlpha(p) ? 4 : 3;
        fields["keyframable"] = keyframable(p);
        parameters.push_back(std::move(fields));
    }
    Json variables = Json::array();
    for (const Shader::Parameter& v : e.getVariables())
        variables.push_back({{"id", v.id.str()}, {"type", Shader::typeName(v.type).str()}});
    Json techniques = Json::array();
    for (size_t t = 0; t < e.getTechniques().size(); ++t) {
        const std::vector<Shader::Function>& passes = e.getTechniques()[t].passes;
        Json passList = Json::array();
        for (const Shader::Function& f : passes)
            passList.push_back(
                {{"name", f.name.str()}, {"function", f.functionName.str()}, {"renderTarget", f.renderTarget.str()}});
        techniques.push_back({{"name", ShaderContract::techniqueName(uint16_t(t)).str()},
                              {"index", t},
                              {"entryPoint", passes.back().name.str()},
                              {"passes", std::move(passList)}});
    }
    const Json description = {{"schemaVersion", kSchemaVersion},
                              {"path", path},
                              {"effect",
                               {{"name", utf8(e.getName())},
                                {"category", utf8(e.getCategory())},
                                {"subcategory", utf8(e.getSubcategory())},
                                {"notes", utf8(e.getNotes())},
                                {"capabilities", capabilityWords(e.getCaps())},
                                {"capabilityMask", unsigned(e.getCaps())}}},
                              {"inputs", std::move(inputs)},
                              {"parameters", std::move(parameters)},
                              {"variables", std::move(variables)},
                              {"techniques", std::move(techniques)}};
    std::fputs(jsonText(description).c_str(), stdout);
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

int runDescribe(const Invocation& call) {
    std::string path;
    const Ptr<ShaderEffectInfo> effect = openEffect(call.report, call.args.positional[0], &path);
    if (!effect) return eExitUsage;
    effect->read(makeCodeGenerator(eShadingLanguageGLSL, getShadersDir()));
    if (!effect->getErrors().empty()) {
        printEffectErrors(*effect, effect->getErrors());
        return eExitFailed;
    }
    if (call.args.has("--json"))
        printJson(*effect, path);
    else
        printTable(*effect, path);
    return eExitSuccess;
}
