#include "Options.h"

#include "host/Paths.h"
#include "host/Strings.h"

#include <cstdio>

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
        if (a == "--shaders") {
            if (i + 1 >= args.size()) { parsed.error = "--shaders needs a directory"; return parsed; }
            setShadersDir(fromUTF8(args[++i].c_str()));
            continue;
        }
        if (!a.starts_with("-") || a == "-") {
            parsed.positional.push_back(a);
            continue;
        }
        const OptionInfo* option = nullptr;
        for (const OptionInfo& s : known)
            if (s.name == a) option = &s;
        if (!option) { parsed.error = "unknown option " + a; return parsed; }
        auto& slot = parsed.options[a];
        if (!slot.empty() && !option->repeatable) { parsed.error = a + " given twice"; return parsed; }
        if (option->takesValue) {
            if (i + 1 >= args.size()) { parsed.error = a + " needs a value"; return parsed; }
            slot.push_back(args[++i]);
        } else {
            slot.emplace_back();
        }
    }
    return parsed;
}

int usageError(const char* command, const std::string& message) {
    std::fprintf(stderr, "qffx %s: %s\n(see qffx %s --help)\n", command, message.c_str(), command);
    return 2;
}
