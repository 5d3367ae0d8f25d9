#include "Strings.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cwctype>

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void appendUTF8(std::string& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = kReplacement;
    if (c < 0x80) {
        out.push_back(char(c));
    } else if (c < 0x800) {
        out.push_back(char(0xC0 | (c >> 6)));
        out.push_back(char(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(char(0xE0 | (c >> 12)));
        out.push_back(char(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(char(0x80 | (c & 0x3F)));
    } else {
        out.push_back(char(0xF0 | (c >> 18)));
        out.push_back(char(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(char(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(char(0x80 | (c & 0x3F)));
    }
}

} // namespace

LightweightString<char> toUTF8(const LightweightString<wchar_t>& wide) {
    std::string out;
    out.reserve(wide.size());
    for (wchar_t c : wide) appendUTF8(out, char32_t(uint32_t(c)));
    return LightweightString<char>(std::move(out));
}

LightweightString<wchar_t> fromUTF8(const LightweightString<char>& utf8) {
    std::wstring out;
    out.reserve(utf8.size());
    const auto* p = reinterpret_cast<const unsigned char*>(utf8.data());
    const auto* end = p + utf8.size();
    while (p < end) {
        const unsigned char b = *p;
        int extra = b < 0x80 ? 0 : (b & 0xE0) == 0xC0 ? 1 : (b & 0xF0) == 0xE0 ? 2 : (b & 0xF8) == 0xF0 ? 3 : -1;
        if (extra < 0 || end - p <= extra) { out.push_back(wchar_t(kReplacement)); ++p; continue; }
        char32_t c = extra == 0 ? b : (b & (0x3F >> extra));
        bool ok = true;
        for (int i = 1; i <= extra; ++i) {
            if ((p[i] & 0xC0) != 0x80) { ok = false; break; }
            c = (c << 6) | (p[i] & 0x3F);
        }
        static constexpr char32_t kMin[] = {0, 0x80, 0x800, 0x10000};
        if (!ok || c < kMin[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            out.push_back(wchar_t(kReplacement));
            ++p;
            continue;
        }
        out.push_back(wchar_t(c));
        p += extra + 1;
    }
    return LightweightString<wchar_t>(std::move(out));
}

LightweightString<char> toLower(const LightweightString<char>& s) {
    std::string out(s.view());
    for (char& c : out) if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return LightweightString<char>(std::move(out));
}

LightweightString<wchar_t> toLower(const LightweightString<wchar_t>& s) {
    std::wstring out(s.view());
    for (wchar_t& c : out) c = wchar_t(std::towlower(wint_t(c)));
    return LightweightString<wchar_t>(std::move(out));
}

static char asciiLower(char c) noexcept { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }

bool equalsIgnoreCase(std::string_view a, std::string_view b) noexcept {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (asciiLower(a[i]) != asciiLower(b[i])) return false;
    return true;
}

bool startsWithIgnoreCase(std::string_view s, std::string_view prefix) noexcept {
    return s.size() >= prefix.size() && equalsIgnoreCase(s.substr(0, prefix.size()), prefix);
}

LightweightString<char> StringFromInteger(int64_t value) {
    char buf[24];
    auto r = std::to_chars(buf, buf + sizeof buf, value);
    return LightweightString<char>(buf, size_t(r.ptr - buf));
}

LightweightString<char> StringFromFloat(double value) {
    if (value == 0) value = 0; // no "-0"
    char buf[32];
    auto r = std::to_chars(buf, buf + sizeof buf, value);
    return LightweightString<char>(buf, size_t(r.ptr - buf));
}

double doubleFromString(std::string_view s) noexcept {
    // strtod needs a terminated buffer; declaration arguments are short.
    char buf[128];
    const size_t n = std::min(s.size(), sizeof buf - 1);
    s.copy(buf, n);
    buf[n] = 0;
    const double v = std::strtod(buf, nullptr);
    return std::isfinite(v) || std::isinf(v) ? v : 0.0;
}

int64_t integerFromString(std::string_view s) noexcept {
    size_t i = 0;
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) ++i;
    int64_t v = 0;
    if (i < s.size() && s[i] == '+') ++i;
    auto r = std::from_chars(s.data() + i, s.data() + s.size(), v);
    return r.ec == std::errc() ? v : 0;
}

namespace Qf {

LightweightString<wchar_t> WStringFromFloat(double value, int places, bool trim) {
    if (places < 0) places = 0;
    if (places > 17) places = 17;
    char buf[400];
    int n = std::snprintf(buf, sizeof buf, "%.*f", places, value);
    if (n < 0 || n >= int(sizeof buf)) n = std::snprintf(buf, sizeof buf, "%g", value);
    std::string_view text(buf, size_t(n));
    if (trim && text.find('.') != std::string_view::npos) {
        while (text.ends_with('0')) text.remove_suffix(1);
        if (text.ends_with('.')) text.remove_suffix(1);
    }
    if (text.starts_with('-') && text.find_first_not_of("-0.") == std::string_view::npos) text.remove_prefix(1);
    return LightweightString<wchar_t>(std::wstring(text.begin(), text.end()));
}

LightweightString<wchar_t> WStringFromInteger(int64_t value) {
    const auto s = StringFromInteger(value);
    return LightweightString<wchar_t>(std::wstring(s.begin(), s.end()));
}

} // namespace Qf
