// EditorPreferences: the editor's settings that the library reads and writes
// ("HardwareAdvancedScopesEnabled", "Behaviour : ExportAlpha", ...).
//
// They persist in a small text file, one "key = value" line each, in
// $XDG_CONFIG_HOME/qffx/preferences (or ~/.config/qffx/preferences). The file
// is read on first use and rewritten, whole and atomically, on every change.
// A missing or unreadable file means defaults; a failed write is logged and
// the value is kept in memory. Any thread may call.
#pragma once

#include "host/base/CriticalSection.h"
#include "host/base/LightweightString.h"

#include <map>
#include <string>

class EditorPreferences {
public:
    bool getPreference(const LightweightString<char>& key, bool fallback) const;
    void setPreference(const LightweightString<char>& key, bool value);
    LightweightString<char> getPreference(const LightweightString<char>& key, const LightweightString<char>& fallback) const;
    void setPreference(const LightweightString<char>& key, const LightweightString<char>& value);

    // Where the preferences live now (follows XDG_CONFIG_HOME as it is at the call).
    static LightweightString<wchar_t> filePath();
    // Forgets what was read, so the next access reads the file again.
    void reload();

private:
    void loadIfNeeded() const;
    void save() const;

    mutable CriticalSection m_lock;
    mutable bool m_loaded = false;
    mutable std::map<std::string, std::string> m_values;
};

EditorPreferences& prefs();
