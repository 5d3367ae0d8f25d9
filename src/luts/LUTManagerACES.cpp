// The choice of ACES transform files by colorimetry.
//
// A conversion between two colour spaces goes through the ACES working space
// (an input LUT into ACES.AP1, then an output LUT out of it), except between
// standard and high dynamic range and between the two HDR transfers, for
// which direct LUTs exist. A Rec.601 end uses the Rec.709 direct files.
#include "luts/LUTManager.h"

#include "host/misc/Paths.h"

using Wide = LightweightString<wchar_t>;
using namespace Qf::Image;

namespace {

// File-name pieces shared by the transforms, made once.
const Wide& ap1() {
    static const Wide piece(L".AP1");
    return piece;
}
const Wide& cube() {
    static const Wide piece(L".cube");
    return piece;
}

bool isSDR(Colorimetry c) { return c == eRec601 || c == eRec709; }
bool isHDR(Colorimetry c) { return c == eRec2020HLG || c == eRec2020ST2084; }

} // namespace

Wide LUTManager::getACESInputLUT(Colorimetry colorimetry) {
    const wchar_t* base = L"";
    switch (colorimetry) {
    case eRec601: base = L"Input - Rec.601 - ITU - ACES"; break;
    case eRec709: base = L"Input - Rec.709 - ITU - ACES"; break;
    case eRec2020: base = L"Input - Rec.2020 - Rec.709 ITU - ACES"; break;
    case eRec2020HLG: base = L"Input - Rec.2020 - HLG (1000 nits) - ACES"; break;
    case eRec2020ST2084: base = L"Input - Rec.2020 - ST2084 (1000 nits) - ACES"; break;
    case eP3DCI: base = L"Input - P3 - DCI DCDM - ACES"; break;
    case eP3Display: base = L"Input - P3 - Display - ACES"; break;
    case eACES: base = L"Input - ACES.AP0 - ACES - ACES"; break;
    default: break;
    }
    return joinPaths(getLUTRoot(), Wide(base) + ap1() + cube());
}

Wide LUTManager::getACESOutputLUT(Colorimetry colorimetry) {
    const wchar_t* piece = nullptr;
    switch (colorimetry) {
    case eRec601: piece = L" - Rec.601 - ITU"; break;
    case eRec709: piece = L" - Rec.709 - ITU"; break;
    case eRec2020: piece = L" - Rec.2020 - Rec.709 ITU"; break;
    case eRec2020HLG: piece = L" - Rec.2020 - HLG (1000 nits)"; break;
    case eRec2020ST2084: piece = L" - Rec.2020 - ST2084 (1000 nits)"; break;
    case eP3DCI: piece = L" - P3 - DCI DCDM"; break;
    case eP3Display: piece = L" - P3 - Display"; break;
    case eACES: return joinPaths(getLUTRoot(), L"Output - ACES.AP1 - ACES - ACES.AP0" + cube());
    default: return joinPaths(getLUTRoot(), cube());
    }
    return joinPaths(getLUTRoot(), L"Output - ACES" + ap1() + piece + cube());
}

Wide LUTManager::getInputLUT(Colorimetry from, Colorimetry to) {
    const wchar_t* name = L"";
    if (isSDR(to)) {
        if (from == eRec2020HLG)
            name = L"Input - Rec.2020 - HLG (1000 nits) - Rec.709 (ACES.AP0).cube";
        else if (from == eRec2020ST2084)
            name = L"Input - Rec.2020 - ST2084 (1000 nits) - Rec.709 (ACES.AP0).cube";
    } else if (isSDR(from)) {
        if (to == eRec2020HLG)
            name = L"Input - Rec.709 - ITU - Rec.2020 HLG (1000 nits) (ACES.AP0).cube";
        else if (to == eRec2020ST2084)
            name = L"Input - Rec.709 - ITU - Rec.2020 ST2084 (1000 nits) (ACES.AP0).cube";
    } else if (to == eRec2020ST2084) {
        if (from == eRec2020HLG) name = L"Input - Rec.2020 HLG (1000 nits) - Rec.2020 - ST2084 (1000 nits) (ACES.AP0).cube";
    } else if (to == eRec2020HLG && from == eRec2020ST2084) {
        name = L"Input - Rec.2020 - ST2084 (1000 nits) - Rec.2020 HLG (1000 nits) (ACES.AP0).cube";
    }
    return joinPaths(getLUTRoot(), name);
}

bool LUTManager::preferACES(Colorimetry from, Colorimetry to) {
    if (isHDR(from) && isSDR(to)) return false;
    if (isSDR(from) && isHDR(to)) return false;
    if (isHDR(from) && isHDR(to) && from != to) return false;
    return true;
}
