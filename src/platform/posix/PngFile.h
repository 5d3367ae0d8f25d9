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
#pragma once

#include "host/HostImage.h"
#include "host/LightweightString.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class PngFile {
public:
    struct ReadResult {
        Ptr<HostImage> image; // null on failure
        std::string error;    // empty on success
        explicit operator bool() const { return bool(image); }
    };
    struct WriteResult {
        bool ok = false;
        std::string error;
        explicit operator bool() const { return ok; }
    };

    // Largest width or height accepted when reading.
    static constexpr uint32_t kMaxDimension = 32768;

    static ReadResult read(const LightweightString<wchar_t>& path);
    // Decodes PNG bytes held in memory; `name` prefixes the error messages.
    static ReadResult decode(const void* data, size_t size, const std::string& name = "PNG data");

    // Writes the file (replacing it). A file that could not be written
    // completely is removed.
    static WriteResult write(const LightweightString<wchar_t>& path, const HostImage& image);
    // Encodes into `out` (replacing its contents).
    static WriteResult encode(const HostImage& image, std::vector<uint8_t>& out);
};
