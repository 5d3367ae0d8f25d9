// The system-information service of the Linux host: memory from
// /proc/meminfo (MemAvailable, MemTotal; sysinfo() where /proc is missing),
// the processors this process may run on (its affinity mask), and
// administrator rights meaning an effective user id of 0 (root).
// Stateless; any thread may call.
#pragma once

#include "host/os/SystemInfo.h"

#include <string_view>

class PosixSystemInfoService final : public iSystemInfoService {
public:
    MemoryStatus getMemoryStatus() override;
    int getNumCPUs() override;
    bool isAdministrator() override;

    // Reads MemAvailable and MemTotal ("kB" lines) from the text of
    // /proc/meminfo; false when either is missing.
    static bool parseMeminfo(std::string_view text, MemoryStatus& out);
};
