#include "ToolEffects.h"

#include "host/Paths.h"
#include "host/Strings.h"
#include "host/TextFile.h"

#ifdef QFFX_HAVE_PLATFORM
#include "host/BackgroundTasks.h"
#include "manager/Manager.h"
#include "platform/LinuxServices.h"
#endif

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

std::string jsonString(std::string_view text) {
    std::string out = "\"";
    for (const unsigned char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof(buf), "\\u%04x", c);
                out += buf;
            } else {
                out += char(c);
            }
        }
    }
    return out + "\"";
}

int failWith(const char* command, const std::string& message) {
    std::fprintf(stderr, "qffx %s: %s\n", command, message.c_str());
    return 2;
}

Ptr<ShaderEffectInfo> openEffect(const char* command, const std::string& effect, std::string* path) {
    std::string error;
    const std::string found = resolveEffectPath(effect, error);
    if (found.empty()) {
        failWith(command, error);
        return {};
    }
    const LightweightString<wchar_t> widePath = fromUTF8(found.c_str());
    TextFile text;
    if (!text.load(widePath)) {
        failWith(command, text.loadError());
        return {};
    }
    Ptr<ShaderEffectInfo> loaded = makePtr<ShaderEffectInfo>(text);
    loaded->setFileName(widePath);
    if (path) *path = found;
    return loaded;
}

void printEffectErrors(const ShaderEffectInfo& effect, const std::vector<ShaderError>& errors) {
    // Error lines count lines of the text that was compiled, in which one
    // processed entry (the technique block) may span several lines.
    std::vector<std::string_view> lines;
    for (const auto& entry : effect.getProcessedSourceCode()) {
        const std::string_view v = entry.view();
        size_t start = 0;
        for (size_t nl; (nl = v.find('\n', start)) != std::string_view::npos; start = nl + 1)
            lines.push_back(v.substr(start, nl - start));
        lines.push_back(v.substr(start));
    }
    for (const ShaderError& e : errors) {
        std::fprintf(stderr, "error: line %u: %s\n", unsigned(e.line) + 1, e.message.c_str());
        if (e.line < lines.size()) std::fprintf(stderr, "  | %.*s\n", int(lines[e.line].size()), lines[e.line].data());
    }
}

#ifdef QFFX_HAVE_PLATFORM
void installServices() { installOS(&LinuxServices::instance()); }

Qf::FxResources::Manager& startManagerForLookup() {
    installServices();
    if (!Qf::FxResources::Manager::isStarted()) UIBackgroundTasksQueue::instance().setPaused(true);
    return Qf::FxResources::Manager::instance();
}

iGPUService* startGPU(const char* command) {
    installServices();
    iGPUService* gpu = OS()->gpu();
    if (!gpu) failWith(command, "no GPU service (EGL/OpenGL could not start)");
    return gpu;
}
#endif
