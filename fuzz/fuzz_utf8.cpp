// libFuzzer target: the UTF-8 decoding that text drawing (and every path and
// name) goes through. Any bytes decode; every code point is a Unicode scalar
// value or a byte carried as U+DC80..U+DCFF; encoding again gives the bytes
// back. The other way, any code points encode, and code points without
// carried bytes decode again to themselves, except that what is no scalar
// value becomes U+FFFD.
#include "host/base/Strings.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

bool isScalar(char32_t c) { return c < 0xD800 || (c > 0xDFFF && c <= 0x10FFFF); }
bool isCarriedByte(char32_t c) { return c >= 0xDC80 && c <= 0xDCFF; }

void bytesThroughCodePoints(const uint8_t* data, size_t size) {
    const LightweightString<char> bytes(std::string(reinterpret_cast<const char*>(data), size));
    const LightweightString<wchar_t> decoded = fromUTF8(bytes);
    if (decoded.size() > size) __builtin_trap();
    for (size_t i = 0; i < decoded.size(); ++i) {
        const char32_t c = char32_t(decoded[i]);
        if (!isScalar(c) && !isCarriedByte(c)) __builtin_trap();
    }
    const LightweightString<char> again = toUTF8(decoded);
    if (again.size() != size || std::memcmp(again.c_str(), data, size) != 0) __builtin_trap();
}

void codePointsThroughBytes(const uint8_t* data, size_t size) {
    std::wstring wide(size / 4, L'\0');
    for (size_t i = 0; i < wide.size(); ++i) {
        uint32_t c;
        std::memcpy(&c, data + i * 4, 4);
        wide[i] = wchar_t(c & 0x7FFFFFFF); // wchar_t is signed: stay positive
    }
    const LightweightString<wchar_t> in(wide);
    const LightweightString<char> encoded = toUTF8(in);
    if (encoded.size() > wide.size() * 4) __builtin_trap();
    const LightweightString<wchar_t> back = fromUTF8(encoded);
    // Carried bytes next to each other may spell a valid sequence (U+DCC3
    // U+DCA9 is written as C3 A9, which reads back as U+00E9): only the bytes
    // are promised to survive, and they do, by the test above.
    for (wchar_t c : wide)
        if (isCarriedByte(char32_t(c))) return;
    if (back.size() != wide.size()) __builtin_trap();
    for (size_t i = 0; i < wide.size(); ++i) {
        const char32_t c = char32_t(wide[i]);
        const char32_t expected = isScalar(c) || isCarriedByte(c) ? c : 0xFFFD;
        if (char32_t(back[i]) != expected) __builtin_trap();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    // The first byte picks the direction, so that one corpus serves both.
    if (data[0] & 1)
        codePointsThroughBytes(data + 1, size - 1);
    else
        bytesThroughCodePoints(data + 1, size - 1);
    return 0;
}
