// libFuzzer target: arbitrary bytes as the preferences file. Reading it must
// never crash; and a value set afterwards must survive the rewrite of the
// whole file and a fresh read, whatever else the file held.
#include "host/base/LightweightString.h"
#include "host/misc/EditorPreferences.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace {

std::string g_dir, g_file;

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// A value that a "key = value" line can hold as it is: one line, no blanks
// at its ends (reading trims them), no NUL.
bool keepsAsWritten(std::string_view v) {
    if (v.empty() || isBlank(v.front()) || isBlank(v.back())) return false;
    return v.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char dir[] = "/tmp/fuzz_preferences.XXXXXX";
    if (!mkdtemp(dir)) std::abort();
    setenv("XDG_CONFIG_HOME", dir, 1);
    g_dir = dir;
    std::filesystem::create_directories(g_dir + "/qffx");
    g_file = g_dir + "/qffx/preferences";
    std::atexit([] {
        std::error_code ec;
        std::filesystem::remove_all(g_dir, ec);
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::ofstream(g_file, std::ios::binary | std::ios::trunc).write(text.data(), std::streamsize(text.size()));
    EditorPreferences& p = prefs();
    p.reload();
    (void)p.getPreference("HardwareAdvancedScopesEnabled", false);
    (void)p.getPreference("Behaviour : ExportAlpha", LightweightString<char>("x"));

    // The input's first line as a value of a key of our own.
    const std::string_view value = text.substr(0, text.find('\n'));
    if (!keepsAsWritten(value)) return 0;
    const LightweightString<char> key("Fuzz : Value");
    p.setPreference(key, LightweightString<char>(value));
    p.reload();
    if (p.getPreference(key, LightweightString<char>()).view() != value) __builtin_trap();
    return 0;
}
