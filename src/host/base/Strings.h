// Text helpers of the host: UTF conversion, case folding and the one number
// formatter family used by every code generator.
#pragma once

#include "host/base/LightweightString.h"

#include <cstdint>

// UTF-8 <-> UTF-32 that keeps every byte: a byte that does not begin a valid
// UTF-8 sequence is carried as the code point U+DC00 + byte (U+DC80..U+DCFF)
// and written back as that byte, so that any byte string (a Linux file name
// that is not UTF-8, say) survives fromUTF8 then toUTF8 unchanged. Other code
// points that are not Unicode scalar values are written as U+FFFD.
LightweightString<char> toUTF8(const LightweightString<wchar_t>& wide);
LightweightString<wchar_t> fromUTF8(const LightweightString<char>& utf8);

// ASCII case folding (A-Z only for narrow text, the C library's for wide).
LightweightString<char> toLower(const LightweightString<char>& s);
LightweightString<wchar_t> toLower(const LightweightString<wchar_t>& s);
bool equalsIgnoreCase(std::string_view a, std::string_view b) noexcept;
bool startsWithIgnoreCase(std::string_view s, std::string_view prefix) noexcept;

// Plain decimal, a minus sign for negatives.
LightweightString<char> StringFromInteger(int64_t value);
// The shortest text that reads back as the same double ("0.5", "1", "1e+20").
LightweightString<char> StringFromFloat(double value);

// Decimal text to numbers, independent of the C locale: after leading blanks
// the longest leading decimal number is read, however long; text that does
// not begin with one gives 0. Hexadecimal, "inf" and "nan" are not numbers
// here. A real beyond the range of a double reads as an infinity; a whole
// number beyond 64 bits saturates.
double doubleFromString(std::string_view s) noexcept;
int64_t integerFromString(std::string_view s) noexcept;

namespace Qf {
// At most `places` decimals (rounded); with `trim`, trailing zeros and then a
// trailing point are removed. Never writes "-0": 0.000001 with 5 places is "0".
LightweightString<wchar_t> WStringFromFloat(double value, int places, bool trim);
LightweightString<wchar_t> WStringFromInteger(int64_t value);
} // namespace Qf
