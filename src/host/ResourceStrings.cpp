#include "ResourceStrings.h"

namespace {

struct Entry {
    int id;
    const wchar_t* text;
};

constexpr Entry kTexts[] = {
    {ResourceIds::kCompilingEffects, L"Compiling effects"},
    {ResourceIds::kEffectsCaption, L"Effects"},
};

} // namespace

LightweightString<wchar_t> resourceStrW(int id) {
    for (const Entry& e : kTexts)
        if (e.id == id) return e.text;
    return {};
}
