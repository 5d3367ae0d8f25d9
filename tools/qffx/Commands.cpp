// The table of qffx commands and the dispatch that runs them.
#include "Commands.h"

#include "manager/Version.h"

#include <qffxresources/Version.h>

#include <cstdio>
#include <new>

namespace {

// Where the help text of an option begins.
constexpr size_t kHelpColumn = 24;
// Where a command's summary begins in qffx --help.
constexpr size_t kSummaryColumn = 13;

// clang-format off
const std::vector<CommandSpec> kCommands = {
    {
        "generate",
        "read an effect file and print the shader text that compiling it\n"
        "would hand to the GPU service (Cg or GLSL)",
        "[--lang cg|glsl] [--target plain|annotated] [--definitions] [options] EFFECT",
        "Reads EFFECT (an .fx file, or the name of an effect in the shaders directory)\n"
        "and prints each line of the generated shader text.",
        {
            {"--lang", "cg|glsl", "the code generator: Cg-style effect text (default) or a\n"
                                  "GLSL fragment shader"},
            {"--target", "T", "Cg only: 'plain' (default), the compact text compiled at\n"
                              "run time, or 'annotated', the self-describing effect form"},
            {"--definitions", "", "print the name/value pairs handed to the compiler\n"
                                  "instead of the text, one NAME=VALUE a line"},
        },
        1, 1, "give exactly one effect",
        "Errors in the effect are printed as 'FILE.fx:LINE: MESSAGE' (exit status 1);\n"
        "an effect that cannot be read, or bad options, give exit status 2.",
        runGenerate,
    },
    {
        "luts",
        "list, install and apply LUTs; choose ACES transforms",
        "SUBCOMMAND [ARGUMENTS] [options]",
        "  list [--json]          the LUT catalogue: factory LUTs, then the user's\n"
        "  manufacturers          the manufacturer list, one a line\n"
        "  install FILE...        copy LUT files into the user LUT directory (an\n"
        "                         existing file is never replaced: 'Name (2).cube')\n"
#ifdef QFFX_HAVE_PLATFORM
        "  apply LUT --in IN.png --out OUT.png [--interpolation trilinear|tetrahedral]\n"
        "                         map a picture through a LUT on the GPU; LUT is a\n"
        "                         catalogue identifier or name, or a .cube file\n"
#endif
        "  aces-input C           the LUT from colorimetry C into ACES\n"
        "  aces-output C          the LUT from ACES into colorimetry C\n"
        "  direct FROM TO         the direct LUT between two colorimetries (the bare\n"
        "                         LUT root when there is none)\n"
        "  prefer-aces FROM TO    true when the conversion goes through ACES\n"
        "\n"
        "A colorimetry is a number or a name: 1 bt601, 2 bt709, 3 bt2020 (Rec.709\n"
        "transfer), 4 bt2020-hlg, 5 bt2020-pq (ST2084), 6 p3-dci, 7 p3-display, 8 aces.",
        {
            {"--json", "", "list: objects with id, name, category, manufacturer,\n"
                           "detail, selectable"},
            {"--in", "IN.png", "apply: the picture"},
            {"--out", "OUT.png", "apply: where the result is written"},
            {"--interpolation", "M", "apply: trilinear (default) or tetrahedral"},
            {"--factory", "DIR", "the factory LUT directory (default: the embedded\n"
                                 "resources/luts/)"},
            {"--user", "DIR", "the user LUT directory (default: $XDG_DATA_HOME/qffx/luts/)"},
            {"--root", "DIR", "where the ACES transforms are (default: the factory\n"
                              "directory)"},
        },
        1, kAnyNumber, "give a subcommand",
        "Exit status: 0 success, 1 the work failed (a file not installed, a draw\n"
        "that failed), 2 bad usage, a bad value, or an unreadable file.",
        runLuts,
    },
    {
        "describe",
        "what an effect declares: inputs, parameters, techniques (--json)",
        "[--json] [options] EFFECT",
        "Describes what EFFECT (an .fx file, or the name of an effect in the shaders or\n"
        "effect-templates directory) declares: its name, category, sub-category, notes\n"
        "and capabilities; its inputs; its parameters (id, type, display name, group,\n"
        "flags, default, minimum, maximum, choices, colour components, whether it can\n"
        "be keyframed); the shader variables the host sets; its techniques and passes.\n"
        "Read from the file alone: no GPU is needed.",
        {
            {"--json", "", "one JSON object in the schema of docs/effect-schema.md"},
        },
        1, 1, "give exactly one effect",
        "An effect whose declarations have errors prints them as 'FILE.fx:LINE:\n"
        "MESSAGE' and gives exit status 1; bad options or files give 2.",
        runDescribe,
    },
#ifdef QFFX_HAVE_PLATFORM
    {
        "compile",
        "compile an effect with the GPU service and report its errors",
        "[options] EFFECT",
        "Compiles EFFECT (an .fx file, or the name of an effect in the shaders or\n"
        "effect-templates directory, found as the effect manager finds it) with\n"
        "the GPU service (OpenGL: the effect is written as GLSL).\n"
        "Prints the effect's parameters on success; otherwise each error at the\n"
        "effect file's own line as 'FILE.fx:LINE: MESSAGE' (the form compilers use,\n"
        "so that editors can jump to it), then that line, exit status 1.",
        {},
        1, 1, "give exactly one effect",
        "An unreadable file or a missing GPU gives exit status 2.",
        runCompile,
    },
    {
        "run",
        "run an effect on PNG images",
        "EFFECT --in IN.png --out OUT.png [--input NAME=FILE]... [--set NAME=VALUE]... [options]",
        "Compiles EFFECT (an .fx file, or the name of an effect in the shaders or\n"
        "effect-templates directory) and draws it over an image the size of IN.png,\n"
        "every parameter at its declared default unless --set gives it another value.",
        {
            {"--in", "IN.png", "the picture bound to the effect's first input", OptionSpec::eRequired},
            {"--out", "OUT.png", "where the result is written (8 or 16 bits, as IN.png)", OptionSpec::eRequired},
            {"--input", "NAME=FILE", "the picture for another input (e.g. Mask=mask.png), or\n"
                                     "a .cube file for a 3D input; repeatable", OptionSpec::eRepeatable},
            {"--set", "NAME=VALUE", "a parameter value: a number (float, int), true/false\n"
                                    "(bool), or comma-separated numbers (float3, float4,\n"
                                    "float3x3 with 9 numbers, rows in order); repeatable", OptionSpec::eRepeatable},
        },
        1, 1, "give exactly one effect",
        "A 3D input without a file gets an identity look-up table. Exit status: 0 on\n"
        "success, 1 when the effect does not compile, 2 for bad arguments or files.",
        runRun,
    },
    {
        "effects",
        "list the effects the effect manager registers, or compile them\n"
        "all as its background compilation does (--compile)",
        "[--json] [options]\n"
        "--compile [--transcode] [options]",
        "Lists the effects that the effect manager registers, in discovery order:\n"
        "the shaders directory, then the effect-templates directory, each in byte\n"
        "order of the file name; files beginning with '_' are includes, not effects.\n"
        "Each line gives the name, the category/sub-category of the effect's\n"
        "declaration and the path. --json prints an array of objects with \"name\",\n"
        "\"path\", \"category\", \"subcategory\" and \"registered\" (false for a\n"
        "second file of a name already taken: look-ups find the first).\n"
        "\n"
        "--compile starts the manager and waits for its background compilation,\n"
        "printing the library's lines on standard error (and a progress bar when\n"
        "standard error is a terminal). After the library's lines, each error of a\n"
        "failed effect is printed as 'FILE.fx:LINE: MESSAGE' at the effect file's own\n"
        "line.",
        {
            {"--json", "", "print the list as JSON"},
            {"--compile", "", "compile every effect and report the failures"},
            {"--transcode", "", "with --compile: start as the editor does with\n"
                                "-transcode: nothing is compiled"},
        },
        0, 0, "takes no arguments",
        "Exit status 1 when any effect failed.",
        runEffects,
    },
    {
        "watch",
        "keep the effect manager running and recompile effect files as\n"
        "they change",
        "[options]",
        "Starts the effect manager, waits for its first compilation of every effect,\n"
        "then recompiles whenever an .fx file in the shaders or effect-templates\n"
        "directory is saved, added or removed, printing the library's lines\n"
        "(\"Recompiled PATH\", \"Failed to recompile PATH\" and its errors) on standard\n"
        "error; then each error of an effect that failed again at the file's own\n"
        "line ('FILE.fx:LINE: MESSAGE', the form editors jump to). Keep it open\n"
        "beside the editor while writing an effect.",
        {},
        0, 0, "takes no arguments",
        "Ctrl-C (SIGINT), SIGTERM or SIGHUP shuts the manager down and ends with exit\n"
        "status 0.",
        runWatch,
    },
    {
        "preview",
        "a contact sheet of an effect over a test picture, its float\n"
        "parameters swept",
        "EFFECT --out SHEET.png [--in PICTURE.png] [--param NAME] [options]",
        "Draws EFFECT on the GPU over a test picture and writes a contact sheet: the\n"
        "first row holds the untouched picture and the effect at its defaults, each\n"
        "further row one float parameter swept from its minimum to its maximum in five\n"
        "steps (only NAME with --param). Each cell is what 'qffx run' draws with those\n"
        "values, labelled with them beneath; the values of each row are also printed\n"
        "on standard output.",
        {
            {"--out", "SHEET.png", "where the contact sheet is written", OptionSpec::eRequired},
            {"--in", "PICTURE.png", "the picture (default: a built-in picture of colour bars,\n"
                                    "a grey ramp, skin tones and fine detail)"},
            {"--param", "NAME", "sweep only this float parameter"},
        },
        1, 1, "give exactly one effect",
        "Exit status: 0 on success, 1 when the effect does not compile or a draw\n"
        "fails, 2 for bad arguments or files.",
        runPreview,
    },
    {
        "text",
        "draw a line of text with a GPU font into a PNG picture",
        "TEXT --out OUT.png [--font FAMILY] [--size PX] [--bold] [--italic] [--colour R,G,B,A] [options]",
        "Draws TEXT (UTF-8, one line) with a GPU font into a transparent picture just\n"
        "large enough for it: the line's height (ascent and descent) by the pen's travel,\n"
        "widened where ink reaches beyond either.",
        {
            {"--out", "OUT.png", "where the picture is written (8-bit RGBA)", OptionSpec::eRequired},
            {"--font", "FAMILY", "the font family (default \"DejaVu Sans\"); a missing family\n"
                                 "is replaced by fontconfig's best match, named in the log"},
            {"--size", "PX", "the size in pixels, 1 to 1024 (default 32; 11.9 draws as 11)"},
            {"--bold", "", "the bold style"},
            {"--italic", "", "the italic style"},
            {"--colour", "R,G,B,A", "the text colour, each 0 to 1 (default 0,0,0,1: black)"},
        },
        1, 1, "give exactly one TEXT (quote it when it has blanks)",
        "Exit status: 0 on success, 1 when the text cannot be drawn, 2 for bad\n"
        "arguments or an unwritable file.",
        runText,
    },
    {
        "diagnostics",
        "run the GPU tests of the system report (--json: one object)",
        "[--json] [options]",
        "Runs the GPU tests of the system report: memory, CPUs and rights, then the\n"
        "host-to-GPU and GPU-to-host transfer rates, the speed of the \"cc3\" effect\n"
        "and the playback and render loops, each in frames per second at 1920 x 1080.\n"
        "A loop runs at most 2000 times or 5 seconds; the whole run takes up to about\n"
        "a minute. After the tests, the GPU's own time for one \"cc3\" pass is\n"
        "measured where the GPU can time (\"GPU time per pass: N ms\").\n"
        "\n"
        "Text output has one line per message, a blank line before each test.\n"
        "--json prints one object instead: \"gpu\" (the renderer), \"system\"\n"
        "(\"memoryAvailableBytes\", \"memoryTotalBytes\", \"cpus\", \"admin\"), \"preamble\"\n"
        "(its lines), \"tests\" (each with \"title\", \"messages\" of \"text\" and \"level\",\n"
        "\"passed\" and \"fps\" when measured), \"gpuMsPerPass\" where timed, and \"passed\".",
        {
            {"--json", "", "print one JSON object instead of the lines"},
        },
        0, 0, "takes no arguments",
        "Exit status: 0 when every test passed, 1 when any failed, 2 for bad arguments.",
        runDiagnostics,
    },
    {
        "convert",
        "convert frames between RGB and Y'CbCr files (PNG, y4m, raw)",
        "--in IN --out OUT [--from FMT] [--to FMT] [--size WxH] [options]",
        "Converts every frame of IN into OUT. RGB <-> Y'CbCr runs the library's\n"
        "conversion effects on the GPU; between Y'CbCr formats of the same\n"
        "subsampling the samples are repacked exactly. '-' is standard input or output.",
        {
            {"--in", "IN", "the input file, or '-'", OptionSpec::eRequired},
            {"--out", "OUT", "the output file, or '-'", OptionSpec::eRequired},
            {"--from", "FMT", "the input's format: png (8/16-bit RGBA), y4m (4:2:2 and\n"
                              "4:4:4, 8 and 10 bits), or raw frames: rgba, bgra, argb,\n"
                              "rgba64le, uyvy422, yuyv422, yuv422p10le, yuv444p10le,\n"
                              "v210, m101, dvs10; taken from the file extension when\n"
                              "not given"},
            {"--to", "FMT", "the output's format, as --from"},
            {"--size", "WxH", "the frame size of raw input"},
            {"--colourimetry", "C", "of the Y'CbCr side: bt601, bt709 (default), bt2020,\n"
                                    "bt2020-hlg, bt2020-pq, p3-dci, p3-display"},
            {"--range", "R", "of the Y'CbCr side: legal (default) or full; RGB is\n"
                             "full range"},
            {"--gamut-scaling", "S", "Y'CbCr to RGB: full (default) expands to full-range\n"
                                     "RGB, legal keeps legal levels"},
            {"--filter", "F", "4:2:2 chroma filter: point, linear (default), lowpass"},
        },
        0, 0, "unexpected argument '{}'",
        "Exit status: 0 on success, 1 when a conversion fails on the GPU, 2 for bad\n"
        "arguments, unreadable or truncated input (no output file is left behind).",
        runConvert,
    },
    {
        "scopes",
        "compute the video scopes of a PNG frame on the compute device\n"
        "(histograms, waveform, vectorscope) as pictures and numbers",
        "--in FRAME.png [--out-dir DIR] [--json] [options]",
        "Computes the video scopes of FRAME.png with the compute kernels of Scopes.cl\n"
        "(OpenCL: the GPU where there is one, else PoCL on the CPU) and writes them as\n"
        "pictures into DIR (default: the current directory), named after the frame:\n"
        "  FRAME_histogram.png    the luma, red, green and blue histograms, top to\n"
        "                         bottom, each scaled to its own highest count; the\n"
        "                         marks stand at levels 16 and 235 (video range)\n"
        "  FRAME_waveform.png     one column per frame column, luma level 255 at the\n"
        "                         top; brightness grows with the count (logarithmic);\n"
        "                         lines every 64 levels, and at 16 and 235\n"
        "  FRAME_vectorscope.png  Cb to the right, Cr up, 2 pixels a level; boxes in\n"
        "                         their colours mark the 75% colour-bar targets (red,\n"
        "                         green, blue, cyan, magenta, yellow)\n"
        "It prints the device and each histogram's range and mean; --json prints the\n"
        "numbers instead, as an object with \"device\", \"width\", \"height\",\n"
        "\"histogram_luma\", \"histogram_r\", \"histogram_g\", \"histogram_b\" (256 counts\n"
        "each), \"vectorscope_peak\" and \"pictures\".\n"
        "\n"
        "Levels are 8-bit codes of BT.709 Y', Cb and Cr computed from the R, G and B\n"
        "components (16-bit frames are rounded to 8 bits first).",
        {
            {"--in", "FRAME.png", "the frame", OptionSpec::eRequired},
            {"--out-dir", "DIR", "where the pictures are written (default: the current\n"
                                 "directory)"},
            {"--json", "", "print the numbers as one JSON object"},
        },
        0, 0, "takes no positional arguments (give the frame with --in)",
        "Exit status: 0 on success; 1 when the kernels do not build or run; 2 for bad\n"
        "arguments or files, and when no OpenCL platform is present.",
        runScopes,
    },
#endif
    {
        "version",
        "print the version of qffx and of the effects library",
        "[options]",
        "Prints the version of qffx and of the effects library it runs on, as\n"
        "'qffx 1.2.3 (libqffxresources 1.2.3)'. 'qffx --version' does the same.",
        {},
        0, 0, "takes no arguments",
        "",
        runVersion,
    },
};
// clang-format on

void appendLines(std::string& out, std::string_view text, std::string_view firstIndent, std::string_view indent) {
    bool first = true;
    for (size_t start = 0; start <= text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        out.append(first ? firstIndent : indent).append(text.substr(start, end - start)).append("\n");
        first = false;
        start = end + 1;
    }
}

void appendOption(std::string& out, const OptionSpec& option) {
    std::string label = "  " + std::string(option.name);
    if (option.takesValue()) label.append(" ").append(option.value);
    const std::string indent(kHelpColumn, ' ');
    if (label.size() + 1 > kHelpColumn) {
        out += label + "\n";
        label = indent;
    } else {
        label.resize(kHelpColumn, ' ');
    }
    appendLines(out, option.help, label, indent);
}

} // namespace

