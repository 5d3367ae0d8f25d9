// iGPUTimer: GPU time spent between begin() and end(), as the GPU itself
// measures it (timer queries), for reports beside wall-clock figures.
//
// Intervals may be many; their results are read when asked for, so that
// measuring does not make the caller wait for the GPU. Intervals do not nest.
// One thread uses a timer at a time.
#pragma once

#include "host/base/Ptr.h"

#include <vector>

class iGPUTimer : public iObject {
public:
    virtual void begin() = 0;
    virtual void end() = 0;
    // Waits for the results and returns every closed interval in
    // milliseconds, in order, then forgets them. Empty when none was timed.
    virtual std::vector<double> collectMilliseconds() = 0;
};
