// Whole files in and out: the one reader and the one writer of the host.
//
// Reading takes regular files only (a FIFO or a device such as /dev/zero
// could be read forever) and refuses a file larger than the caller's limit
// before reading it. Writing goes to a temporary file beside the target,
// which is renamed over the target only once everything is written: a
// failed or interrupted write leaves the previous file as it was.
//
// Failures are values: false, with `error` saying what and which file.
#pragma once

#include "host/base/LightweightString.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Files {

// Effect files, their includes and the shaders directory's helper files.
inline constexpr size_t kMaxTextFileBytes = size_t(16) << 20;
// Picture files (a 16-bit RGBA 8K picture stored without compression is 256 MiB).
inline constexpr size_t kMaxPictureFileBytes = size_t(512) << 20;

bool readWholeFile(const LightweightString<wchar_t>& path, size_t maxBytes, std::string& out, std::string& error);
bool writeWholeFile(const LightweightString<wchar_t>& path, const void* data, size_t size, std::string& error);

} // namespace Files
