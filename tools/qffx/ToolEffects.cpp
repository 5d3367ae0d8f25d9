#include "ToolEffects.h"

#include "host/base/Strings.h"
#include "host/misc/Paths.h"
#include "host/misc/TextFile.h"

#ifdef QFFX_HAVE_PLATFORM
#include "host/misc/BackgroundTasks.h"
#include "host/own/ShaderContract.h"
#include "manager/Manager.h"
#include "platform/LinuxServices.h"
#include "platform/gl/GLInfoLog.h"
#endif

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

bool isPath(const std::string& effect) {
    std::error_code ec;
    return fs::exists(effect, ec) || effect.find('/') != std::string::npos;
}

#ifdef QFFX_HAVE_PLATFORM
// The path of the effect the manager files under EFFECT (".fx" optional), or
// an empty string with `error` set.
std::string resolveEffectPath(const std::string& effect, std::string& error) {
    if (isPath(effect)) return effect;
    std::string name = effect;
    if (name.size() > 3 && toLower(LightweightString<char>(name.substr(name.size() - 3))) == ".fx") name.resize(name.size() - 3);
    const Ptr<ShaderEffectInfo> found = startManagerForLookup().findEffect(name.c_str(), false);
    if (found) return toUTF8(found->getFullPath()).str();
    error = "no effect named '" + effect + "' in " + toUTF8(getShadersDir()).str() + " or " +
            toUTF8(getFXTemplatesDirectory(iSettings::eFactory)).str();
    return {};
}
#else
std::string resolveEffectPath(const std::string& effect, std::string& error) {
    if (isPath(effect)) return effect;
    std::error_code ec;
    const std::string dir = toUTF8(getShadersDir()).str();
    std::string wanted = toLower(LightweightString<char>(effect)).str();
    if (!wanted.ends_with(".fx")) wanted += ".fx";
    for (const auto& entry : fs::directory_iterator(dir, ec)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file(ec) && toLower(LightweightString<char>(name)).str() == wanted) return entry.path().string();
    }
    error = "no effect named '" + effect + "' in " + dir;
    return {};
}
#endif

} // namespace

Ptr<ShaderEffectInfo> openEffect(const Reporter& report, const std::string& effect, std::string* path) {
    std::string error;
    const std::string found = resolveEffectPath(effect, error);
    if (found.empty()) {
        report.bad(error);
        return {};
    }
    const LightweightString<wchar_t> widePath = fromUTF8(found.c_str());
    TextFile text;
    if (!text.load(widePath)) {
        report.bad(text.loadError());
        return {};
    }
    Ptr<ShaderEffectInfo> loaded = makePtr<ShaderEffectInfo>(text);
    loaded->setFileName(widePath);
    if (path) *path = found;
    return loaded;
}

void printEffectErrors(const ShaderEffectInfo& effect, const std::vector<ShaderError>& errors) {
    const ShaderSourceMap map = effect.getSourceMap();
    const std::string file = toUTF8(effect.getFullPath()).str();
    const std::vector<LightweightString<char>>& source = effect.getSource().lines();
    uint32_t shownLine = 0;
    for (const ShaderError& e : errors) {
        std::string where = file, text = e.message.str();
        uint32_t line = map.fileLineOf(e);
#ifdef QFFX_HAVE_PLATFORM
        const bool fromReader = std::any_of(map.readerErrors.begin(), map.readerErrors.end(),
                                            [&e](const ShaderSourceMap::ReaderError& r) { return r.error == e; });
        if (!fromReader) {
            const std::optional<GLLogPlace> place = parseInfoLogPlace(text);
            if (!place) {
                line = 0; // a message about the whole program
            } else {
                text = text.substr(0, place->begin) + text.substr(place->textStart);
                if (place->source == kUtilsSourceString) {
                    where = toUTF8(getShadersDir()).str() + ShaderContract::kGLSLUtilsFile;
                    line = uint32_t(place->line);
                } else if (place->source != kGeneratedSourceString) {
                    line = 0;
                }
            }
        }
#endif
        if (line == 0) {
            std::fprintf(stderr, "%s: %s\n", where.c_str(), text.c_str());
            continue;
        }
        std::fprintf(stderr, "%s:%u: %s\n", where.c_str(), unsigned(line), text.c_str());
        // The file's line, once for the messages that follow each other there.
        if (where == file && line <= source.size() && line != shownLine)
            std::fprintf(stderr, "  | %s\n", source[line - 1].c_str());
        shownLine = where == file ? line : 0;
    }
}

#ifdef QFFX_HAVE_PLATFORM
void installServices() { installOS(&LinuxServices::instance()); }

Qf::FxResources::Manager& startManagerForLookup() {
    installServices();
    if (!Qf::FxResources::Manager::isStarted()) UIBackgroundTasksQueue::instance().setPaused(true);
    return Qf::FxResources::Manager::instance();
}

iGPUService* startGPU(const Reporter& report) {
    installServices();
    iGPUService* gpu = OS()->gpu();
    if (!gpu) report.bad("no GPU service (EGL/OpenGL could not start)");
    return gpu;
}

iGPUService* openEffectOnGPU(const Reporter& report, const std::string& effect, Ptr<ShaderEffectInfo>& found) {
    found = openEffect(report, effect);
    return found ? startGPU(report) : nullptr;
}

bool printEffectFileErrors(const LightweightString<wchar_t>& path) {
    ShaderEffectInfo fresh(path, 0);
    const ShaderCompilationOutput out = fresh.compile();
    if (!out.shader) printEffectErrors(fresh, out.errors);
    return bool(out.shader);
}

int printFailedEffects(const std::vector<Ptr<ShaderEffectInfo>>& effects) {
    int failed = 0;
    for (const Ptr<ShaderEffectInfo>& effect : effects) {
        if (effect->getCompiledShader()) continue;
        ++failed;
        printEffectFileErrors(effect->getFullPath());
    }
    return failed;
}
#endif
