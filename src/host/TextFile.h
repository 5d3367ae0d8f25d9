// TextFile: a text as a list of narrow lines.
//
// Lines are split at "\n"; a "\r" before it is dropped, and a final line
// break does not start an extra empty line. A TextFile made from a path that
// cannot be read is empty and reports !loaded(), so callers can tell an empty
// file from a missing one.
#pragma once

#include "LightweightString.h"

#include <string_view>
#include <vector>

class TextFile {
public:
    TextFile() = default;
    explicit TextFile(const LightweightString<wchar_t>& path) { load(path); }

    // Reads a file; false (and an empty text) when it cannot be read.
    bool load(const LightweightString<wchar_t>& path);
    static TextFile fromText(std::string_view text);

    bool loaded() const { return loaded_; }
    const LightweightString<wchar_t>& path() const { return path_; }

    void appendLine(const LightweightString<char>& line) { lines_.push_back(line); }
    void appendLines(const std::vector<LightweightString<char>>& lines) { lines_.insert(lines_.end(), lines.begin(), lines.end()); }
    size_t numLines() const { return lines_.size(); }
    bool empty() const { return lines_.empty(); }
    const LightweightString<char>& operator[](size_t i) const { return lines_[i]; }
    const std::vector<LightweightString<char>>& lines() const { return lines_; }

private:
    void split(std::string_view text);

    std::vector<LightweightString<char>> lines_;
    LightweightString<wchar_t> path_;
    bool loaded_ = false;
};
