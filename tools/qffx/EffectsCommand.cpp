// qffx effects: the effects the manager registers, and their background compilation.
#include "Commands.h"
#include "Options.h"
#include "ProgressBar.h"
#include "ToolEffects.h"

#include "codegen/CodeGenerators.h"
#include "host/BackgroundTasks.h"
#include "host/Log.h"
#include "host/Paths.h"
#include "host/StartEnv.h"
#include "host/Strings.h"
#include "manager/Manager.h"

#include <cstdio>
#include <string>

using Qf::FxResources::Manager;

namespace {

const char* const kHelp = "usage: qffx effects [--shaders DIR] [--templates DIR] [--json]\n"
                          "       qffx effects --compile [--transcode] [--shaders DIR] [--templates DIR]\n"
                          "\n"
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
                          "standard error is a terminal). --transcode starts as the editor does with\n"
                          "-transcode: nothing is compiled. Exit status 1 when any effect failed.\n";

int list(bool json) {
    Manager& manager = startManagerForLookup();
    // The declaration is read from a copy, so the registered effect stays unread.
    const Ptr<iShaderCodeGenerator> reader = makeCodeGenerator(eShadingLanguageCg, getShadersDir());
    if (json) std::fputs("[", stdout);
    bool first = true;
    for (const Ptr<ShaderEffectInfo>& effect : manager.getEffects()) {
        ShaderEffectInfo copy(*effect);
        copy.read(reader);
        const std::string name = Manager::registryName(*effect).str();
        const std::string path = toUTF8(effect->getFullPath()).str();
        const std::string category = toUTF8(copy.getCategory()).str(), subcategory = toUTF8(copy.getSubcategory()).str();
        const bool registered = manager.findEffect(name.c_str(), false) == effect;
        if (json) {
            std::printf("%s\n  {\"name\": %s, \"path\": %s, \"category\": %s, \"subcategory\": %s, \"registered\": %s}",
                        first ? "" : ",", jsonString(name).c_str(), jsonString(path).c_str(), jsonString(category).c_str(),
                        jsonString(subcategory).c_str(), registered ? "true" : "false");
        } else {
            const std::string kind = category.empty() && subcategory.empty() ? "-" : category + "/" + subcategory;
            std::printf("%-24s %-24s %s%s\n", name.c_str(), kind.c_str(), path.c_str(), registered ? "" : "  (name taken)");
        }
        first = false;
    }
    if (json) std::fputs(first ? "]\n" : "\n]\n", stdout);
    return 0;
}

int compileAll(bool transcode) {
    if (!startGPU("effects")) return 2;
    if (transcode) StartEnv::programEnv().setArgs({L"-transcode"});
    ProgressBar bar(stderr);
    UIBackgroundTasksQueue& queue = UIBackgroundTasksQueue::instance();
    if (bar.enabled()) {
        queue.setLogListener(
            [&bar](const LightweightString<wchar_t>& item, double progress) { bar.update(toUTF8(item).str(), progress); });
        // Library lines go above the bar, unchanged.
        setLogSink([&bar](std::string_view text) { bar.print(text); });
    }
    Manager& manager = Manager::instance();
    queue.waitUntilIdle();
    bar.finish();
    setLogSink({});
    queue.setLogListener({});
    if (transcode) return 0;
    for (const Ptr<ShaderEffectInfo>& effect : manager.getEffects())
        if (!effect->getCompiledShader()) return 1;
    return 0;
}

} // namespace

int runEffects(const CommandArgs& args) {
    const ParsedArgs parsed = parseArgs(args, {{"--json", false}, {"--compile", false}, {"--transcode", false}});
    if (parsed.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!parsed.error.empty()) return usageError("effects", parsed.error);
    if (!parsed.positional.empty()) return usageError("effects", "takes no arguments");
    if (parsed.has("--transcode") && !parsed.has("--compile")) return usageError("effects", "--transcode goes with --compile");
    if (parsed.has("--json") && parsed.has("--compile"))
        return usageError("effects", "--json lists; it does not go with --compile");
    return parsed.has("--compile") ? compileAll(parsed.has("--transcode")) : list(parsed.has("--json"));
}
