#include "host/misc/configb.h"

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

int configb::indexOf(const LightweightString<char>& key) const {
    for (size_t i = 0; i < m_entries.size(); ++i)
        if (m_entries[i].key == key) return int(i);
    return -1;
}

void configb::put(const LightweightString<char>& key, Value value) {
    const int i = indexOf(key);
    if (i >= 0)
        m_entries[size_t(i)].value = std::move(value);
    else
        m_entries.push_back({key, std::move(value)});
    if (m_owner) m_owner->setDirty();
}

bool configb::remove(const LightweightString<char>& key) {
    const int i = indexOf(key);
    if (i < 0) return false;
    m_entries.erase(m_entries.begin() + i);
    if (m_owner) m_owner->setDirty();
    return true;
}

int configb::in(const LightweightString<char>& key, LightweightString<char>& out) const {
    const int i = indexOf(key);
    if (i < 0) return -1;
    if (const auto* s = std::get_if<LightweightString<char>>(&m_entries[size_t(i)].value)) {
        out = *s;
        return i;
    }
    return -1;
}

namespace {

// Converts a stored number to the caller's type. Integers saturate at their
// range and NaN reads as 0: a plain cast of an out-of-range real is undefined.
template <typename Number, typename Source>
Number convertNumber(Source value) {
    if constexpr (std::is_integral_v<Number>) {
        using Limits = std::numeric_limits<Number>;
        if constexpr (std::is_floating_point_v<Source>) {
            if (std::isnan(value)) return 0;
            if (value >= Source(Limits::max())) return Limits::max();
            if (value <= Source(Limits::min())) return Limits::min();
        } else if (!std::in_range<Number>(value)) {
            return value < 0 ? Limits::min() : Limits::max();
        }
    }
    return Number(value);
}

} // namespace

template <typename Number>
int configb::readNumber(const LightweightString<char>& key, Number& out) const {
    const int i = indexOf(key);
    if (i < 0) return -1;
    const Value& v = m_entries[size_t(i)].value;
    if (const auto* d = std::get_if<double>(&v))
        out = convertNumber<Number>(*d);
    else if (const auto* n = std::get_if<int64_t>(&v))
        out = convertNumber<Number>(*n);
    else if (const auto* b = std::get_if<bool>(&v))
        out = Number(*b ? 1 : 0);
    else
        return -1;
    return i;
}

int configb::in(const LightweightString<char>& key, double& out) const { return readNumber(key, out); }
int configb::in(const LightweightString<char>& key, int& out) const { return readNumber(key, out); }
int configb::in(const LightweightString<char>& key, int64_t& out) const { return readNumber(key, out); }
int configb::in(const LightweightString<char>& key, bool& out) const {
    double d = 0;
    const int i = readNumber(key, d);
    if (i >= 0) out = d != 0;
    return i;
}
