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

char upper(char c) { return c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c; }

// A token equal to an upper-case keyword in any case ("title", "Lut_3d_size").
bool is(std::string_view token, std::string_view keyword) {
    return token.size() == keyword.size() &&
           std::equal(token.begin(), token.end(), keyword.begin(), [](char a, char b) { return upper(a) == b; });
}

// The keywords the reader knows, in any case; other tools' keywords count
// only in upper case, so that stray words are not skipped as keywords.
constexpr std::string_view kKnownKeywords[] = {"LUT_3D_SIZE",        "LUT_1D_SIZE",        "DOMAIN_MIN",
                                               "DOMAIN_MAX",         "LUT_3D_INPUT_RANGE", "LUT_1D_INPUT_RANGE",
                                               "LUT_IN_VIDEO_RANGE", "LUT_OUT_VIDEO_RANGE"};

// The upper-case name of a known keyword, the token itself for another
// tool's upper-case keyword, or empty for no keyword.
std::string_view keywordOf(std::string_view token) {
    for (std::string_view k : kKnownKeywords)
        if (is(token, k)) return k;
    if (token.empty() || token[0] < 'A' || token[0] > 'Z') return {};
    const bool upperCase = std::all_of(token.begin(), token.end(),
                                       [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; });
    return upperCase ? token : std::string_view();
}

// Where a table's lattice lies in its input: the values at its first and
// last points, and the line that set them (for a message).
struct Domain {
    std::array<float, 3> lo{0, 0, 0}, hi{1, 1, 1};
    unsigned line = 0;
    void set(const float* min, const float* max, unsigned at) {
        if (min) std::copy(min, min + 3, lo.begin());
        if (max) std::copy(max, max + 3, hi.begin());
        line = at;
    }
    bool valid() const {
        for (size_t c = 0; c < 3; ++c)
            if (!(lo[c] < hi[c]) || !std::isfinite(hi[c] - lo[c])) return false;
        return true;
    }
};

