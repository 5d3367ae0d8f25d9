#include "TextFile.h"

#include "Strings.h"

#include <fstream>
#include <sstream>

bool TextFile::load(const LightweightString<wchar_t>& path) {
    lines_.clear();
    path_ = path;
    loaded_ = false;
    std::ifstream in(toUTF8(path).c_str(), std::ios::binary);
    if (!in) return false;
    std::string text;
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (size < 0) return false;
    text.resize(size_t(size));
    in.seekg(0);
    if (size > 0 && !in.read(text.data(), size)) return false;
    split(text);
    loaded_ = true;
    return true;
}

TextFile TextFile::fromText(std::string_view text) {
    TextFile f;
    f.split(text);
    f.loaded_ = true;
    return f;
}

void TextFile::split(std::string_view text) {
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        const size_t next = end == std::string_view::npos ? text.size() : end + 1;
        if (end == std::string_view::npos) end = text.size();
        if (end > start && text[end - 1] == '\r') --end;
        lines_.emplace_back(text.substr(start, end - start));
        start = next;
    }
}
