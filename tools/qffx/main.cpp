// qffx: the command-line tool over the effects library.
#include "Commands.h"

#include "host/base/Shutdown.h"

#include <clocale>
#include <csignal>
#include <cstdio>
#include <string_view>

int main(int argc, char** argv) {
    // Take the user's locale as command-line tools do (messages, character
    // classes); the library reads and writes numbers without it, so the
    // output is the same in every locale.
    std::setlocale(LC_ALL, "");
    // Numbers the tool prints itself are written in the C locale too: "mean
    // 92.6" under every locale, for scripts that read them.
    std::setlocale(LC_NUMERIC, "C");
    // A file-size limit makes a write fail (and its temporary file go) instead
    // of killing the process half-way through an output.
    std::signal(SIGXFSZ, SIG_IGN);
    if (argc < 2) {
        std::fputs(toolHelpText().c_str(), stderr);
        return eExitUsage;
    }
    const std::string_view name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        std::fputs(toolHelpText().c_str(), stdout);
        return eExitSuccess;
    }
    if (name == "--version") {
        std::fputs(versionText().c_str(), stdout);
        return eExitSuccess;
    }
    const CommandSpec* command = findCommand(name);
    if (!command) {
        std::fprintf(stderr, "qffx: unknown command '%s'\n\n%s", argv[1], toolHelpText().c_str());
        return eExitUsage;
    }
    const int status = dispatch(*command, CommandArgs(argv + 2, argv + argc));
    // The library's exit callbacks (the effect manager's shut-down) run
    // before static objects go.
    Shutdown::runCallbacks(Shutdown::eNormalExit);
    return status;
}
