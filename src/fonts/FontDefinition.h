// FontDefinition: what a font is asked for by: a face (family) name, a size
// in pixels and a style byte (bit 0 bold, bit 1 italic; the other bits belong
// to the editor's text styles, such as underline, and do not change the font).
// Definitions are ordered by face name, then size, then the whole style
// byte, so that the font cache keeps one entry per distinct definition.
#pragma once

#include "host/base/LightweightString.h"

#include <cmath>
#include <cstdint>
#include <tuple>

class FontDefinition {
public:
    enum eStyleBits : uint8_t { eBold = 1, eItalic = 2, eUnderline = 4 };

    FontDefinition() = default;
    FontDefinition(const LightweightString<wchar_t>& faceName, double size, uint8_t style = 0)
        : m_faceName(faceName), m_size(size), m_style(style) {}

    const LightweightString<wchar_t>& getFaceName() const { return m_faceName; }
    double getSize() const { return m_size; }
    uint8_t getStyle() const { return m_style; }

    // A NaN size sorts after every number, so that the order stays strict and weak.
    friend bool operator<(const FontDefinition& a, const FontDefinition& b) {
        const bool aNaN = std::isnan(a.m_size), bNaN = std::isnan(b.m_size);
        return std::tie(a.m_faceName, aNaN, a.m_size, a.m_style) < std::tie(b.m_faceName, bNaN, b.m_size, b.m_style);
    }
    friend bool operator==(const FontDefinition& a, const FontDefinition& b) { return !(a < b) && !(b < a); }

private:
    LightweightString<wchar_t> m_faceName;
    double m_size = 0;
    uint8_t m_style = 0;
};
