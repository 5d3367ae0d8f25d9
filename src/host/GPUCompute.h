// The GPU compute service's objects, as far as the effect manager holds them:
// a compute context and the programs built on it from kernel source lines.
#pragma once

#include "LightweightString.h"
#include "Ptr.h"

#include <vector>

class iGPUProgram : public iObject {};

class iGPUComputeContext : public iObject {
public:
    // Null when the source does not build.
    virtual Ptr<iGPUProgram> createProgram(const std::vector<LightweightString<char>>& sourceLines) = 0;
};
