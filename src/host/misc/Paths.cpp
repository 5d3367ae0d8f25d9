#include "host/misc/Paths.h"

#include "host/base/Strings.h"

#include <cstdlib>
#include <filesystem>
#include <mutex>

#ifndef QFFX_DEFAULT_SHADERS_DIR
#define QFFX_DEFAULT_SHADERS_DIR "resources/shaders/"
#endif

#ifndef QFFX_DEFAULT_TEMPLATES_DIR
#define QFFX_DEFAULT_TEMPLATES_DIR "resources/effect-templates/"
#endif

namespace {
std::mutex g_dirsMutex;
LightweightString<wchar_t> g_shadersOverride;
LightweightString<wchar_t> g_templatesOverride;
} // namespace

LightweightString<wchar_t> withTrailingSeparator(const LightweightString<wchar_t>& dir) {
    if (dir.empty() || dir.endsWith(L"/")) return dir;
    return dir + L'/';
}

// Effect text includes files from the shaders directory by this path, and
// the compiler resolves a relative include against its own working
// directory, not ours: the directory is always made absolute.
LightweightString<wchar_t> absoluteDirectory(const LightweightString<wchar_t>& dir) {
    if (dir.empty() || dir.startsWith(L"/")) return withTrailingSeparator(dir);
    std::error_code ec;
    const std::filesystem::path absolute = std::filesystem::absolute(std::filesystem::path(toUTF8(dir).str()), ec);
    return withTrailingSeparator(ec ? dir : fromUTF8(absolute.lexically_normal().string().c_str()));
}

// A configured directory: the override a caller set, else the environment
// variable, else the embedded default.
static LightweightString<wchar_t> configuredDir(const LightweightString<wchar_t>& override, const char* variable,
                                                const char* fallback) {
    {
        std::lock_guard<std::mutex> lock(g_dirsMutex);
        if (!override.empty()) return override;
    }
    if (const char* env = std::getenv(variable); env && *env) return absoluteDirectory(fromUTF8(env));
    return absoluteDirectory(fromUTF8(fallback));
}

static void setConfiguredDir(LightweightString<wchar_t>& override, const LightweightString<wchar_t>& dir) {
    std::lock_guard<std::mutex> lock(g_dirsMutex);
    override = absoluteDirectory(dir);
}

LightweightString<wchar_t> getShadersDir() {
    return configuredDir(g_shadersOverride, "QFFX_SHADERS_DIR", QFFX_DEFAULT_SHADERS_DIR);
}

void setShadersDir(const LightweightString<wchar_t>& dir) { setConfiguredDir(g_shadersOverride, dir); }

LightweightString<wchar_t> getFXTemplatesDirectory(iSettings::eType) {
    return configuredDir(g_templatesOverride, "QFFX_TEMPLATES_DIR", QFFX_DEFAULT_TEMPLATES_DIR);
}

void setFXTemplatesDir(const LightweightString<wchar_t>& dir) { setConfiguredDir(g_templatesOverride, dir); }

LightweightString<wchar_t> joinPaths(const LightweightString<wchar_t>& dir, const LightweightString<wchar_t>& name) {
    if (dir.empty()) return name;
    if (name.empty()) return dir;
    const bool dirSep = dir.endsWith(L"/");
    const bool nameSep = name.startsWith(L"/");
    if (dirSep && nameSep) return dir + name.substr(1);
    if (dirSep || nameSep) return dir + name;
    return dir + L'/' + name;
}

LightweightString<wchar_t> stripPath(const LightweightString<wchar_t>& path) {
    const size_t slash = path.view().rfind(L'/');
    return slash == std::wstring_view::npos ? path : path.substr(slash + 1);
}

LightweightString<wchar_t> stripPathAndExt(const LightweightString<wchar_t>& path) {
    const LightweightString<wchar_t> name = stripPath(path);
    const size_t dot = name.view().rfind(L'.');
    return (dot == std::wstring_view::npos || dot == 0) ? name : name.substr(0, dot);
}

LightweightString<wchar_t> getExtension(const LightweightString<wchar_t>& path) {
    const LightweightString<wchar_t> name = stripPath(path);
    const size_t dot = name.view().rfind(L'.');
    return (dot == std::wstring_view::npos || dot == 0) ? LightweightString<wchar_t>() : name.substr(dot + 1);
}
