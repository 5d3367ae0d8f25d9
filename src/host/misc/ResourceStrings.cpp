#include "host/misc/ResourceStrings.h"

namespace {

struct ResourceText {
    int id;
    const wchar_t* text;
};

constexpr ResourceText kTexts[] = {
    {ResourceIds::kAllManufacturers, L"All"},
    {ResourceIds::kCompilingEffects, L"Compiling effects"},
    {ResourceIds::kEffectsCaption, L"Effects"},
    {ResourceIds::kBuiltInLUTs, L"Built-in"},
};

} // namespace

LightweightString<wchar_t> resourceStrW(int id) {
    for (const ResourceText& t : kTexts)
        if (t.id == id) return t.text;
    return {};
}
