// Qf::Image::Colorimetry: the colour spaces by which LUT transforms are chosen.
//
// These codes are the LUT selection's own and are fixed. Data::Video's
// colourimetry codes take the same numbers (4 HLG, 5 ST 2084/PQ), checked
// below; colorimetryFromVideo maps a surface's code and turns codes that
// name no LUT colour space into eColorimetryUnknown.
#pragma once

#include "host/image/VideoData.h"

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
    case Data::Video::eBT2100HLG: return eRec2020HLG;
    case Data::Video::eBT2100PQ: return eRec2020ST2084;
    case Data::Video::eDCIP3: return eP3DCI;
    case Data::Video::eP3D65: return eP3Display;
    default: return eColorimetryUnknown;
    }
}

static_assert(eRec601 == int32_t(Data::Video::eBT601) && eRec709 == int32_t(Data::Video::eBT709) &&
              eRec2020 == int32_t(Data::Video::eBT2020) && eRec2020HLG == int32_t(Data::Video::eBT2100HLG) &&
              eRec2020ST2084 == int32_t(Data::Video::eBT2100PQ) && eP3DCI == int32_t(Data::Video::eDCIP3) &&
              eP3Display == int32_t(Data::Video::eP3D65));

} // namespace Qf::Image