std::span<const CommandSpec> commands() { return kCommands; }

const CommandSpec* findCommand(std::string_view name) {
    for (const CommandSpec& c : kCommands)
        if (c.name == name) return &c;
    return nullptr;
}

std::string helpText(const CommandSpec& command) {
    std::string out;
    const std::string form = "qffx " + std::string(command.name) + " ";
    bool first = true;
    for (size_t start = 0; start <= command.synopsis.size();) {
        const size_t end = std::min(command.synopsis.find('\n', start), command.synopsis.size());
        out.append(first ? "usage: " : "       ").append(form).append(command.synopsis.substr(start, end - start)).append("\n");
        first = false;
        start = end + 1;
    }
    if (!command.description.empty()) {
        out += "\n";
        std::string_view text = command.description;
        if (text.ends_with('\n')) text.remove_suffix(1);
        appendLines(out, text, "", "");
    }
    out += "\nOptions:\n";
    for (const OptionSpec& option : command.options) appendOption(out, option);
    for (const OptionSpec& option : commonOptions()) appendOption(out, option);
    if (!command.footer.empty()) {
        out += "\n";
        appendLines(out, command.footer, "", "");
    }
    return out;
}

std::string toolHelpText() {
    std::string out = "usage: qffx <command> [options]\n"
                      "       qffx --version\n"
                      "\n"
                      "Commands:\n";
    const std::string indent(kSummaryColumn, ' ');
    for (const CommandSpec& c : kCommands) {
        std::string label = "  " + std::string(c.name);
        if (label.size() + 1 > kSummaryColumn) {
            out += label + "\n";
            label = indent;
        } else {
            label.resize(kSummaryColumn, ' ');
        }
        appendLines(out, c.summary, label, indent);
    }
    out += "\n"
           "Run 'qffx <command> --help' for the options of a command.\n"
           "The effects directory is the embedded resources/shaders/ unless --shaders DIR\n"
           "or the environment variable QFFX_SHADERS_DIR names another; the effect\n"
           "templates directory is the embedded resources/effect-templates/ unless\n"
           "--templates DIR or QFFX_TEMPLATES_DIR names another. --verbose prints the\n"
           "library's timing lines, which are otherwise left out.\n";
    return out;
}

