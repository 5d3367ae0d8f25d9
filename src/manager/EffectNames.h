// How effect names compare: ASCII letters without regard to case (folded to
// lower case, as the editor's names always did), a null name equal to an
// empty one and before any other. Paths compare exactly.
#pragma once

#include "host/base/LightweightString.h"

namespace Qf::FxResources {

int compareEffectNames(std::string_view a, std::string_view b) noexcept;

struct EffectNameLess {
    bool operator()(const LightweightString<char>& a, const LightweightString<char>& b) const noexcept {
        return compareEffectNames(a.view(), b.view()) < 0;
    }
};

} // namespace Qf::FxResources
