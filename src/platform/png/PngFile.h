// PngFile: PNG images in and out, through libpng.
//
// Reading accepts every PNG colour type at every depth and expands it to
// RGBA: 16-bit files give RGBA16 images, all others RGBA8 (grey is copied
// into R, G and B, palettes and tRNS transparency are expanded, a missing
// alpha channel becomes opaque). Values are taken as stored: no gamma or
// colour-profile conversion is made.
//
// Writing stores RGBA8 images as 8-bit and RGBA16 images as 16-bit RGBA;
// half and float images are clamped to 0..1 and written as 16-bit.
//
// Failures are values: a null image (or false) and a message naming the file
// and the reason. libpng's errors are caught inside; nothing leaks or throws.
// Pictures wider or higher than HostImage::kMaxDimension are refused before
// any pixel memory is taken.
#pragma once

#include "host/base/LightweightString.h"
#include "host/image/HostImage.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class PngFile {
public:
    // The picture, or null with `error` naming the file and the reason. A
    // picture wider or taller than `maxSide` (the GPU's limit, say) is refused
    // from its header, before its pixels take memory.
    static Ptr<HostImage> read(const LightweightString<wchar_t>& path, std::string& error,
                               int maxSide = HostImage::kMaxDimension);
    // Decodes PNG bytes held in memory; `name` prefixes the error messages.
    static Ptr<HostImage> decode(const void* data, size_t size, std::string& error, const std::string& name = "PNG data",
                                 int maxSide = HostImage::kMaxDimension);

    // Writes the file through Files::writeWholeFile: the previous file stays
    // as it was unless the new one was written completely.
    static bool write(const LightweightString<wchar_t>& path, const HostImage& image, std::string& error);
    // Encodes into `out` (replacing its contents).
    static bool encode(const HostImage& image, std::vector<uint8_t>& out, std::string& error);
};