std::string versionText() {
    return std::string("qffx ") + QFFXRESOURCES_VERSION_STRING + " (libqffxresources " + Qf::FxResources::libraryVersion() +
           ")\n";
}

int runVersion(const Invocation&) {
    std::fputs(versionText().c_str(), stdout);
    return eExitSuccess;
}

int dispatch(const CommandSpec& command, const CommandArgs& args) {
    const Reporter report(command.name);
    const ParsedArgs parsed = parseArgs(args, command.options);
    if (parsed.help) {
        std::fputs(helpText(command).c_str(), stdout);
        return eExitSuccess;
    }
    if (!parsed.error.empty()) return report.usage(parsed.error);
    std::string error;
    if (!applyDirectoryOptions(parsed, error)) return report.usage(error);
    const size_t count = parsed.positional.size();
    if (count < command.minArguments || count > command.maxArguments) {
        std::string message(command.wrongArguments);
        if (const size_t at = message.find("{}"); at != std::string::npos && count > command.maxArguments)
            message.replace(at, 2, parsed.positional[command.maxArguments]);
        return report.usage(message);
    }
    // All the required options are named when one is missing: "--in and --out are required".
    std::string required;
    size_t requiredCount = 0, missing = 0;
    for (const OptionSpec& option : command.options) {
        if (option.kind != OptionSpec::eRequired) continue;
        required += (required.empty() ? "" : " and ") + std::string(option.name);
        ++requiredCount;
        missing += parsed.has(std::string(option.name)) ? 0 : 1;
    }
    if (missing) return report.usage(required + (requiredCount > 1 ? " are required" : " is required"));
    setLogSink(toolLogSink(parsed.has("--verbose")));
    try {
        return command.run(Invocation{command, parsed, report});
    } catch (const std::bad_alloc&) {
        // Input that needs more memory than the machine has is bad input: a
        // message and exit status 2, not an abort.
        return report.bad("out of memory");
    }
}
