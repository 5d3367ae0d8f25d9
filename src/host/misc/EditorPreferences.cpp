#include "host/misc/EditorPreferences.h"

#include "host/base/Strings.h"
#include "host/misc/Log.h"
#include "host/misc/TextFile.h"
#include "host/own/Files.h"

#include <cstdlib>
#include <filesystem>

namespace {

std::string configDirectory() {
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg == '/') return std::string(xdg) + "/qffx";
    if (const char* home = std::getenv("HOME"); home && *home) return std::string(home) + "/.config/qffx";
    return {};
}

} // namespace

EditorPreferences& prefs() {
    static EditorPreferences preferences;
    return preferences;
}

LightweightString<wchar_t> EditorPreferences::filePath() {
    const std::string dir = configDirectory();
    return dir.empty() ? LightweightString<wchar_t>() : fromUTF8((dir + "/preferences").c_str());
}

void EditorPreferences::reload() {
    CriticalSectionLock hold(m_lock);
    m_loaded = false;
    m_values.clear();
}

void EditorPreferences::loadIfNeeded() const {
    if (m_loaded) return;
    m_loaded = true;
    const LightweightString<wchar_t> path = filePath();
    if (path.empty()) return;
    TextFile file;
    if (!file.load(path)) return;
    for (const LightweightString<char>& line : file.lines()) {
        const std::string_view v = line.view();
        const size_t eq = v.find('=');
        if (eq == std::string_view::npos) continue;
        const std::string key(LightweightString<char>::trimBlanks(v.substr(0, eq)));
        if (!key.empty()) m_values[key] = std::string(LightweightString<char>::trimBlanks(v.substr(eq + 1)));
    }
}

void EditorPreferences::save() const {
    const std::string dir = configDirectory();
    if (dir.empty()) return;
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    std::string text;
    for (const auto& [key, value] : m_values) text += key + " = " + value + "\n";
    std::string error;
    if (!Files::writeWholeFile(filePath(), text.data(), text.size(), error))
        Log("EditorPreferences : cannot save (%s)\n", error.c_str());
}

bool EditorPreferences::getPreference(const LightweightString<char>& key, bool fallback) const {
    CriticalSectionLock hold(m_lock);
    loadIfNeeded();
    const auto it = m_values.find(key.str());
    if (it == m_values.end()) return fallback;
    return it->second == "true" || it->second == "1";
}

void EditorPreferences::setPreference(const LightweightString<char>& key, bool value) {
    setPreference(key, LightweightString<char>(value ? "true" : "false"));
}

LightweightString<char> EditorPreferences::getPreference(const LightweightString<char>& key,
                                                         const LightweightString<char>& fallback) const {
    CriticalSectionLock hold(m_lock);
    loadIfNeeded();
    const auto it = m_values.find(key.str());
    return it == m_values.end() ? fallback : LightweightString<char>(it->second);
}

void EditorPreferences::setPreference(const LightweightString<char>& key, const LightweightString<char>& value) {
    // A line break in a key or value would split the file's line; an "=" in a key would move the split.
    if (key.empty() || key.find('\n') != std::string_view::npos || key.find('=') != std::string_view::npos ||
        value.find('\n') != std::string_view::npos)
        return;
    CriticalSectionLock hold(m_lock);
    loadIfNeeded();
    const std::string k(LightweightString<char>::trimBlanks(key.view()));
    const std::string v(LightweightString<char>::trimBlanks(value.view()));
    const auto it = m_values.find(k);
    if (it != m_values.end() && it->second == v) return;
    m_values[k] = v;
    save();
}
