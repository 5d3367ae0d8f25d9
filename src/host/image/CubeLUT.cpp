#include "host/image/CubeLUT.h"

#include "host/base/Strings.h"
#include "host/misc/Log.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fstream>

namespace {

// Video levels of every component, as fractions of the 10-bit code range.
constexpr float kVideoBlack = 64.0f / 1023.0f;
constexpr float kVideoSpan = 876.0f / 1023.0f;

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Splits a line into blank-separated tokens; at most `max` are kept, and
// `count` tells how many there were.
struct Tokens {
    static constexpr size_t kMax = 5;
    std::array<std::string_view, kMax> token;
    size_t count = 0;

    explicit Tokens(std::string_view line) {
        size_t i = 0;
        while (i < line.size()) {
            while (i < line.size() && isBlank(line[i])) ++i;
            if (i == line.size()) break;
            const size_t start = i;
            while (i < line.size() && !isBlank(line[i])) ++i;
            if (count < kMax) token[count] = line.substr(start, i - start);
            ++count;
        }
    }
};

bool readFloat(std::string_view text, float& out) {
    // from_chars takes no '+' sign; some writers put one.
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), out, std::chars_format::general);
    return ec == std::errc() && end == text.data() + text.size() && std::isfinite(out);
}

bool readInt(std::string_view text, long& out) {
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), out);
    return ec == std::errc() && end == text.data() + text.size();
}

// A token as it may be quoted in a message: at most 24 characters, bytes
// outside printable ASCII shown as '?'.
std::string quoted(std::string_view token) {
    std::string s = "'";
    for (char c : token.substr(0, 24)) s += (c >= 0x20 && c < 0x7f) ? c : '?';
    if (token.size() > 24) s += "...";
    return s + "'";
}

bool isKeyword(std::string_view token) {
    if (token.empty() || token[0] < 'A' || token[0] > 'Z') return false;
    return std::all_of(token.begin(), token.end(),
                       [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; });
}

bool startsLikeNumber(char c) { return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.'; }

// The reader's state between lines.
struct Reader {
    CubeLUT::Result result;
    unsigned line = 0;
    int size3D = 0, size1D = 0;
    size_t expectedRows = 0;
    std::array<float, 3> domainMin{0, 0, 0}, domainMax{1, 1, 1};
    unsigned domainLine = 0;
    bool inVideo = false, outVideo = false;
    std::vector<float> values;

    bool fail(std::string message) {
        result.error = std::move(message);
        result.line = line;
        return false;
    }

    bool readNumbers(const Tokens& t, size_t first, size_t n, float* out) {
        if (t.count != first + n)
            return fail((first ? std::string(t.token[0]) + " takes " : std::string("a table row has ")) + std::to_string(n) +
                        " numbers, not " + std::to_string(t.count - first));
        for (size_t i = 0; i < n; ++i)
            if (!readFloat(t.token[first + i], out[i])) return fail("bad number " + quoted(t.token[first + i]));
        return true;
    }

    bool size(const Tokens& t, bool is3D) {
        const std::string_view keyword = t.token[0];
        const int max = is3D ? CubeLUT::kMax3DSize : CubeLUT::kMax1DSize;
        if (size3D || size1D) return fail(std::string(keyword) + " after a table size was already given");
        long n = 0;
        if (t.count != 2 || !readInt(t.token[1], n)) return fail(std::string(keyword) + " takes one whole number");
        if (n < 2 || n > max)
            return fail(std::string(keyword) + " " + std::to_string(n) + " is out of range (2 to " + std::to_string(max) + ")");
        (is3D ? size3D : size1D) = int(n);
        expectedRows = is3D ? size_t(n) * size_t(n) * size_t(n) : size_t(n);
        return true;
    }

    bool keyword(const Tokens& t) {
        const std::string_view k = t.token[0];
        if (!values.empty()) return fail("keyword " + quoted(k) + " after the table rows");
        if (k == "LUT_3D_SIZE") return size(t, true);
        if (k == "LUT_1D_SIZE") return size(t, false);
        if (k == "DOMAIN_MIN" || k == "DOMAIN_MAX") {
            domainLine = line;
            return readNumbers(t, 1, 3, (k == "DOMAIN_MIN" ? domainMin : domainMax).data());
        }
        if (k == "LUT_3D_INPUT_RANGE" || k == "LUT_1D_INPUT_RANGE") {
            float range[2];
            if (!readNumbers(t, 1, 2, range)) return false;
            domainMin.fill(range[0]);
            domainMax.fill(range[1]);
            domainLine = line;
            return true;
        }
        if (k == "LUT_IN_VIDEO_RANGE" || k == "LUT_OUT_VIDEO_RANGE") {
            if (t.count != 1) return fail(std::string(k) + " takes nothing");
            (k == "LUT_IN_VIDEO_RANGE" ? inVideo : outVideo) = true;
            return true;
        }
        return true; // a keyword of another tool's dialect
    }

    bool row(const Tokens& t) {
        if (!expectedRows) return fail("a table row before LUT_3D_SIZE or LUT_1D_SIZE");
        if (values.size() / 3 == expectedRows) return fail("too many rows (the table has " + std::to_string(expectedRows) + ")");
        float rgb[3];
        if (!readNumbers(t, 0, 3, rgb)) return false;
        if (values.empty()) {
            // Room for the rows the text can hold at all ("0 0 0\n" is the
            // shortest), so that a lying header costs nothing.
            values.reserve(3 * std::min(expectedRows, remaining / 6 + 1));
        }
        values.insert(values.end(), rgb, rgb + 3);
        return true;
    }

    bool takeLine(std::string_view text) {
        const Tokens t(text);
        if (t.count == 0) return true;
        if (t.token[0] == "TITLE") return true;
        if (startsLikeNumber(t.token[0][0])) return row(t);
        if (isKeyword(t.token[0])) return keyword(t);
        return fail("unexpected text " + quoted(t.token[0]));
    }

    size_t remaining = 0;
};

LUTMapping mappingFor(const std::array<float, 3>& lo, const std::array<float, 3>& hi, bool inVideo, bool outVideo) {
    LUTMapping m;
    for (size_t c = 0; c < 3; ++c) {
        const float span = hi[c] - lo[c];
        // Video input first goes to its levels, then through the domain.
        const float a = inVideo ? kVideoSpan : 1.0f, b = inVideo ? kVideoBlack : 0.0f;
        m.inScale[c] = a / span;
        m.inOffset[c] = (b - lo[c]) / span;
    }
    if (outVideo) {
        m.outScale = 1.0f / kVideoSpan;
        m.outOffset = -kVideoBlack / kVideoSpan;
    }
    return m;
}

// The lattice value of one channel's curve at point i of `side` points.
float curveAt(const std::vector<float>& rows, int n, int side, int i, size_t channel) {
    if (side == n) return rows[size_t(i) * 3 + channel];
    const double t = double(i) * (n - 1) / (side - 1);
    const int k = std::min(int(t), n - 2);
    const double f = t - k;
    return float(rows[size_t(k) * 3 + channel] * (1 - f) + rows[size_t(k + 1) * 3 + channel] * f);
}

Ptr<HostImage3D> imageFrom(const Reader& r) {
    if (r.size3D) {
        const int n = r.size3D;
        Ptr<HostImage3D> image = HostImage3D::create(n, n, n, 3);
        if (image) std::copy(r.values.begin(), r.values.end(), image->data());
        return image;
    }
    const int n = r.size1D, side = std::min(n, CubeLUT::kMax1DLattice);
    Ptr<HostImage3D> image = HostImage3D::create(side, side, side, 3);
    if (!image) return image;
    std::vector<float> curves(size_t(side) * 3);
    for (int i = 0; i < side; ++i)
        for (size_t c = 0; c < 3; ++c) curves[size_t(i) * 3 + c] = curveAt(r.values, n, side, i, c);
    for (int b = 0; b < side; ++b)
        for (int g = 0; g < side; ++g)
            for (int red = 0; red < side; ++red) {
                float* texel = image->texel(red, g, b);
                texel[0] = curves[size_t(red) * 3];
                texel[1] = curves[size_t(g) * 3 + 1];
                texel[2] = curves[size_t(b) * 3 + 2];
            }
    return image;
}

} // namespace

