#include "host/own/ShaderContract.h"

#include "host/base/Strings.h"

namespace ShaderContract {

namespace {

// Reads a decimal number of at most five digits that fits 16 bits.
bool readNumber(std::string_view& s, uint32_t& out) {
    size_t n = 0;
    out = 0;
    while (n < s.size() && n < 5 && s[n] >= '0' && s[n] <= '9') out = out * 10 + uint32_t(s[n++] - '0');
    if (n == 0 || out > UINT16_MAX) return false;
    s.remove_prefix(n);
    return true;
}

} // namespace

LightweightString<char> passCountUniform(uint16_t technique) { return "_passCount" + StringFromInteger(technique); }

LightweightString<char> passIdentifier(uint16_t technique, uint16_t pass) {
    return "_T" + StringFromInteger(technique) + "_P" + StringFromInteger(pass);
}

bool parsePassIdentifier(std::string_view s, uint16_t& technique, uint16_t& pass) {
    uint32_t t = 0, p = 0;
    if (!s.starts_with("_T")) return false;
    s.remove_prefix(2);
    if (!readNumber(s, t) || !s.starts_with("_P")) return false;
    s.remove_prefix(2);
    if (!readNumber(s, p) || !s.empty()) return false;
    technique = uint16_t(t);
    pass = uint16_t(p);
    return true;
}

LightweightString<char> techniqueName(uint16_t index) { return "T" + StringFromInteger(int64_t(index) + 1); }

bool parseTechniqueName(std::string_view s, uint16_t& index) {
    if (!s.starts_with('T')) return false;
    s.remove_prefix(1);
    size_t n = 0;
    uint32_t number = 0;
    while (n < s.size() && n < 6 && s[n] >= '0' && s[n] <= '9') number = number * 10 + uint32_t(s[n++] - '0');
    if (n == 0 || n != s.size() || number < 1 || number > uint32_t(UINT16_MAX) + 1) return false;
    index = uint16_t(number - 1);
    return true;
}

} // namespace ShaderContract
