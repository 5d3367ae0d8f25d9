#include "manager/EffectNames.h"

namespace Qf::FxResources {

int compareEffectNames(std::string_view a, std::string_view b) noexcept {
    const auto fold = [](char c) { return (c >= 'A' && c <= 'Z') ? (unsigned char)(c - 'A' + 'a') : (unsigned char)c; };
    const size_t n = a.size() < b.size() ? a.size() : b.size();
    for (size_t i = 0; i < n; ++i) {
        const unsigned char x = fold(a[i]), y = fold(b[i]);
        if (x != y) return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

} // namespace Qf::FxResources
