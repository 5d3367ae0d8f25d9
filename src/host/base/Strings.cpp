#include "host/base/Strings.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <locale.h>
#include <string>

namespace {

constexpr char32_t kReplacement = 0xFFFD;
// A byte that is not part of valid UTF-8 is carried as U+DC00 + the byte (a
// lone low surrogate, which no valid UTF-8 decodes to), so that file names,
// which are bytes on Linux, come back unchanged.
constexpr char32_t kEscapedByte = 0xDC00;

bool isEscapedByte(char32_t c) { return c >= kEscapedByte + 0x80 && c <= kEscapedByte + 0xFF; }

void appendUTF8(std::string& out, char32_t c) {
    if (isEscapedByte(c)) {
        out.push_back(char(c - kEscapedByte));
        return;
    }
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
        if (extra < 0 || end - p <= extra) {
            out.push_back(wchar_t(kEscapedByte + b));
            ++p;
            continue;
        }
        char32_t c = extra == 0 ? b : (b & (0x3F >> extra));
        bool ok = true;
        for (int i = 1; i <= extra; ++i) {
            if ((p[i] & 0xC0) != 0x80) {
                ok = false;
                break;
            }
            c = (c << 6) | (p[i] & 0x3F);
        }
        static constexpr char32_t kMin[] = {0, 0x80, 0x800, 0x10000};
        if (!ok || c < kMin[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            out.push_back(wchar_t(kEscapedByte + b));
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
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
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

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The length of the decimal number at the start of `s` (an optional sign,
// digits with at most one point and at least one digit, then an optional
// exponent), or 0 when `s` does not begin with one.
size_t decimalNumberLength(std::string_view s) {
    size_t i = 0;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    size_t digits = 0;
    while (i < s.size() && isDigit(s[i])) ++i, ++digits;
    if (i < s.size() && s[i] == '.') {
        ++i;
        while (i < s.size() && isDigit(s[i])) ++i, ++digits;
    }
    if (digits == 0) return 0;
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        size_t j = i + 1;
        if (j < s.size() && (s[j] == '+' || s[j] == '-')) ++j;
        if (j < s.size() && isDigit(s[j])) {
            while (j < s.size() && isDigit(s[j])) ++j;
            i = j;
        }
    }
    return i;
}

std::string_view skipBlanks(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    return s;
}

// The C locale, for conversions that must not follow the process's locale.
locale_t cLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", locale_t(0));
    return locale;
}

} // namespace

double doubleFromString(std::string_view s) noexcept {
    s = skipBlanks(s);
    const size_t length = decimalNumberLength(s);
    if (length == 0) return 0;
    // The number is copied whole, however long, and read in the C locale:
    // an editor with a decimal-comma locale must still read "0.5" as 0.5.
    // Beyond the range of a double the result is an infinity.
    const std::string number(s.substr(0, length));
    return strtod_l(number.c_str(), nullptr, cLocale());
}

int64_t integerFromString(std::string_view s) noexcept {
    s = skipBlanks(s);
    bool negative = false;
    if (!s.empty() && (s.front() == '+' || s.front() == '-')) {
        negative = s.front() == '-';
        s.remove_prefix(1);
    }
    // All leading digits are read, saturating at the limits of 64 bits.
    uint64_t magnitude = 0;
    const uint64_t limit = negative ? uint64_t(INT64_MAX) + 1 : uint64_t(INT64_MAX);
    for (size_t i = 0; i < s.size() && isDigit(s[i]); ++i) {
        const unsigned digit = unsigned(s[i] - '0');
        magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
    }
    return negative ? int64_t(0 - magnitude) : int64_t(magnitude);
}

namespace Qf {

LightweightString<wchar_t> WStringFromFloat(double value, int places, bool trim) {
    if (places < 0) places = 0;
    if (places > 17) places = 17;
    // to_chars, not printf: the text must not follow the process's locale.
    char buf[400];
    auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, places);
    if (r.ec != std::errc()) r = std::to_chars(buf, buf + sizeof buf, value);
    std::string_view text(buf, size_t(r.ptr - buf));
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
