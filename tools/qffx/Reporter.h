// How a qffx command reports: every message on standard error as
// "qffx COMMAND: MESSAGE", with the exit status that goes with its kind.
//
//   0  success
//   1  the work failed (an effect has errors, a draw or a conversion failed)
//   2  bad usage, a bad value, an unreadable file, a missing service
//
// The library's own log lines go through the tool's log sink instead
// (toolLogSink): they keep their texts, and its timing lines are printed only
// under --verbose.
#pragma once

#include "host/misc/Log.h"

#include <string>
#include <string_view>

enum ExitStatus : int { eExitSuccess = 0, eExitFailed = 1, eExitUsage = 2 };

class Reporter {
public:
    explicit Reporter(std::string_view command) : m_command(command) {}

    std::string_view command() const { return m_command; }

    // Bad usage: the message, then where the options are explained. Returns 2.
    int usage(std::string_view message) const;
    // A bad value, an unreadable file, a service that cannot start. Returns 2.
    int bad(std::string_view message) const;
    // The work failed. Returns 1.
    int failed(std::string_view message) const;
    // A message that is no failure ("qffx watch: watching ...").
    void say(std::string_view message) const;

private:
    std::string m_command;
};

// True for a line of the library's timings ("Manager::compile() : 12.5 ms").
bool isTimingLine(std::string_view text);

// The tool's sink for the library's log: each line to `next` (standard error
// when empty) unchanged, except that the timing lines are dropped unless
// `verbose`.
LogSink toolLogSink(bool verbose, LogSink next = {});
