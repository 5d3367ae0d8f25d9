#include "host/misc/Directories.h"

#include "host/base/Strings.h"
#include "host/misc/Paths.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <string_view>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

fs::path toPath(const LightweightString<wchar_t>& p) { return fs::path(toUTF8(p).str()); }

wchar_t foldASCII(wchar_t c) { return c >= L'A' && c <= L'Z' ? c - L'A' + L'a' : c; }

// Glob matching with '*' and '?', iterative with one back-track point.
bool matches(std::wstring_view name, std::wstring_view pattern, bool anyCase) {
    if (pattern == L"*" || pattern == L"*.*") return true;
    const auto same = [anyCase](wchar_t a, wchar_t b) { return a == b || (anyCase && foldASCII(a) == foldASCII(b)); };
    size_t n = 0, p = 0, starP = std::wstring_view::npos, starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == L'?' || same(pattern[p], name[n]))) {
            ++n, ++p;
        } else if (p < pattern.size() && pattern[p] == L'*') {
            starP = p++;
            starN = n;
        } else if (starP != std::wstring_view::npos) {
            p = starP + 1;
            n = ++starN;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == L'*') ++p;
    return p == pattern.size();
}

} // namespace

bool listDirectoryEntries(const LightweightString<wchar_t>& dir, const LightweightString<wchar_t>& pattern, unsigned flags,
                          std::vector<DirectoryEntry>& out) {
    std::error_code ec;
    fs::directory_iterator it(toPath(dir), ec);
    if (ec) return false;
    std::vector<std::pair<std::string, uint64_t>> found;
    for (const fs::directory_entry& entry : it) {
        std::string name = entry.path().filename().string();
        if ((flags & eSkipHidden) && name.starts_with('.')) continue;
        std::error_code statError;
        const bool isFile = entry.is_regular_file(statError);
        const bool isDir = !isFile && entry.is_directory(statError);
        if (!((isFile && (flags & eListFiles)) || (isDir && (flags & eListDirectories)))) continue;
        if (!matches(fromUTF8(name.c_str()).view(), pattern.view(), flags & eMatchAnyCase)) continue;
        const fs::file_time_type written = entry.last_write_time(statError);
        if (statError) continue; // vanished meanwhile
        const auto sinceEpoch = std::chrono::file_clock::to_sys(written).time_since_epoch();
        found.emplace_back(std::move(name), uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count()));
    }
    std::sort(found.begin(), found.end());
    out.reserve(out.size() + found.size());
    for (auto& [name, stamp] : found) out.push_back({fromUTF8(name.c_str()), stamp});
    return true;
}

void getDirectoryContents(const LightweightString<wchar_t>& dir, const LightweightString<wchar_t>& pattern,
                          std::vector<LightweightString<wchar_t>>& out, unsigned flags) {
    std::vector<DirectoryEntry> entries;
    listDirectoryEntries(dir, pattern, flags, entries);
    for (const DirectoryEntry& entry : entries) out.push_back((flags & eListFullPaths) ? joinPaths(dir, entry.name) : entry.name);
}

bool fileExists(const LightweightString<wchar_t>& path) {
    std::error_code ec;
    return fs::exists(toPath(path), ec);
}

bool makeDirectories(const LightweightString<wchar_t>& dir) {
    std::error_code ec;
    fs::create_directories(toPath(dir), ec);
    return fs::is_directory(toPath(dir), ec);
}

bool copyFileNoReplace(const LightweightString<wchar_t>& from, const LightweightString<wchar_t>& to) {
    static std::atomic<unsigned> counter{0};
    const fs::path target = toPath(to);
    fs::path temporary = target;
    temporary += ".partial-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
    std::error_code ec;
    if (fs::exists(target, ec) || !fs::copy_file(toPath(from), temporary, fs::copy_options::none, ec)) {
        fs::remove(temporary, ec);
        return false;
    }
    // A hard link fails when the name exists, unlike a rename: no overwrite
    // even when another process made the file in the meantime.
    fs::create_hard_link(temporary, target, ec);
    const bool linked = !ec;
    fs::remove(temporary, ec);
    return linked;
}
