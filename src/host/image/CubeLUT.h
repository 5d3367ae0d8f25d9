// CubeLUT: the reader of .cube look-up table files.
//
// A .cube file (the format colour tools write, Iridas' and Resolve's dialects)
// is text: keyword lines, then one row of three numbers per lattice point,
// red varying fastest, then green, then blue. Keywords:
//
//   TITLE "text"                  ignored
//   LUT_3D_SIZE n                 a 3D table of n^3 rows (n in 2..256)
//   LUT_1D_SIZE n                 a 1D table of n rows (n in 2..65536), one
//                                 curve per channel
//   DOMAIN_MIN r g b              the input values at the first and last
//   DOMAIN_MAX r g b              lattice points (default 0 0 0 and 1 1 1)
//   LUT_3D_INPUT_RANGE lo hi      Resolve's form of the domain, same for all
//   LUT_1D_INPUT_RANGE lo hi      three channels
//   LUT_IN_VIDEO_RANGE            the table expects video-level input
//   LUT_OUT_VIDEO_RANGE           the table gives video-level output
//
// Resolve's files may give both sizes: a 1D shaper, then a 3D table over the
// shaper's output. The shaper's n rows come first, then the 3D rows; the
// shaper's domain is LUT_1D_INPUT_RANGE, the 3D table's LUT_3D_INPUT_RANGE.
//
// Keywords are read in any case ("title", "lut_3d_size"); those of other
// tools' dialects, ignored before the table, only in upper case. "#" starts a
// comment; blank lines, LF, CR LF and lone CR line ends and a UTF-8
// byte-order mark are accepted. Numbers are read independently of the C
// locale.
//
// The result is a HostImage3D of RGB floats. A 1D table becomes a 3D image
// whose lattice reproduces it: of side n when n <= 65 (exact under trilinear
// and tetrahedral interpolation, since each output channel depends on its
// own input channel only), else of side 65 with the curves sampled linearly.
// A shaper makes the image RGBA, the shaper's curves kept in the alpha
// channel as LUTMapping describes (resampled linearly to a third of the
// lattice's texels when longer). The domains and video-range tags become the
// image's LUTMapping, with video levels 64..940 of 1023 for every component.
//
// A malformed file (rows too few or too many, a bad, NaN or infinite number,
// a bad size, a truncated or binary file) gives a null image and one log line
// "CubeLUT : <name> line <n>: <what is wrong>\n". Memory grows with the rows
// actually read, never with the size a header claims.
#pragma once

#include "host/base/LightweightString.h"
#include "host/image/HostImage.h"

#include <string>
#include <string_view>
#include <vector>

class CubeLUT {
public:
    static constexpr int kMax3DSize = 256;
    static constexpr int kMax1DSize = 65536;
    // The side of the 3D image made from a 1D table longer than this.
    static constexpr int kMax1DLattice = 65;
    // Files larger than this are refused before they are read.
    static constexpr size_t kMaxFileBytes = size_t(1) << 30;

    // The file extensions the reader takes, lower case without the dot.
    static const std::vector<LightweightString<wchar_t>>& getSupportedFileTypes();

    // Reads a file; null (and a log line) when it cannot be read or is malformed.
    static Ptr<HostImage3D> load(const LightweightString<wchar_t>& path);

    // What reading a text gives: the image, or the error and its 1-based line.
    struct Result {
        Ptr<HostImage3D> image;
        std::string error;
        unsigned line = 0;
        bool is1D = false;
        int size = 0;       // the size the file declares (the 3D one when both are given)
        int shaperSize = 0; // the 1D size given before a 3D table, else 0
    };
    // Reads .cube text without logging.
    static Result read(std::string_view text);
    // Reads a file without logging; a file that cannot be read or is too
    // large gives line 0 and says so.
    static Result readFile(const LightweightString<wchar_t>& path);
    // Reads .cube text; a failure is logged with `name` for the source.
    static Ptr<HostImage3D> parse(std::string_view text, std::string_view name);
};
