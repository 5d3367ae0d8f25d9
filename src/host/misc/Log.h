// The host's printf-style logging.
//
// Every line goes to one sink: by default standard error; the tool and tests
// install their own with setLogSink. Log lines keep their exact texts (the
// format strings carry their own "\n").
#pragma once

#include <functional>
#include <string_view>

using LogSink = std::function<void(std::string_view text)>;

// Installs a sink and returns the previous one; an empty sink restores stderr.
LogSink setLogSink(LogSink sink);

void Log(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Writes to the log and to the user-visible console; here both are the sink.
void LogBoth(const char* format, ...) __attribute__((format(printf, 1, 2)));
// The library's report lines (start-up summary, recompilation); the same sink.
void mora_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Timings for the error log: "LABEL : VALUE ms", the value with at most three
// decimals and a point whatever the C locale.
namespace ErrorLogLogger {
void log(const char* label, double value);
}
