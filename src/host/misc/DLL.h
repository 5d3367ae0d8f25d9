// DLL: a component loaded into the process by path (dlopen on Linux).
//
// load() tries once and remembers the answer; a missing file or a library
// built for another system simply fails. The component stays loaded until
// the object is destroyed. Any thread may call.
#pragma once

#include "host/base/LightweightString.h"

#include <mutex>
#include <string>

class DLL {
public:
    explicit DLL(const LightweightString<wchar_t>& path);
    ~DLL();
    DLL(const DLL&) = delete;
    DLL& operator=(const DLL&) = delete;

    bool load();
    bool isLoaded() const;
    // Null when not loaded or when the component has no such symbol.
    void* symbol(const char* name) const;
    // Why the load failed; empty after a success or before a try.
    std::string loadError() const;

private:
    const LightweightString<wchar_t> m_path;
    mutable std::mutex m_mutex;
    bool m_tried = false;
    void* m_handle = nullptr;
    std::string m_error;
};
