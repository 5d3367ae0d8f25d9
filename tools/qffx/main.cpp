// qffx: the command-line tool over the effects library.
#include "Commands.h"

#include "host/Shutdown.h"

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>

namespace {

const char* const kUsage = "usage: qffx <command> [options]\n"
                           "\n"
                           "Commands:\n"
                           "  generate   read an effect file and print the shader text that compiling it\n"
                           "             would hand to the GPU service (Cg or GLSL)\n"
                           "  luts       list, install and apply LUTs; choose ACES transforms\n"
                           "  describe   what an effect declares: inputs, parameters, techniques (--json)\n"
#ifdef QFFX_HAVE_PLATFORM
                           "  compile    compile an effect with the GPU service and report its errors\n"
                           "  run        run an effect on PNG images\n"
                           "  effects    list the effects the effect manager registers, or compile them\n"
                           "             all as its background compilation does (--compile)\n"
                           "  watch      keep the effect manager running and recompile effect files as\n"
                           "             they change\n"
                           "  preview    a contact sheet of an effect over a test picture, its float\n"
                           "             parameters swept\n"
                           "  text       draw a line of text with a GPU font into a PNG picture\n"
                           "  diagnostics\n"
                           "             run the GPU tests of the system report (--json: one object)\n"
                           "  convert    convert frames between RGB and Y'CbCr files (PNG, y4m, raw)\n"
                           "  scopes     compute the video scopes of a PNG frame on the compute device\n"
                           "             (histograms, waveform, vectorscope) as pictures and numbers\n"
#endif
                           "\n"
                           "Run 'qffx <command> --help' for the options of a command.\n"
                           "The effects directory is the embedded resources/shaders/ unless --shaders DIR\n"
                           "or the environment variable QFFX_SHADERS_DIR names another; the effect\n"
                           "templates directory is the embedded resources/effect-templates/ unless\n"
                           "--templates DIR or QFFX_TEMPLATES_DIR names another.\n";

struct Command {
    std::string_view name;
    int (*run)(const CommandArgs&);
};

constexpr Command kCommands[] = {
    {"generate", runGenerate}, {"luts", runLuts}, {"describe", runDescribe},
#ifdef QFFX_HAVE_PLATFORM
    {"compile", runCompile},   {"run", runRun},   {"effects", runEffects},         {"watch", runWatch},
    {"preview", runPreview},   {"text", runText}, {"diagnostics", runDiagnostics}, {"convert", runConvert},
    {"scopes", runScopes},
#endif
};

} // namespace

int main(int argc, char** argv) {
    // Take the user's locale as command-line tools do (messages, character
    // classes); the library reads and writes numbers without it, so the
    // output is the same in every locale.
    std::setlocale(LC_ALL, "");
    // A file-size limit makes a write fail (and its temporary file go) instead
    // of killing the process half-way through an output.
    std::signal(SIGXFSZ, SIG_IGN);
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const std::string_view command = argv[1];
    if (command == "--help" || command == "-h" || command == "help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    for (const Command& c : kCommands)
        if (c.name == command) {
            int status = 2;
            try {
                status = c.run(CommandArgs(argv + 2, argv + argc));
            } catch (const std::bad_alloc&) {
                // Input that needs more memory than the machine has is bad
                // input: a message and exit status 2, not an abort.
                std::fprintf(stderr, "qffx %s: out of memory\n", argv[1]);
            }
            // The library's exit callbacks (the effect manager's shut-down) run
            // before static objects go.
            Shutdown::runCallbacks(Shutdown::eNormalExit);
            return status;
        }
    std::fprintf(stderr, "qffx: unknown command '%s'\n\n%s", argv[1], kUsage);
    return 2;
}
