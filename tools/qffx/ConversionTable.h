// Which settings of convert the library's coefficient tables hold, asked of
// the library itself: its coefficient setters are run on a stand-in effect
// that records what they write, so the tool keeps no copy of the tables.
#pragma once

#include "host/image/VideoData.h"
#include "image/ColourConversion.h"

#include <map>
#include <string>
#include <vector>

// What a coefficient setter wrote: parameter name -> its numbers. Empty when
// the table has no row for the settings.
using WrittenCoefficients = std::map<std::string, std::vector<float>>;

// RGB (full range, as the tool hands it) to Y'CbCr of `range` and `colourimetry`.
WrittenCoefficients forwardCoefficients(Data::Video::eRange range, Data::Video::eColourimetry colourimetry);
// Y'CbCr of `colourimetry` and `range` to RGB with `gamut` scaling.
WrittenCoefficients inverseCoefficients(Data::Video::eColourimetry colourimetry, Data::Video::eRange range,
                                        Qf::Image::ColourConversion::GamutScaling gamut);

// The settings a direction takes, as a message lists them:
// "--range legal with bt601, ...; --range full with bt601 or bt709".
std::string forwardChoices();
std::string inverseChoices();
