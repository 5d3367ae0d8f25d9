// A small command-line parser shared by the qffx subcommands.
#pragma once

#include "Commands.h"

#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

struct OptionInfo {
    std::string_view name; // "--lang"
    bool takesValue;
    bool repeatable = false;
};

struct ParsedArgs {
    std::map<std::string, std::vector<std::string>> options; // flags map to one empty value
    std::vector<std::string> positional;
    bool help = false;
    std::string error; // set when the arguments are malformed

    bool has(const std::string& name) const { return options.count(name) != 0; }
    // The option's (last) value, or `fallback`.
    std::string value(const std::string& name, const std::string& fallback = {}) const;
    const std::vector<std::string>& values(const std::string& name) const;
};

// Parses options (from `known`, plus --help/-h, --shaders DIR and
// --templates DIR, which it applies) and positional arguments.
ParsedArgs parseArgs(const CommandArgs& args, std::initializer_list<OptionInfo> known);

// Prints "qffx COMMAND: MESSAGE" and a pointer to the help; returns 2.
int usageError(const char* command, const std::string& message);