bool startsLikeNumber(char c) { return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.'; }

// The reader's state between lines.
struct Reader {
    CubeLUT::Result result;
    unsigned line = 0;
    int size3D = 0, size1D = 0;
    size_t expectedRows = 0;
    // The domain of a lone table, set by any of the domain keywords (the last
    // one wins). With a shaper before a 3D table, the shaper's domain comes
    // from LUT_1D_INPUT_RANGE or DOMAIN_MIN/MAX, and the 3D table's (over the
    // shaper's output) from LUT_3D_INPUT_RANGE alone.
    Domain domain, shaperDomain, latticeDomain;
    bool inVideo = false, outVideo = false;
    std::vector<float> values;

    bool fail(std::string message) {
        result.error = std::move(message);
        result.line = line;
        return false;
    }

    // The n numbers after a keyword, or the n numbers of a row (no keyword).
    bool readNumbers(std::string_view keyword, const Tokens& t, size_t n, float* out) {
        const size_t first = keyword.empty() ? 0 : 1;
        if (t.count != first + n)
            return fail((first ? std::string(keyword) + " takes " : std::string("a table row has ")) + std::to_string(n) +
                        " numbers, not " + std::to_string(t.count - first));
        for (size_t i = 0; i < n; ++i)
            if (!readFloat(t.token[first + i], out[i])) return fail("bad number " + quoted(t.token[first + i]));
        return true;
    }

    // A size keyword. Both may be given (Resolve's 1D shaper before a 3D
    // table); the rows of the 1D table then come first.
    bool size(std::string_view keyword, const Tokens& t, bool is3D) {
        const int max = is3D ? CubeLUT::kMax3DSize : CubeLUT::kMax1DSize;
        if (is3D ? size3D : size1D) return fail(std::string(keyword) + " given twice");
        long n = 0;
        if (t.count != 2 || !readInt(t.token[1], n)) return fail(std::string(keyword) + " takes one whole number");
        if (n < 2 || n > max)
            return fail(std::string(keyword) + " " + std::to_string(n) + " is out of range (2 to " + std::to_string(max) + ")");
        (is3D ? size3D : size1D) = int(n);
        expectedRows = size_t(size1D) + size_t(size3D) * size_t(size3D) * size_t(size3D);
        return true;
    }

    bool keyword(std::string_view k, const Tokens& t) {
        if (!values.empty()) return fail("keyword " + quoted(t.token[0]) + " after the table rows");
        if (k == "LUT_3D_SIZE" || k == "LUT_1D_SIZE") return size(k, t, k == "LUT_3D_SIZE");
        if (k == "DOMAIN_MIN" || k == "DOMAIN_MAX") {
            const bool min = k == "DOMAIN_MIN";
            float v[3];
            if (!readNumbers(k, t, 3, v)) return false;
            for (Domain* d : {&domain, &shaperDomain}) d->set(min ? v : nullptr, min ? nullptr : v, line);
            return true;
        }
        if (k == "LUT_3D_INPUT_RANGE" || k == "LUT_1D_INPUT_RANGE") {
            float range[2];
            if (!readNumbers(k, t, 2, range)) return false;
            const float lo[3] = {range[0], range[0], range[0]}, hi[3] = {range[1], range[1], range[1]};
            domain.set(lo, hi, line);
            (k == "LUT_3D_INPUT_RANGE" ? latticeDomain : shaperDomain).set(lo, hi, line);
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
        if (!readNumbers({}, t, 3, rgb)) return false;
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
        if (is(t.token[0], "TITLE")) return true;
        if (startsLikeNumber(t.token[0][0])) return row(t);
        if (const std::string_view k = keywordOf(t.token[0]); !k.empty()) return keyword(k, t);
        return fail("unexpected text " + quoted(t.token[0]));
    }

    size_t remaining = 0;
};

LUTMapping mappingFor(const Reader& r) {
    LUTMapping m;
    const Domain& in = r.size1D && r.size3D ? r.shaperDomain : r.domain;
    for (size_t c = 0; c < 3; ++c) {
        const float span = in.hi[c] - in.lo[c];
        // Video input first goes to its levels, then through the domain.
        const float a = r.inVideo ? kVideoSpan : 1.0f, b = r.inVideo ? kVideoBlack : 0.0f;
        m.inScale[c] = a / span;
        m.inOffset[c] = (b - in.lo[c]) / span;
    }
    if (r.size1D && r.size3D) {
        for (size_t c = 0; c < 3; ++c) {
            const float span = r.latticeDomain.hi[c] - r.latticeDomain.lo[c];
            m.latticeScale[c] = 1.0f / span;
            m.latticeOffset[c] = -r.latticeDomain.lo[c] / span;
        }
    }
    if (r.outVideo) {
        m.outScale = 1.0f / kVideoSpan;
        m.outOffset = -kVideoBlack / kVideoSpan;
    }
    return m;
}

// The value of one channel's curve of n points at point i of `side` points
// spread over the same range.
float curveAt(const float* rows, int n, int side, int i, size_t channel) {
    if (side == n) return rows[size_t(i) * 3 + channel];
    const double t = double(i) * (n - 1) / (side - 1);
    const int k = std::min(int(t), n - 2);
    const double f = t - k;
    return float(rows[size_t(k) * 3 + channel] * (1 - f) + rows[size_t(k + 1) * 3 + channel] * f);
}

// A 3D table, after a shaper when there is one. The shaper's curves go into
// the alpha channel, one after another (see LUTMapping); one longer than a
// third of the lattice's texels is resampled to fit.
Ptr<HostImage3D> latticeFrom(const Reader& r, int& shaperPoints) {
    const int n = r.size3D;
    const size_t texels = size_t(n) * size_t(n) * size_t(n);
    shaperPoints = r.size1D ? int(std::min(size_t(r.size1D), texels / 3)) : 0;
    Ptr<HostImage3D> image = HostImage3D::create(n, n, n, shaperPoints ? 4 : 3);
    if (!image) return image;
    const float* table = r.values.data() + size_t(r.size1D) * 3;
    if (!shaperPoints) {
        std::copy(table, table + texels * 3, image->data());
        return image;
    }
    float* out = image->data();
    for (size_t i = 0; i < texels; ++i) {
        std::copy(table + i * 3, table + i * 3 + 3, out + i * 4);
        out[i * 4 + 3] = 1;
    }
    for (size_t c = 0; c < 3; ++c)
        for (int i = 0; i < shaperPoints; ++i)
            out[(c * size_t(shaperPoints) + size_t(i)) * 4 + 3] = curveAt(r.values.data(), r.size1D, shaperPoints, i, c);
    return image;
}

Ptr<HostImage3D> imageFrom(const Reader& r, int& shaperPoints) {
    shaperPoints = 0;
    if (r.size3D) return latticeFrom(r, shaperPoints);
    const int n = r.size1D, side = std::min(n, CubeLUT::kMax1DLattice);
    Ptr<HostImage3D> image = HostImage3D::create(side, side, side, 3);
    if (!image) return image;
    std::vector<float> curves(size_t(side) * 3);
    for (int i = 0; i < side; ++i)
        for (size_t c = 0; c < 3; ++c) curves[size_t(i) * 3 + c] = curveAt(r.values.data(), n, side, i, c);
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

// The next line of `text` from `pos`, which moves past its end: a line ends
// at LF, CR LF or a lone CR (old Mac files).
std::string_view nextLine(std::string_view text, size_t& pos) {
    size_t end = text.find_first_of("\r\n", pos);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view line = text.substr(pos, end - pos);
    pos = end + (end + 1 < text.size() && text[end] == '\r' && text[end + 1] == '\n' ? 2 : 1);
    return line;
}

// Whether a line is a TITLE line, whose quoted text may hold a '#'.
bool isTitleLine(std::string_view line) { return line.size() >= 5 && is(line.substr(0, 5), "TITLE"); }

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
        std::string_view line = nextLine(text, pos);
        r.remaining = pos < text.size() ? text.size() - pos : 0;
        if (const size_t hash = line.find('#'); hash != std::string_view::npos && !isTitleLine(line)) line = line.substr(0, hash);
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
    const bool shaped = r.size1D && r.size3D;
    const std::array<const Domain*, 2> domains{shaped ? &r.shaperDomain : &r.domain, shaped ? &r.latticeDomain : &r.domain};
    for (const Domain* d : domains) {
        if (!d->valid()) {
            r.line = d->line;
            r.fail("the domain minimum must lie below its maximum");
            return std::move(r.result);
        }
    }
    r.result.is1D = !r.size3D;
    r.result.size = r.size3D ? r.size3D : r.size1D;
    r.result.shaperSize = shaped ? r.size1D : 0;
    int shaperPoints = 0;
    r.result.image = imageFrom(r, shaperPoints);
    if (!r.result.image) {
        r.fail("out of memory for the table");
        return std::move(r.result);
    }
    LUTMapping mapping = mappingFor(r);
    mapping.shaperSize = shaperPoints;
    r.result.image->setLUTMapping(mapping);
    return std::move(r.result);
}

Ptr<HostImage3D> CubeLUT::parse(std::string_view text, std::string_view name) {
    Result r = read(text);
    if (!r.image) Log("CubeLUT : %.*s line %u: %s\n", int(name.size()), name.data(), r.line, r.error.c_str());
    return r.image;
}

namespace {

enum class FileFault { kNone, kUnreadable, kTooLarge };

FileFault readWhole(const char* name, std::string& text) {
    std::ifstream in(name, std::ios::binary);
    if (in) {
        // Read in blocks, not by the size seeking reports: a directory opens
        // but claims an enormous size, and only the read itself fails.
        char block[65536];
        while (in.read(block, sizeof block) || in.gcount() > 0) {
            if (text.size() + size_t(in.gcount()) > CubeLUT::kMaxFileBytes) return FileFault::kTooLarge;
            text.append(block, size_t(in.gcount()));
        }
    }
    return !in.eof() || in.bad() ? FileFault::kUnreadable : FileFault::kNone;
}

} // namespace

CubeLUT::Result CubeLUT::readFile(const LightweightString<wchar_t>& path) {
    std::string text;
    switch (readWhole(toUTF8(path).c_str(), text)) {
    case FileFault::kNone: return read(text);
    case FileFault::kUnreadable: return {nullptr, "cannot read the file"};
    case FileFault::kTooLarge: return {nullptr, "larger than " + std::to_string(kMaxFileBytes) + " bytes"};
    }
    return {};
}

Ptr<HostImage3D> CubeLUT::load(const LightweightString<wchar_t>& path) {
    const LightweightString<char> name = toUTF8(path);
    std::string text;
    switch (readWhole(name.c_str(), text)) {
    case FileFault::kNone: return parse(text, name.view());
    case FileFault::kUnreadable: Log("CubeLUT : cannot read %s\n", name.c_str()); return nullptr;
    case FileFault::kTooLarge: Log("CubeLUT : %s is larger than %zu bytes\n", name.c_str(), kMaxFileBytes); return nullptr;
    }
    return nullptr;
}
