// The POSIX services of the Linux host: directory listing, sleeping, the
// message box of a process without a user interface, and the environment.
// Stateless; any thread may call.
#pragma once

#include "host/os/OS.h"

class PosixFileService final : public iFileService {
public:
    bool listDirectory(const LightweightString<wchar_t>& pattern, std::vector<DirectoryEntry>& out, int filesOnly,
                       int recursive) override;
};

class PosixThreadService final : public iThreadService {
public:
    void sleep(unsigned milliseconds) override;
};

// Writes "CAPTION : TEXT" to the log and answers 1 (OK).
class LogUIService final : public iUIService {
public:
    int showMessage(const LightweightString<wchar_t>& caption, const LightweightString<wchar_t>& text, int buttons,
                    int severity) override;
};

// Caption "QfFxResources"; components load from the directory of the running program.
class PosixEnvironmentService final : public iEnvironmentService {
public:
    LightweightString<wchar_t> applicationCaption() override;
    LightweightString<wchar_t> componentDirectory() override;
};