const std::vector<LightweightString<wchar_t>>& CubeLUT::getSupportedFileTypes() {
    static const std::vector<LightweightString<wchar_t>> types{L"cube"};
    return types;
}

CubeLUT::Result CubeLUT::read(std::string_view text) {
    Reader r;
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    size_t pos = 0;
    while (pos < text.size()) {
        ++r.line;
        size_t end = text.find('\n', pos);
        if (end == std::string_view::npos) end = text.size();
        std::string_view line = text.substr(pos, end - pos);
        pos = end + 1;
        r.remaining = pos < text.size() ? text.size() - pos : 0;
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (const size_t hash = line.find('#'); hash != std::string_view::npos && !line.starts_with("TITLE"))
            line = line.substr(0, hash);
        if (!r.takeLine(line)) return std::move(r.result);
    }
    r.line = std::max(r.line, 1u);
    if (!r.expectedRows) {
        r.fail("no LUT_3D_SIZE or LUT_1D_SIZE");
        return std::move(r.result);
    }
    if (r.values.size() / 3 < r.expectedRows) {
        r.fail("too few rows: " + std::to_string(r.values.size() / 3) + " of " + std::to_string(r.expectedRows));
        return std::move(r.result);
    }
    for (size_t c = 0; c < 3; ++c) {
        if (!(r.domainMin[c] < r.domainMax[c]) || !std::isfinite(r.domainMax[c] - r.domainMin[c])) {
            r.line = r.domainLine;
            r.fail("the domain minimum must lie below its maximum");
            return std::move(r.result);
        }
    }
    r.result.is1D = r.size1D != 0;
    r.result.size = r.size1D ? r.size1D : r.size3D;
    r.result.image = imageFrom(r);
    if (!r.result.image) {
        r.fail("out of memory for the table");
        return std::move(r.result);
    }
    r.result.image->setLUTMapping(mappingFor(r.domainMin, r.domainMax, r.inVideo, r.outVideo));
    return std::move(r.result);
}

Ptr<HostImage3D> CubeLUT::parse(std::string_view text, std::string_view name) {
    Result r = read(text);
    if (!r.image) Log("CubeLUT : %.*s line %u: %s\n", int(name.size()), name.data(), r.line, r.error.c_str());
    return r.image;
}

Ptr<HostImage3D> CubeLUT::load(const LightweightString<wchar_t>& path) {
    const LightweightString<char> name = toUTF8(path);
    std::ifstream in(name.c_str(), std::ios::binary);
    std::string text;
    if (in) {
        // Read in blocks, not by the size seeking reports: a directory opens
        // but claims an enormous size, and only the read itself fails.
        char block[65536];
        while (in.read(block, sizeof block) || in.gcount() > 0) {
            if (text.size() + size_t(in.gcount()) > kMaxFileBytes) {
                Log("CubeLUT : %s is larger than %zu bytes\n", name.c_str(), kMaxFileBytes);
                return nullptr;
            }
            text.append(block, size_t(in.gcount()));
        }
    }
    if (!in.eof() || in.bad()) {
        Log("CubeLUT : cannot read %s\n", name.c_str());
        return nullptr;
    }
    return parse(text, name.view());
}
