// GLTimer: iGPUTimer on OpenGL GL_TIME_ELAPSED queries.
//
// Each begin/end pair is one query object, so a run of timed draws is never
// stalled waiting for a result; collectMilliseconds() reads them all at the
// end (waiting for the GPU once) and frees them. The queries are made and
// read under the device's context lock; a timer keeps its device alive.
// Threads: one thread uses a timer at a time.
#pragma once

#include "host/os/GPUTimer.h"
#include "platform/gl/GLDevice.h"

#include <vector>

class GLTimer final : public iGPUTimer {
public:
    explicit GLTimer(const Ptr<GLDevice>& device) : m_device(device) {}
    ~GLTimer() override;

    void begin() override;
    void end() override;
    std::vector<double> collectMilliseconds() override;

private:
    Ptr<GLDevice> m_device;
    std::vector<GLuint> m_queries; // closed intervals, in order
    GLuint m_open = 0;             // the interval begun and not yet ended
};
