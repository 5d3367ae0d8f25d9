// The system-information service (iOS::systemInfo) and byte counts for people.
#pragma once

#include "host/base/LightweightString.h"
#include "host/base/Ptr.h"

#include <cstdint>

struct MemoryStatus {
    uint64_t availableBytes = 0; // physical memory free for new work now
    uint64_t totalBytes = 0;     // installed physical memory
};

class iSystemInfoService : public iVirtual {
public:
    virtual MemoryStatus getMemoryStatus() = 0;
    // Processors this process may run on.
    virtual int getNumCPUs() = 0;
    // Whether the process runs with administrator rights (root on Linux).
    virtual bool isAdministrator() = 0;
};

// "512 bytes", "1.5 KB", "7.84 GB": the largest unit (binary, 1024) that
// leaves a whole part of at least 1, two decimals; with `trim`, trailing
// zeros and a trailing point are dropped.
LightweightString<wchar_t> bytesAsString(uint64_t bytes, bool trim);
