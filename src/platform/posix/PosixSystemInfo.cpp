#include "platform/posix/PosixSystemInfo.h"

#include "host/base/Strings.h"
#include "host/own/Files.h"

#include <sched.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <string>

bool PosixSystemInfoService::parseMeminfo(std::string_view text, MemoryStatus& out) {
    bool available = false, total = false;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        auto read = [&](std::string_view key, uint64_t& value) {
            if (!line.starts_with(key)) return false;
            value = uint64_t(integerFromString(line.substr(key.size()))) * 1024; // the file counts kB (KiB)
            return true;
        };
        available = read("MemAvailable:", out.availableBytes) || available;
        total = read("MemTotal:", out.totalBytes) || total;
    }
    return available && total;
}

MemoryStatus PosixSystemInfoService::getMemoryStatus() {
    MemoryStatus status;
    std::string text, error;
    if (Files::readWholeFile(L"/proc/meminfo", 1 << 20, text, error) && parseMeminfo(text, status)) return status;
    struct sysinfo info {};
    if (sysinfo(&info) == 0) {
        status.availableBytes = uint64_t(info.freeram) * info.mem_unit;
        status.totalBytes = uint64_t(info.totalram) * info.mem_unit;
    }
    return status;
}

int PosixSystemInfoService::getNumCPUs() {
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof(set), &set) == 0) return CPU_COUNT(&set);
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? int(online) : 1;
}

bool PosixSystemInfoService::isAdministrator() { return geteuid() == 0; }
