// Directory listing and file copying for the library, on the standard
// filesystem library (no platform calls needed).
//
// Listings give names in byte order of the file name, so that discovery order,
// and so the log, is the same on every machine.
#pragma once

#include "host/base/LightweightString.h"

#include <cstdint>
#include <vector>

// What getDirectoryContents lists; flags combine (70 = files, full paths, sorted).
enum eDirectoryFlags : unsigned {
    eListFiles = 2,       // regular files (symbolic links to them included)
    eListFullPaths = 4,   // directory joined with each name; else bare names
    eListDirectories = 8, // sub-directories
    eListSorted = 64,     // byte order of the names (listings are always sorted here)
    eMatchAnyCase = 128,  // the pattern's letters match without regard to (ASCII) case
    eSkipHidden = 256,    // names beginning with "." are left out
};

// One entry of a directory listing.
struct DirectoryEntry {
    LightweightString<wchar_t> name; // file name, without the directory
    uint64_t modified = 0;           // modification time, nanoseconds since 1970
};

// The one directory listing every caller goes through: the entries of `dir`
// whose names match `pattern`, chosen by `flags` (eListFullPaths aside),
// appended to `out` in byte order of the UTF-8 name. False when the directory
// cannot be read.
bool listDirectoryEntries(const LightweightString<wchar_t>& dir, const LightweightString<wchar_t>& pattern, unsigned flags,
                          std::vector<DirectoryEntry>& out);

// Appends the entries of `dir` whose names match `pattern` ("*" any run of
// characters, "?" one; "*.*" matches every name, as it does for the editor's
// callers) to `out`. An unreadable or missing directory adds nothing.
void getDirectoryContents(const LightweightString<wchar_t>& dir, const LightweightString<wchar_t>& pattern,
                          std::vector<LightweightString<wchar_t>>& out, unsigned flags);

bool fileExists(const LightweightString<wchar_t>& path);
// Makes the directory and its parents; true when it exists afterwards.
bool makeDirectories(const LightweightString<wchar_t>& dir);
// Copies a file to `to`, which must not exist: the copy is written under a
// temporary name and linked into place only when complete, so no partial
// file and no overwritten file is ever left. False on any failure.
bool copyFileNoReplace(const LightweightString<wchar_t>& from, const LightweightString<wchar_t>& to);
