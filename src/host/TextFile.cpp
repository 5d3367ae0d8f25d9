#include "TextFile.h"

#include "Strings.h"

#include <fstream>

bool TextFile::load(const LightweightString<wchar_t>& path) {
    lines_.clear();
    path_ = path;
    loaded_ = false;
    std::ifstream in(toUTF8(path).c_str(), std::ios::binary);
    if (!in) return false;
    // Read in blocks rather than by the size that seeking reports: a
    // directory opens fine on Linux and claims an enormous size, and only the
    // read itself fails (badbit).
    std::string text;
    char block[16384];
    while (in.read(block, sizeof block) || in.gcount() > 0) text.append(block, size_t(in.gcount()));
    if (in.bad()) return false;
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
