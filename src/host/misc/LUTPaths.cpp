#include "host/misc/LUTPaths.h"

#include "host/base/Strings.h"
#include "host/misc/Paths.h"

#include <cstdlib>
#include <mutex>

#ifndef QFFX_DEFAULT_LUTS_DIR
#define QFFX_DEFAULT_LUTS_DIR "resources/luts/"
#endif

namespace {

std::mutex g_lutDirsMutex;
LightweightString<wchar_t> g_factoryOverride, g_userOverride, g_rootOverride;

LightweightString<wchar_t> overrideOf(const LightweightString<wchar_t>& slot) {
    std::lock_guard<std::mutex> lock(g_lutDirsMutex);
    return slot;
}

LightweightString<wchar_t> defaultUserDirectory() {
    if (const char* data = std::getenv("XDG_DATA_HOME"); data && data[0] == '/')
        return withTrailingSeparator(joinPaths(fromUTF8(data), L"qffx/luts"));
    const char* home = std::getenv("HOME");
    return withTrailingSeparator(joinPaths(fromUTF8(home ? home : ""), L".local/share/qffx/luts"));
}

} // namespace

LightweightString<wchar_t> getLUTDirectory(iSettings::eType type) {
    if (type == iSettings::eFactory) {
        const LightweightString<wchar_t> dir = overrideOf(g_factoryOverride);
        return dir.empty() ? withTrailingSeparator(fromUTF8(QFFX_DEFAULT_LUTS_DIR)) : dir;
    }
    const LightweightString<wchar_t> dir = overrideOf(g_userOverride);
    return dir.empty() ? defaultUserDirectory() : dir;
}

void setLUTDirectory(iSettings::eType type, const LightweightString<wchar_t>& dir) {
    std::lock_guard<std::mutex> lock(g_lutDirsMutex);
    (type == iSettings::eFactory ? g_factoryOverride : g_userOverride) = withTrailingSeparator(dir);
}

LightweightString<wchar_t> getLUTRoot() {
    const LightweightString<wchar_t> dir = overrideOf(g_rootOverride);
    return dir.empty() ? getLUTDirectory(iSettings::eFactory) : dir;
}

void setLUTRoot(const LightweightString<wchar_t>& dir) {
    std::lock_guard<std::mutex> lock(g_lutDirsMutex);
    g_rootOverride = withTrailingSeparator(dir);
}
