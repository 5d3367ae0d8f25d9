// Directory listing with nanosecond modification stamps, in byte order of the name.
#include "platform/posix/PosixServices.h"

#include "host/Strings.h"

#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

bool PosixFileService::listDirectory(const LightweightString<wchar_t>& pattern, std::vector<DirectoryEntry>& out, int filesOnly, int) {
    const std::string full = toUTF8(pattern).str();
    const size_t slash = full.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : full.substr(0, slash + 1);
    const std::string wildcard = slash == std::string::npos ? full : full.substr(slash + 1);

    DIR* d = opendir(dir.c_str());
    if (!d) return false;
    const int dirFd = dirfd(d);
    std::vector<std::pair<std::string, uint64_t>> found;
    while (const dirent* e = readdir(d)) {
        const std::string name = e->d_name;
        if (name == "." || name == "..") continue;
        if (!wildcard.empty() && fnmatch(wildcard.c_str(), name.c_str(), FNM_CASEFOLD | FNM_PERIOD) != 0) continue;
        struct stat st {};
        if (fstatat(dirFd, name.c_str(), &st, 0) != 0) continue; // vanished, or a dangling link
        if (filesOnly && !S_ISREG(st.st_mode)) continue;
        found.emplace_back(name, uint64_t(st.st_mtim.tv_sec) * 1000000000ull + uint64_t(st.st_mtim.tv_nsec));
    }
    closedir(d);
    std::sort(found.begin(), found.end());
    out.reserve(out.size() + found.size());
    for (const auto& [name, stamp] : found) out.push_back({fromUTF8(name.c_str()), stamp});
    return true;
}
