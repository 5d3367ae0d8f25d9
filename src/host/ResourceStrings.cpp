#include "ResourceStrings.h"

namespace {

struct ResourceText {
    int id;
    const wchar_t* text;
};

constexpr ResourceText kTexts[] = {
    {10005, L"All"},
    {12777, L"Built-in"},
};

} // namespace

LightweightString<wchar_t> resourceStrW(int id) {
    for (const ResourceText& t : kTexts)
        if (t.id == id) return t.text;
    return {};
}
