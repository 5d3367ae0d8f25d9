#include "host/os/SystemInfo.h"

#include "host/base/Strings.h"

#include <iterator>

LightweightString<wchar_t> bytesAsString(uint64_t bytes, bool trim) {
    static const wchar_t* const kUnits[] = {L"KB", L"MB", L"GB", L"TB", L"PB", L"EB"};
    if (bytes < 1024) return Qf::WStringFromInteger(int64_t(bytes)) + (bytes == 1 ? L" byte" : L" bytes");
    double value = double(bytes) / 1024;
    int unit = 0;
    while (value >= 1024 && unit + 1 < int(std::size(kUnits))) value /= 1024, ++unit;
    return Qf::WStringFromFloat(value, 2, trim) + L" " + kUnits[unit];
}
