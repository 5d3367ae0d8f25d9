// qffx diagnostics: runs the GPU diagnostics of the system report on the real
// GPU service and prints them as text, or as one JSON object (--json).
#include "Commands.h"
#include "Options.h"
#include "ToolEffects.h"

#include "diagnostics/DiagnosticsLog.h"
#include "diagnostics/GPUTests.h"
#include "host/OS.h"
#include "host/Strings.h"
#include "platform/LinuxServices.h"

#include <cstdio>
#include <optional>
#include <string>

namespace {

const char* const kHelp = "usage: qffx diagnostics [--json] [--shaders DIR] [--templates DIR]\n"
                          "\n"
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
                          "\"passed\" and \"fps\" when measured), \"gpuMsPerPass\" where timed, and \"passed\".\n"
                          "\n"
                          "Exit status: 0 when every test passed, 1 when any failed, 2 for bad arguments.\n";

std::string number(double value) { return toUTF8(Qf::WStringFromFloat(value, 3, true)).str(); }

void printJSON(const DiagnosticsLog& log, std::optional<double> gpuMsPerPass) {
    iSystemInfoService* info = OS()->systemInfo();
    const MemoryStatus memory = info ? info->getMemoryStatus() : MemoryStatus{};
    std::string out = "{\n  \"gpu\": " + jsonString(LinuxServices::instance().gpuDescription()) + ",\n";
    out += "  \"system\": {\"memoryAvailableBytes\": " + std::to_string(memory.availableBytes) +
           ", \"memoryTotalBytes\": " + std::to_string(memory.totalBytes) +
           ", \"cpus\": " + std::to_string(info ? info->getNumCPUs() : 0) +
           ", \"admin\": " + (info && info->isAdministrator() ? "true" : "false") + "},\n";
    out += "  \"preamble\": [";
    for (size_t i = 0; i < log.preamble().size(); ++i) out += (i ? ", " : "") + jsonString(log.preamble()[i]);
    out += "],\n  \"tests\": [";
    for (size_t t = 0; t < log.tests().size(); ++t) {
        const DiagnosticsLog::Test& test = log.tests()[t];
        out += std::string(t ? "," : "") + "\n    {\"title\": " + jsonString(test.title) + ", \"messages\": [";
        for (size_t m = 0; m < test.messages.size(); ++m)
            out += std::string(m ? ", " : "") + "{\"text\": " + jsonString(test.messages[m].text) +
                   ", \"level\": " + std::to_string(test.messages[m].level) + "}";
        out += std::string("], \"passed\": ") + (test.failed() ? "false" : "true");
        double fps = 0;
        if (test.fps(fps)) out += ", \"fps\": " + number(fps);
        out += "}";
    }
    out += log.tests().empty() ? "],\n" : "\n  ],\n";
    if (gpuMsPerPass) out += "  \"gpuMsPerPass\": " + number(*gpuMsPerPass) + ",\n";
    out += std::string("  \"passed\": ") + (log.anyFailed() ? "false" : "true") + "\n}\n";
    std::fputs(out.c_str(), stdout);
}

} // namespace

int runDiagnostics(const CommandArgs& args) {
    const ParsedArgs parsed = parseArgs(args, {{"--json", false}});
    if (parsed.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!parsed.error.empty()) return usageError("diagnostics", parsed.error);
    if (!parsed.positional.empty()) return usageError("diagnostics", "takes no arguments");
    const bool json = parsed.has("--json");

    // Only "cc3" is compiled (on demand): the background compilation is held.
    startManagerForLookup();
    DiagnosticsLog log(json ? std::function<void(const std::string&)>() : [](const std::string& line) {
        std::fputs((line + "\n").c_str(), stdout);
        std::fflush(stdout);
    });
    GPUTests::runAllTests(log);
    // Not one of the tests: measured once they have run, and printed after them.
    const std::optional<double> gpuMsPerPass = GPUTests::measureGPUMillisecondsPerPass();
    if (json)
        printJSON(log, gpuMsPerPass);
    else if (gpuMsPerPass)
        std::printf("\nGPU time per pass: %s ms\n", toUTF8(Qf::WStringFromFloat(*gpuMsPerPass, 2, true)).c_str());
    return log.anyFailed() ? 1 : 0;
}
