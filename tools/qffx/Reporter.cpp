#include "Reporter.h"

#include <cstdio>

namespace {

void print(std::string_view command, std::string_view message, std::string_view after = {}) {
    std::string line = "qffx ";
    line.append(command).append(": ").append(message).append("\n").append(after);
    std::fputs(line.c_str(), stderr);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

} // namespace

int Reporter::usage(std::string_view message) const {
    print(m_command, message, "(see qffx " + m_command + " --help)\n");
    return eExitUsage;
}

int Reporter::bad(std::string_view message) const {
    print(m_command, message);
    return eExitUsage;
}

int Reporter::failed(std::string_view message) const {
    print(m_command, message);
    return eExitFailed;
}

void Reporter::say(std::string_view message) const { print(m_command, message); }

// The form ErrorLogLogger::log writes: "LABEL : VALUE ms\n", VALUE a decimal
// number with an optional sign and point.
bool isTimingLine(std::string_view text) {
    constexpr std::string_view kUnit = " ms\n", kSeparator = " : ";
    if (!text.ends_with(kUnit)) return false;
    text.remove_suffix(kUnit.size());
    const size_t separator = text.rfind(kSeparator);
    if (separator == std::string_view::npos || separator == 0) return false;
    const std::string_view label = text.substr(0, separator);
    std::string_view value = text.substr(separator + kSeparator.size());
    if (label.find('\n') != std::string_view::npos) return false;
    if (value.starts_with('-')) value.remove_prefix(1);
    bool digits = false, point = false;
    for (const char c : value) {
        if (isDigit(c)) {
            digits = true;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            return false;
        }
    }
    return digits;
}

LogSink toolLogSink(bool verbose, LogSink next) {
    return [verbose, next = std::move(next)](std::string_view text) {
        if (!verbose && isTimingLine(text)) return;
        if (next)
            next(text);
        else
            std::fwrite(text.data(), 1, text.size(), stderr);
    };
}
