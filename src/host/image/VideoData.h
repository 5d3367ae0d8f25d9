// Video metadata carried by a Surface: Data::Video describes how the pixel
// values are to be read (colourimetry, range), Data::VideoSample where the
// picture sits in time (frame time, duration, field order).
//
// The numeric codes are stored and compared as plain unsigned values: the
// colour conversions select their coefficient tables by them, so the codes
// are fixed and must not be renumbered. Code that names a code uses the
// enumerators, never the number. The colourimetry codes are those of the ACES
// LUT choice (Qf::Image::Colorimetry in Colorimetry.h): 4 is HLG, 5 PQ.
#pragma once

#include <cstdint>

namespace Data {

struct Video {
    // Colourimetry: the primaries and luma weights of the Y'CbCr encoding.
    enum eColourimetry : uint32_t {
        eColourimetryUnknown = 0,
        eBT601 = 1,     // luma weights 0.299, 0.587, 0.114
        eBT709 = 2,     // 0.2126, 0.7152, 0.0722
        eBT2020 = 3,    // 0.2627, 0.6780, 0.0593 (non-constant luminance)
        eBT2100HLG = 4, // BT.2020 primaries, HLG transfer
        eBT2100PQ = 5,  // BT.2020 primaries, PQ (ST 2084) transfer
        eDCIP3 = 6,     // P3 primaries, DCI white: about 0.2095, 0.7216, 0.0689
        eP3D65 = 7,     // P3 primaries, D65 white: about 0.2290, 0.6917, 0.0793
    };
    // Range of the code values.
    enum eRange : uint32_t {
        eRangeUnknown = 0,
        eFullRange = 1,  // 0..max
        eLegalRange = 2, // video levels: 8-bit Y' 16..235, C 16..240 (scaled for deeper values)
    };
    // How alpha relates to the colour components.
    enum eAlpha : uint32_t { eAlphaNone = 0, eAlphaStraight = 1, eAlphaPremultiplied = 2 };

    uint32_t colourimetry = eBT709;
    uint32_t range = eLegalRange;
    uint32_t alpha = eAlphaNone;
    // Pixel aspect ratio as a fraction (1:1 square pixels).
    uint32_t pixelAspectNum = 1;
    uint32_t pixelAspectDen = 1;

    friend bool operator==(const Video&, const Video&) = default;
};

struct VideoSample {
    enum eFieldOrder : uint32_t {
        eProgressive = 0,
        eUpperFieldFirst = 1,
        eLowerFieldFirst = 2,
    };

    // Presentation time and duration of the frame, in seconds.
    double time = 0.0;
    double duration = 0.0;
    uint32_t fieldOrder = eProgressive;
    // Frame number within its source; -1 when unknown.
    int64_t frameNumber = -1;

    friend bool operator==(const VideoSample&, const VideoSample&) = default;
};

} // namespace Data
