#include "host/misc/DLL.h"

#include "host/base/Strings.h"

#include <dlfcn.h>

DLL::DLL(const LightweightString<wchar_t>& path) : m_path(path) {}

DLL::~DLL() {
    if (m_handle) dlclose(m_handle);
}

bool DLL::load() {
    std::lock_guard<std::mutex> hold(m_mutex);
    if (m_tried) return m_handle != nullptr;
    m_tried = true;
    // dlerror's text is per-thread and must be read before the next dl call of this thread.
    m_handle = m_path.empty() ? nullptr : dlopen(toUTF8(m_path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_handle) {
        const char* why = dlerror();
        m_error = why ? why : "no path";
    }
    return m_handle != nullptr;
}

bool DLL::isLoaded() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_handle != nullptr;
}

void* DLL::symbol(const char* name) const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_handle && name ? dlsym(m_handle, name) : nullptr;
}

std::string DLL::loadError() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_error;
}
