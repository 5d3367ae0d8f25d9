// qffx effects: the effects the manager registers, and their background compilation.
#include "Commands.h"
#include "ProgressBar.h"
#include "ToolEffects.h"
#include "ToolJson.h"

#include "codegen/CodeGenerators.h"
#include "host/base/Strings.h"
#include "host/misc/BackgroundTasks.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "host/misc/StartEnv.h"
#include "manager/Manager.h"

#include <cstdio>
#include <string>

using Qf::FxResources::Manager;

namespace {

int list(bool json) {
    Manager& manager = startManagerForLookup();
    // The declaration is read from a copy, so the registered effect stays unread.
    const Ptr<iShaderCodeGenerator> reader = makeCodeGenerator(eShadingLanguageCg, getShadersDir());
    Json list = Json::array();
    for (const Ptr<ShaderEffectInfo>& effect : manager.getEffects()) {
        ShaderEffectInfo copy(*effect);
        copy.read(reader);
        const std::string name = Manager::registryName(*effect).str();
        const std::string path = toUTF8(effect->getFullPath()).str();
        const std::string category = toUTF8(copy.getCategory()).str(), subcategory = toUTF8(copy.getSubcategory()).str();
        const bool registered = manager.findEffect(name.c_str(), false) == effect;
        if (json) {
            list.push_back({{"name", name},
                            {"path", path},
                            {"category", category},
                            {"subcategory", subcategory},
                            {"registered", registered}});
        } else {
            const std::string kind = category.empty() && subcategory.empty() ? "-" : category + "/" + subcategory;
            std::printf("%-24s %-24s %s%s\n", name.c_str(), kind.c_str(), path.c_str(), registered ? "" : "  (name taken)");
        }
    }
    if (json) std::fputs(jsonText(list).c_str(), stdout);
    return eExitSuccess;
}

int compileAll(const Invocation& call) {
    if (!startGPU(call.report)) return eExitUsage;
    const bool transcode = call.args.has("--transcode");
    if (transcode) StartEnv::programEnv().setArgs({L"-transcode"});
    ProgressBar bar(stderr);
    UIBackgroundTasksQueue& queue = UIBackgroundTasksQueue::instance();
    LogSink previous;
    if (bar.enabled()) {
        queue.setLogListener(
            [&bar](const LightweightString<wchar_t>& item, double progress) { bar.update(toUTF8(item).str(), progress); });
        // Library lines go above the bar, unchanged.
        previous = setLogSink(toolLogSink(call.verbose(), [&bar](std::string_view text) { bar.print(text); }));
    }
    Manager& manager = Manager::instance();
    queue.waitUntilIdle();
    bar.finish();
    if (bar.enabled()) setLogSink(std::move(previous));
    queue.setLogListener({});
    if (transcode) return eExitSuccess;
    // After the library's own lines: each failure again, at the file's lines.
    return printFailedEffects(manager.getEffects()) == 0 ? eExitSuccess : eExitFailed;
}

} // namespace

int runEffects(const Invocation& call) {
    const ParsedArgs& parsed = call.args;
    if (parsed.has("--transcode") && !parsed.has("--compile")) return call.report.usage("--transcode goes with --compile");
    if (parsed.has("--json") && parsed.has("--compile")) return call.report.usage("--json lists; it does not go with --compile");
    return parsed.has("--compile") ? compileAll(call) : list(parsed.has("--json"));
}
