#include "Options.h"

#include "host/Paths.h"
#include "host/Strings.h"

#include <cstdio>
#include <filesystem>

std::string ParsedArgs::value(const std::string& name, const std::string& fallback) const {
    const auto it = options.find(name);
    return it == options.end() || it->second.empty() ? fallback : it->second.back();
}

const std::vector<std::string>& ParsedArgs::values(const std::string& name) const {
    static const std::vector<std::string> none;
    const auto it = options.find(name);
    return it == options.end() ? none : it->second;
}

ParsedArgs parseArgs(const CommandArgs& args, std::initializer_list<OptionInfo> known) {
    ParsedArgs parsed;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--help" || a == "-h") {
            parsed.help = true;
            continue;
        }
        if (!a.starts_with("-") || a == "-") {
            parsed.positional.push_back(a);
            continue;
        }
        // "--name=value" and "--name value" are the same.
        const size_t eq = a.starts_with("--") ? a.find('=') : std::string::npos;
        const std::string name = a.substr(0, eq);
        const OptionInfo* option = nullptr;
        static constexpr OptionInfo kShaders{"--shaders", true};
        static constexpr OptionInfo kTemplates{"--templates", true};
        if (name == kShaders.name) option = &kShaders;
        if (name == kTemplates.name) option = &kTemplates;
        for (const OptionInfo& s : known)
            if (s.name == name) option = &s;
        if (!option) {
            parsed.error = "unknown option " + name;
            return parsed;
        }
        auto& slot = parsed.options[name];
        if (!slot.empty() && !option->repeatable) {
            parsed.error = name + " given twice";
            return parsed;
        }
        if (option->takesValue) {
            if (eq != std::string::npos) {
                slot.push_back(a.substr(eq + 1));
            } else {
                if (i + 1 >= args.size()) {
                    parsed.error = name + " needs a value";
                    return parsed;
                }
                slot.push_back(args[++i]);
            }
            if (slot.back().empty()) {
                parsed.error = name + " needs a value";
                return parsed;
            }
        } else {
            if (eq != std::string::npos) {
                parsed.error = name + " takes no value";
                return parsed;
            }
            slot.emplace_back();
        }
    }
    if (parsed.has("--shaders")) {
        const std::string dir = parsed.value("--shaders");
        std::error_code ec;
        if (!std::filesystem::is_directory(dir, ec))
            parsed.error = "--shaders: '" + dir + "' is not a directory";
        else
            setShadersDir(fromUTF8(dir.c_str()));
    }
    if (parsed.error.empty() && parsed.has("--templates")) {
        const std::string dir = parsed.value("--templates");
        std::error_code ec;
        if (!std::filesystem::is_directory(dir, ec))
            parsed.error = "--templates: '" + dir + "' is not a directory";
        else
            setFXTemplatesDir(fromUTF8(dir.c_str()));
    }
    return parsed;
}

int usageError(const char* command, const std::string& message) {
    std::fprintf(stderr, "qffx %s: %s\n(see qffx %s --help)\n", command, message.c_str(), command);
    return 2;
}
