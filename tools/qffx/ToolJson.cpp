#include "ToolJson.h"

#include "host/base/Strings.h"

#include <cmath>

namespace {

void writeScalar(const Json& value, std::string& out) {
    if (value.is_number_float()) {
        const double v = value.get<double>();
        if (!std::isfinite(v))
            out += "null";
        else if (v == std::trunc(v) && std::fabs(v) < 1e15)
            out += std::to_string(int64_t(v)); // -0 too: "0"
        else
            out += StringFromFloat(v).str();
        return;
    }
    // Strings, integers, booleans and null as the library writes them; bytes
    // that are not UTF-8 become U+FFFD instead of an exception.
    out += value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void write(const Json& value, int depth, int indent, std::string& out) {
    if (!value.is_structured()) return writeScalar(value, out);
    const bool isObject = value.is_object();
    if (value.empty()) {
        out += isObject ? "{}" : "[]";
        return;
    }
    const bool broken = depth == 0 || (depth == 1 && value.is_array() && value.front().is_object());
    const std::string inner = broken ? ",\n" + std::string(size_t((depth + 1) * indent), ' ') : ", ";
    out += isObject ? '{' : '[';
    if (broken) out += inner.substr(1);
    bool first = true;
    for (auto it = value.begin(); it != value.end(); ++it) {
        if (!first) out += inner;
        first = false;
        if (isObject) {
            writeScalar(Json(it.key()), out);
            out += ": ";
        }
        write(*it, depth + 1, indent, out);
    }
    if (broken) out += "\n" + std::string(size_t(depth * indent), ' ');
    out += isObject ? '}' : ']';
}

} // namespace

std::string jsonText(const Json& value, int indent) {
    std::string out;
    write(value, 0, indent, out);
    return out + "\n";
}

double roundedTo(double value, int places) {
    const double scale = std::pow(10.0, places);
    return std::round(value * scale) / scale;
}
