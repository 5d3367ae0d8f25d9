#include "platform/gl/GLInfoLog.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace {

// Reads decimal digits at `at`; nothing when there are none.
std::optional<long> number(std::string_view s, size_t& at) {
    long value = 0;
    const size_t start = at;
    while (at < s.size() && s[at] >= '0' && s[at] <= '9' && value < 100000000) value = value * 10 + (s[at++] - '0');
    if (at == start) return std::nullopt;
    return value;
}

} // namespace

std::optional<GLLogPlace> parseInfoLogPlace(std::string_view line) {
    size_t at = line.find_first_not_of(' ');
    if (at == std::string_view::npos) return std::nullopt;
    for (std::string_view prefix : {"ERROR: ", "WARNING: "})
        if (line.substr(at).starts_with(prefix)) at += prefix.size();
    const size_t begin = at;
    const std::optional<long> source = number(line, at);
    if (!source || at >= line.size()) return std::nullopt;
    const char separator = line[at++];
    if (separator != ':' && separator != '(') return std::nullopt;
    const std::optional<long> row = number(line, at);
    if (!row || at >= line.size()) return std::nullopt;
    // "S:L(" or "S:L:" after a colon, "S(L)" after a parenthesis.
    if (separator == ':' && line[at] != '(' && line[at] != ':') return std::nullopt;
    if (separator == '(' && line[at] != ')') return std::nullopt;
    // The place ends after Mesa's "(column)" or NVIDIA's ")", and the ":" after it.
    if (line[at] == '(') at = std::min(line.find(')', at), line.size() - 1);
    if (line[at] == ')') ++at;
    while (at < line.size() && (line[at] == ' ' || line[at] == ':')) ++at;
    return GLLogPlace{*source, *row, begin, at};
}

std::vector<ShaderError> parseInfoLog(std::string_view log, int sourceString) {
    std::vector<ShaderError> errors;
    while (!log.empty()) {
        const size_t end = log.find('\n');
        std::string_view line = log.substr(0, end);
        log = end == std::string_view::npos ? std::string_view() : log.substr(end + 1);
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\0')) line.remove_suffix(1);
        if (line.find_first_not_of(' ') == std::string_view::npos) continue;
        ShaderError e;
        e.message = LightweightString<char>(line);
        if (const std::optional<GLLogPlace> p = parseInfoLogPlace(line); p && p->source == sourceString && p->line >= 1)
            e.line = uint16_t(std::min<long>(p->line - 1, UINT16_MAX));
        errors.push_back(std::move(e));
    }
    return errors;
}
