#include "Directories.h"

#include "Paths.h"
#include "Strings.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <string_view>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

fs::path toPath(const LightweightString<wchar_t>& p) { return fs::path(toUTF8(p).str()); }

// Glob matching with '*' and '?', iterative with one back-track point.
bool matches(std::wstring_view name, std::wstring_view pattern) {
    if (pattern == L"*" || pattern == L"*.*") return true;
    size_t n = 0, p = 0, starP = std::wstring_view::npos, starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == L'?' || pattern[p] == name[n])) {
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

void getDirectoryContents(const LightweightString<wchar_t>& dir, const LightweightString<wchar_t>& pattern,
                          std::vector<LightweightString<wchar_t>>& out, unsigned flags) {
    std::error_code ec;
    fs::directory_iterator it(toPath(dir), ec);
    if (ec) return;
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : it) {
        std::error_code statError;
        const bool isFile = entry.is_regular_file(statError);
        const bool isDir = !isFile && entry.is_directory(statError);
        if (!((isFile && (flags & eListFiles)) || (isDir && (flags & eListDirectories)))) continue;
        std::string name = entry.path().filename().string();
        if (matches(fromUTF8(name.c_str()).view(), pattern.view())) names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const LightweightString<wchar_t> wide = fromUTF8(name.c_str());
        out.push_back((flags & eListFullPaths) ? joinPaths(dir, wide) : wide);
    }
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
