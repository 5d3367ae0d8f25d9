// The command line of a qffx command: its options, as the command table
// declares them, and its positional arguments.
#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

using CommandArgs = std::vector<std::string>;

struct OptionSpec {
    std::string_view name;  // "--lang"
    std::string_view value; // what its value is called in the help ("cg|glsl"); empty for a flag
    std::string_view help;  // lines joined by '\n'
    enum eKind { eOptional, eRepeatable, eRequired } kind = eOptional;

    bool takesValue() const { return !value.empty(); }
};

// The options every command takes besides its own.
std::span<const OptionSpec> commonOptions();

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

// Parses the options of `own` and commonOptions() (--help and -h set `help`)
// and the positional arguments. "--name=value" and "--name value" are the
// same; "-" alone and negative numbers ("-1") are positional arguments. Stops at the first error.
ParsedArgs parseArgs(const CommandArgs& args, std::span<const OptionSpec> own);

// Makes --shaders and --templates the effects and effect-templates
// directories; false with `error` set when one is not a directory.
bool applyDirectoryOptions(const ParsedArgs& parsed, std::string& error);
