// The qffx commands: one table of what each command is called, takes and
// says (Commands.cpp), and one dispatch that does for every command what
// comes before its work: parse the options the table declares, answer
// --help with the help made from the table, apply --shaders and --templates,
// check the number of arguments, install the tool's log sink (--verbose).
// The command's handler then gets an Invocation and returns the exit status
// (see Reporter.h).
#pragma once

#include "Options.h"
#include "Reporter.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct CommandSpec;

// What a handler gets: its arguments, parsed, and its reporter.
struct Invocation {
    const CommandSpec& command;
    const ParsedArgs& args;
    Reporter report;

    bool verbose() const { return args.has("--verbose"); }
};

struct CommandSpec {
    std::string_view name;
    // The lines under "Commands:" in qffx --help.
    std::string_view summary;
    // What follows "usage: qffx NAME " (one form a line).
    std::string_view synopsis;
    // The help's text between the usage and the options (may be empty).
    std::string_view description;
    // The command's own options; commonOptions() come on top.
    std::vector<OptionSpec> options;
    // How many positional arguments it takes, and what is said otherwise;
    // "{}" in the message stands for the first argument too many.
    size_t minArguments = 0, maxArguments = 0;
    std::string_view wrongArguments;
    // The help's text after the options: exit statuses, notes.
    std::string_view footer;
    int (*run)(const Invocation&) = nullptr;
};

constexpr size_t kAnyNumber = size_t(-1);

std::span<const CommandSpec> commands();
const CommandSpec* findCommand(std::string_view name);

// The --help text of `command`, made from its table entry.
std::string helpText(const CommandSpec& command);
// The text of qffx --help.
std::string toolHelpText();
// "qffx 0.19.0 (libqffxresources 0.19.0)"
std::string versionText();

// Runs `command` on the arguments after its name; returns the exit status.
int dispatch(const CommandSpec& command, const CommandArgs& args);

int runGenerate(const Invocation&);
int runLuts(const Invocation&);
int runDescribe(const Invocation&);
int runVersion(const Invocation&);
#ifdef QFFX_HAVE_PLATFORM
int runCompile(const Invocation&);
int runRun(const Invocation&);
int runEffects(const Invocation&);
int runWatch(const Invocation&);
int runPreview(const Invocation&);
int runText(const Invocation&);
int runDiagnostics(const Invocation&);
int runConvert(const Invocation&);
int runScopes(const Invocation&);
#endif
