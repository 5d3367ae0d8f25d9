#include "luts/FileLUT.h"

#include "host/image/CubeLUT.h"
#include "host/misc/LUTPaths.h"
#include "host/misc/Paths.h"
#include "host/misc/ResourceStrings.h"

#include <string>
#include <string_view>
#include <vector>

namespace {

using Wide = LightweightString<wchar_t>;

Wide replaceAll(std::wstring_view text, std::wstring_view what, std::wstring_view with) {
    std::wstring out;
    for (size_t pos = 0;;) {
        const size_t hit = text.find(what, pos);
        out.append(text.substr(pos, hit == std::wstring_view::npos ? std::wstring_view::npos : hit - pos));
        if (hit == std::wstring_view::npos) return Wide(out);
        out.append(with);
        pos = hit + what.size();
    }
}

std::vector<Wide> fields(const Wide& name) {
    const Wide barred = replaceAll(name.view(), L" - ", L"|");
    std::vector<Wide> out;
    std::wstring_view rest = barred.view();
    for (;;) {
        const size_t bar = rest.find(L'|');
        out.emplace_back(rest.substr(0, bar));
        if (bar == std::wstring_view::npos) return out;
        rest.remove_prefix(bar + 1);
    }
}

} // namespace

FileLUT::FileLUT(const LightweightString<wchar_t>& path) : m_path(path) {
    m_name = replaceAll(stripPathAndExt(path).view(), L"_", L" ");
    const Wide factory = getLUTDirectory(iSettings::eFactory);
    if (path.startsWith(factory.view())) {
        m_category = resourceStrW(ResourceIds::kBuiltInLUTs);
        return;
    }
    if (m_name.find(L"ACES.AP") != Wide::npos) m_selectable = false;
    const std::vector<Wide> parts = fields(m_name);
    if (parts.size() < 4) return;
    m_manufacturer = parts[1];
    m_detail = parts[2];
    m_category = parts[1];
    Wide name = parts[3];
    for (size_t i = 4; i < parts.size(); ++i) name = name + L" - " + parts[i];
    m_name = name;
}

Ptr<HostImage3D> FileLUT::load() const { return CubeLUT::load(m_path); }
