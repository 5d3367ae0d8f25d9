// FileLUT: a LUT of the catalogue that is a file in a LUT directory.
//
// Its identifier is its path. It is described from the file name: the name
// without directory and extension, "_" shown as " ". A LUT of the factory
// directory keeps that whole name and gets the built-in category. A user
// LUT named "Field0 - Maker - Detail - Name..." (at least four fields
// separated by " - ") is shown as "Name..." (fields 3 on, joined with
// " - "), with Maker as both its manufacturer and its category and Detail
// as its detail; field 0 (a kind, such as "Look" or "Input") is not kept.
// A user LUT whose name contains "ACES.AP" is one half of an ACES transform
// and not selectable by hand.
#pragma once

#include "luts/iLUT.h"

class FileLUT : public iLUT {
public:
    explicit FileLUT(const LightweightString<wchar_t>& path);

    LightweightString<wchar_t> getName() const override { return m_name; }
    LightweightString<wchar_t> getCategory() const override { return m_category; }
    LightweightString<wchar_t> getManufacturer() const override { return m_manufacturer; }
    LightweightString<wchar_t> getDetail() const override { return m_detail; }
    LightweightString<wchar_t> getID() const override { return m_path; }
    bool isSelectable() const override { return m_selectable; }
    Ptr<HostImage3D> load() const override;

private:
    LightweightString<wchar_t> m_name;
    LightweightString<wchar_t> m_category;
    LightweightString<wchar_t> m_manufacturer;
    LightweightString<wchar_t> m_detail;
    LightweightString<wchar_t> m_path;
    bool m_selectable = true;
};
