// resourceStrW: the user-visible texts of the library, by number.
//
// One table of our own texts; an unknown number gives an empty string.
#pragma once

#include "LightweightString.h"

// 10005: the first entry of the LUT manufacturer list (the choice that shows
// every LUT). 12777: the category of the LUTs that ship with the library.
LightweightString<wchar_t> resourceStrW(int id);
