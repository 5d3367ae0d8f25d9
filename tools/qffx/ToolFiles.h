// The files a qffx command writes and reads by name.
//
// An output respects what it replaces: "-" is standard output; a FIFO, a
// device or a socket is written to directly, as a stream; a symbolic link is
// followed and its target replaced; a directory is refused; a regular file
// (or a name not yet taken) is written as a temporary file beside it and
// renamed over it only when complete, so that a failure leaves the previous
// file as it was. The new file gets the mode of the file it replaces, or the
// mode a new file gets under the umask. SIGINT, SIGTERM and SIGHUP remove
// the temporary files of the outputs in progress, then end the process as
// the signal does.
//
// An input named "-" is standard input; every input is read with the limit
// of its kind.
#pragma once

#include "host/base/LightweightString.h"
#include "host/image/HostImage.h"

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    // An output not committed leaves nothing behind.
    ~OutputFile();

    // False with `error` set (a directory, an unwritable place).
    bool open(const std::string& path, std::string& error);
    std::FILE* stream() const { return m_file; }
    // True when the output goes to its place as it is written (standard
    // output, a FIFO, a device): nothing is renamed.
    bool streamed() const { return m_direct; }
    // Flushes and closes the temporary file (gives it its mode) without
    // renaming it: every output of a command can be complete before the
    // first is renamed. A streamed output is flushed.
    bool finish(std::string& error);
    // finish(), then the temporary file renamed over the output.
    bool commit(std::string& error);

private:
    void discard();

    std::string m_path, m_target, m_temp;
    std::FILE* m_file = nullptr;
    bool m_direct = false, m_finished = false;
    int m_slot = -1; // where the temporary's name is kept for the signal handler
};

// Writes `size` bytes as the output `path` (see OutputFile).
bool writeOutputFile(const std::string& path, const void* data, size_t size, std::string& error);
// Encodes `image` as PNG and writes it as the output `path`.
bool writePngOutput(const std::string& path, const HostImage& image, std::string& error);

// Refuses, before any work, an output that cannot be written as asked: a
// directory, or a name whose extension is not `extension` ("png"); a name
// without an extension and "-" are taken.
bool checkOutputName(const std::string& path, std::string_view extension, std::string& error);

// Reads at most `limit` bytes of `stream`; false with `error` when there are
// more or the read fails.
bool readStream(std::FILE* stream, size_t limit, std::string& out, std::string& error);

// The PNG picture of `path` ("-": standard input), refused past `maxSide` pixels
// a side and past the picture file limit.
Ptr<HostImage> readPngInput(const std::string& path, std::string& error, int maxSide = HostImage::kMaxDimension);
