// qffx diagnostics: runs the GPU diagnostics of the system report on the real
// GPU service and prints them as text, or as one JSON object (--json).
#include "Commands.h"
#include "ToolEffects.h"
#include "ToolJson.h"

#include "diagnostics/DiagnosticsLog.h"
#include "diagnostics/GPUTests.h"
#include "host/base/Strings.h"
#include "host/os/OS.h"
#include "platform/LinuxServices.h"

#include <cstdio>
#include <optional>
#include <string>

namespace {

// The figures with the three decimals the text lines give them.
double figure(double value) { return roundedTo(value, 3); }

void printJSON(const DiagnosticsLog& log, std::optional<double> gpuMsPerPass) {
    iSystemInfoService* info = OS()->systemInfo();
    const MemoryStatus memory = info ? info->getMemoryStatus() : MemoryStatus{};
    Json tests = Json::array();
    for (const DiagnosticsLog::Test& test : log.tests()) {
        Json messages = Json::array();
        for (const auto& message : test.messages) messages.push_back({{"text", message.text}, {"level", message.level}});
        Json entry = {{"title", test.title}, {"messages", std::move(messages)}, {"passed", !test.failed()}};
        double fps = 0;
        if (test.fps(fps)) entry["fps"] = figure(fps);
        tests.push_back(std::move(entry));
    }
    Json report = {{"gpu", LinuxServices::instance().gpuDescription()},
                   {"system",
                    {{"memoryAvailableBytes", memory.availableBytes},
                     {"memoryTotalBytes", memory.totalBytes},
                     {"cpus", info ? info->getNumCPUs() : 0},
                     {"admin", info && info->isAdministrator()}}},
                   {"preamble", log.preamble()},
                   {"tests", std::move(tests)}};
    if (gpuMsPerPass) report["gpuMsPerPass"] = figure(*gpuMsPerPass);
    report["passed"] = !log.anyFailed();
    std::fputs(jsonText(report).c_str(), stdout);
}

} // namespace

int runDiagnostics(const Invocation& call) {
    const bool json = call.args.has("--json");
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
    return log.anyFailed() ? eExitFailed : eExitSuccess;
}
