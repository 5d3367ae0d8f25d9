// iLUT: one LUT of the catalogue, as the user interface lists it.
#pragma once

#include "host/base/LightweightString.h"
#include "host/base/Ptr.h"
#include "host/image/HostImage.h"

class iLUT : public virtual iObject {
public:
    virtual LightweightString<wchar_t> getName() const = 0;
    // A free-text description; none by default.
    virtual LightweightString<wchar_t> getDescription() const { return {}; }
    virtual LightweightString<wchar_t> getCategory() const = 0;
    virtual LightweightString<wchar_t> getManufacturer() const = 0;
    virtual LightweightString<wchar_t> getDetail() const = 0;
    // The identifier the catalogue and the cache know the LUT by.
    virtual LightweightString<wchar_t> getID() const = 0;
    // False for LUTs the user does not pick by hand (the ACES working-space ones).
    virtual bool isSelectable() const = 0;
    // The LUT's data in host memory; null when it cannot be read.
    virtual Ptr<HostImage3D> load() const = 0;
};
