// Qf::Image::Colorimetry: the colour spaces by which LUT transforms are chosen.
//
// These codes are the LUT selection's own and are fixed. Note that
// Data::Video::eColourimetry numbers the two BT.2100 transfers the other way
// round (4 PQ, 5 HLG); colorimetryFromVideo converts.
#pragma once

#include "VideoData.h"

#include <cstdint>

namespace Qf::Image {

enum Colorimetry : int32_t {
    eColorimetryUnknown = 0,
    eRec601 = 1,        // Rec.601, ITU transfer
    eRec709 = 2,        // Rec.709, ITU transfer
    eRec2020 = 3,       // Rec.2020 primaries, Rec.709 ITU transfer
    eRec2020HLG = 4,    // Rec.2020, HLG (1000 nits)
    eRec2020ST2084 = 5, // Rec.2020, ST2084 (1000 nits)
    eP3DCI = 6,         // P3, DCI DCDM
    eP3Display = 7,     // P3, Display
    eACES = 8,          // ACES
};

constexpr Colorimetry colorimetryFromVideo(uint32_t colourimetry) {
    switch (colourimetry) {
    case Data::Video::eBT601: return eRec601;
    case Data::Video::eBT709: return eRec709;
    case Data::Video::eBT2020: return eRec2020;
    case Data::Video::eBT2100PQ: return eRec2020ST2084;
    case Data::Video::eBT2100HLG: return eRec2020HLG;
    case Data::Video::eDCIP3: return eP3DCI;
    case Data::Video::eP3D65: return eP3Display;
    default: return eColorimetryUnknown;
    }
}

} // namespace Qf::Image
