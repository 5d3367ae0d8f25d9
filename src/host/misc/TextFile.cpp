#include "host/misc/TextFile.h"

#include "host/own/Files.h"

#include <algorithm>

bool TextFile::load(const LightweightString<wchar_t>& path) {
    m_lines.clear();
    m_path = path;
    m_loaded = false;
    m_error.clear();
    std::string text;
    if (!Files::readWholeFile(path, Files::kMaxTextFileBytes, text, m_error)) return false;
    split(text);
    m_loaded = true;
    return true;
}

TextFile TextFile::fromText(std::string_view text) {
    TextFile f;
    f.split(text);
    f.m_loaded = true;
    return f;
}

void TextFile::split(std::string_view text) {
    // A UTF-8 byte-order mark is not part of the first line.
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    size_t start = 0;
    while (start < text.size()) {
        // A line ends at "\n", "\r\n" or a lone "\r" (old Mac files).
        const size_t end = std::min(text.find_first_of("\r\n", start), text.size());
        m_lines.emplace_back(text.substr(start, end - start));
        start = end + (text.substr(end, 2) == "\r\n" ? 2 : 1);
    }
}
