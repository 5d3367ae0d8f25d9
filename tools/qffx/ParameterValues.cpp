#include "ParameterValues.h"

#include <charconv>
#include <cmath>
#include <vector>

bool parseFloats(const std::string& text, std::vector<float>& out) {
    const char* p = text.data();
    const char* end = p + text.size();
    for (;;) {
        while (p < end && *p == ' ') ++p;
        float v = 0;
        const auto r = std::from_chars(p, end, v);
        // NaN and infinities are refused: no colour or amount means them.
        if (r.ec != std::errc() || !std::isfinite(v)) return false;
        out.push_back(v);
        p = r.ptr;
        while (p < end && *p == ' ') ++p;
        if (p == end) return true;
        if (*p++ != ',') return false;
    }
}

bool setParameterFromText(iShaderParam& param, const std::string& text, std::string& error) {
    std::vector<float> values;
    switch (param.getType()) {
    case iShaderParam::eBool:
        if (text == "true" || text == "1") return param.setBool(true);
        if (text == "false" || text == "0") return param.setBool(false);
        error = "expected true or false";
        return false;
    case iShaderParam::eInt: {
        int v = 0;
        const auto r = std::from_chars(text.data(), text.data() + text.size(), v);
        if (r.ec != std::errc() || r.ptr != text.data() + text.size()) {
            error = "expected an integer";
            return false;
        }
        return param.setInt(v);
    }
    case iShaderParam::eFloat:
    case iShaderParam::eFloat3:
    case iShaderParam::eFloat4:
    case iShaderParam::eFloat3x3: {
        const size_t wanted = param.getType() == iShaderParam::eFloat    ? 1
                              : param.getType() == iShaderParam::eFloat3 ? 3
                              : param.getType() == iShaderParam::eFloat4 ? 4
                                                                         : 9;
        if (!parseFloats(text, values) || values.size() != wanted) {
            error = "expected " + std::to_string(wanted) + (wanted == 1 ? " finite number" : " comma-separated finite numbers");
            return false;
        }
        switch (wanted) {
        case 1: return param.setFloat(values[0]);
        case 3: return param.setFloat3(values.data());
        case 4: return param.setFloat4(values.data());
        default: return param.setMatrix3x3(values.data());
        }
    }
    case iShaderParam::eUnused: break;
    }
    error = "this parameter cannot be set from the command line";
    return false;
}
