#include "host/misc/Log.h"

#include "host/base/Strings.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

namespace {

std::mutex g_logMutex;
LogSink g_sink;

void write(const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (n < 0) return;
    std::string text(size_t(n), '\0');
    std::vsnprintf(text.data(), size_t(n) + 1, format, args);
    std::lock_guard<std::mutex> lock(g_logMutex);
    if (g_sink)
        g_sink(text);
    else
        std::fputs(text.c_str(), stderr);
}

} // namespace

LogSink setLogSink(LogSink sink) {
    std::lock_guard<std::mutex> lock(g_logMutex);
    LogSink old = std::move(g_sink);
    g_sink = std::move(sink);
    return old;
}

void Log(const char* format, ...) {
    va_list args;
    va_start(args, format);
    write(format, args);
    va_end(args);
}

void LogBoth(const char* format, ...) {
    va_list args;
    va_start(args, format);
    write(format, args);
    va_end(args);
}

void mora_printf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    write(format, args);
    va_end(args);
}

namespace ErrorLogLogger {
void log(const char* label, double value) {
    Log("%s : %s ms\n", label ? label : "", toUTF8(Qf::WStringFromFloat(value, 3, true)).c_str());
}
} // namespace ErrorLogLogger
