#include "host/misc/CodeParsingUtils.h"

#include <string_view>

namespace CodeParsingUtils {

static std::string_view trimBlanks(std::string_view s) {
    const size_t first = s.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

std::vector<LightweightString<char>> extractDeclarationArguments(const LightweightString<char>& line) {
    std::vector<LightweightString<char>> args;
    const std::string_view text = line.view();
    const size_t open = text.find('(');
    if (open == std::string_view::npos) return args;

    int depth = 0;
    bool quoted = false;
    size_t start = open + 1;
    size_t i = start;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') {
            quoted = !quoted;
        } else if (quoted) {
            continue;
        } else if (c == '(') {
            ++depth;
        } else if (c == ')') {
            if (depth == 0) break;
            --depth;
        } else if (c == ',' && depth == 0) {
            args.emplace_back(trimBlanks(text.substr(start, i - start)));
            start = i + 1;
        }
    }
    const std::string_view last = trimBlanks(text.substr(start, i - start));
    if (!args.empty() || !last.empty()) args.emplace_back(last);
    return args;
}

} // namespace CodeParsingUtils
