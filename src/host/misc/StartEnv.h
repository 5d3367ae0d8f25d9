// StartEnv: the arguments the program was started with ("-transcode", ...).
//
// The tool sets them from its options before it starts the library; the
// library asks for one by name. Any thread may read them.
#pragma once

#include "host/base/LightweightString.h"

#include <vector>

class StartEnv {
public:
    static StartEnv& programEnv();

    void setArgs(std::vector<LightweightString<wchar_t>> args);
    std::vector<LightweightString<wchar_t>> args() const;
    // Non-zero when `name` is one of the arguments: its position, from 1.
    int arg(const wchar_t* name) const;

private:
    StartEnv() = default;
};
