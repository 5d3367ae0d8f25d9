#include "Options.h"

#include "host/base/Strings.h"
#include "host/misc/Paths.h"

#include <filesystem>

namespace {

constexpr OptionSpec kCommonOptions[] = {
    {"--shaders", "DIR",
     "the effects directory (holds _utils.fx); default: the\n"
     "embedded resources/shaders/, or $QFFX_SHADERS_DIR"},
    {"--templates", "DIR",
     "the effect-templates directory; default: the embedded\n"
     "resources/effect-templates/, or $QFFX_TEMPLATES_DIR"},
    {"--verbose", "", "also print the library's timing lines on standard error"},
    {"--help", "", "print this help (also -h)"},
};

const OptionSpec* findOption(std::string_view name, std::span<const OptionSpec> own) {
    for (const OptionSpec& o : own)
        if (o.name == name) return &o;
    for (const OptionSpec& o : kCommonOptions)
        if (o.name == name) return &o;
    return nullptr;
}

} // namespace

std::span<const OptionSpec> commonOptions() { return kCommonOptions; }

std::string ParsedArgs::value(const std::string& name, const std::string& fallback) const {
    const auto it = options.find(name);
    return it == options.end() || it->second.empty() ? fallback : it->second.back();
}

const std::vector<std::string>& ParsedArgs::values(const std::string& name) const {
    static const std::vector<std::string> none;
    const auto it = options.find(name);
    return it == options.end() ? none : it->second;
}

ParsedArgs parseArgs(const CommandArgs& args, std::span<const OptionSpec> own) {
    ParsedArgs parsed;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--help" || a == "-h") {
            parsed.help = true;
            continue;
        }
        // "-" alone, and negative numbers ("-1", "-.5"), are arguments, not options.
        if (!a.starts_with("-") || a == "-" || (a.size() > 1 && ((a[1] >= '0' && a[1] <= '9') || a[1] == '.'))) {
            parsed.positional.push_back(a);
            continue;
        }
        const size_t eq = a.starts_with("--") ? a.find('=') : std::string::npos;
        const std::string name = a.substr(0, eq);
        const OptionSpec* option = findOption(name, own);
        if (!option) {
            parsed.error = "unknown option " + name;
            return parsed;
        }
        auto& slot = parsed.options[name];
        if (!slot.empty() && option->kind != OptionSpec::eRepeatable) {
            parsed.error = name + " given twice";
            return parsed;
        }
        const bool inlineValue = eq != std::string::npos;
        if (option->takesValue()) {
            std::string value = inlineValue ? a.substr(eq + 1) : i + 1 < args.size() ? args[++i] : std::string();
            if (value.empty()) {
                parsed.error = name + " needs a value";
                return parsed;
            }
            slot.push_back(std::move(value));
        } else if (inlineValue) {
            parsed.error = name + " takes no value";
            return parsed;
        } else {
            slot.emplace_back();
        }
    }
    return parsed;
}

bool applyDirectoryOptions(const ParsedArgs& parsed, std::string& error) {
    for (const char* option : {"--shaders", "--templates"}) {
        if (!parsed.has(option)) continue;
        const std::string dir = parsed.value(option);
        std::error_code ec;
        if (!std::filesystem::is_directory(dir, ec)) {
            error = std::string(option) + ": '" + dir + "' is not a directory";
            return false;
        }
        if (option == std::string_view("--shaders"))
            setShadersDir(fromUTF8(dir.c_str()));
        else
            setFXTemplatesDir(fromUTF8(dir.c_str()));
    }
    return true;
}
