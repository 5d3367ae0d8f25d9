// LoggerBase: the log that a caller hands to a report-writing operation (the
// GPU diagnostics). It receives wide message lines, each with a level, and
// marks where the tests begin and end and where each test ends: four
// operations, nothing else.
//
// Levels: 5 a test's title, 4 a failure, 0 a result or a preamble line.
#pragma once

#include "host/base/LightweightString.h"

class LoggerBase {
public:
    enum eLevel : int { eResult = 0, eFailure = 4, eTitle = 5 };

    virtual ~LoggerBase() = default;
    // One message line (no line break of its own).
    virtual void write(const LightweightString<wchar_t>& text, int level) = 0;
    // The tests follow (after the preamble); `level` is the titles' level.
    virtual void beginTests(int level) = 0;
    virtual void endTests() = 0;
    // The current test has written its last message.
    virtual void endTest() = 0;
};
