// The LUT directories and the LUT root of the ACES transform files.
//
// The factory directory holds the LUTs that ship with the library (the
// embedded resources/luts/ by default); the user directory holds the ones the
// user installed ($XDG_DATA_HOME/qffx/luts/, or ~/.local/share/qffx/luts/
// when XDG_DATA_HOME is unset or not absolute). The LUT root is where the
// ACES input and output transforms are looked for; the factory directory
// unless set. Every directory returned ends in a separator. The setters are
// the tool's --factory, --user and --root options (and what tests use); an
// empty path restores the default.
#pragma once

#include "host/base/LightweightString.h"
#include "host/misc/Settings.h"

LightweightString<wchar_t> getLUTDirectory(iSettings::eType type);
void setLUTDirectory(iSettings::eType type, const LightweightString<wchar_t>& dir);

LightweightString<wchar_t> getLUTRoot();
void setLUTRoot(const LightweightString<wchar_t>& dir);
