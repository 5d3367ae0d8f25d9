// TextFile: a text as a list of narrow lines.
//
// Lines end at "\n", "\r\n" or a lone "\r"; a final line break does not
// start an extra empty line, and a leading UTF-8 byte-order mark is dropped. A TextFile made from a path that
// cannot be read is empty and reports !loaded(), so callers can tell an empty
// file from a missing one.
#pragma once

#include "host/base/LightweightString.h"

#include <string>
#include <string_view>
#include <vector>

class TextFile {
public:
    TextFile() = default;
    explicit TextFile(const LightweightString<wchar_t>& path) { load(path); }

    // Reads a file (a regular file of at most Files::kMaxTextFileBytes); false,
    // and an empty text, when it cannot be read.
    bool load(const LightweightString<wchar_t>& path);
    static TextFile fromText(std::string_view text);

    bool loaded() const { return m_loaded; }
    // Why the last load failed (names the file); empty after a success.
    const std::string& loadError() const { return m_error; }
    const LightweightString<wchar_t>& path() const { return m_path; }

    void appendLine(const LightweightString<char>& line) { m_lines.push_back(line); }
    void appendLines(const std::vector<LightweightString<char>>& lines) {
        m_lines.insert(m_lines.end(), lines.begin(), lines.end());
    }
    size_t numLines() const { return m_lines.size(); }
    bool empty() const { return m_lines.empty(); }
    const LightweightString<char>& operator[](size_t i) const { return m_lines[i]; }
    const std::vector<LightweightString<char>>& lines() const { return m_lines; }

private:
    void split(std::string_view text);

    std::vector<LightweightString<char>> m_lines;
    LightweightString<wchar_t> m_path;
    bool m_loaded = false;
    std::string m_error;
};
