#include "host/misc/Notifier.h"

#include <algorithm>

uint64_t Notifier::addListener(Listener listener) {
    std::lock_guard<std::mutex> lock(m_listenersMutex);
    m_listeners.emplace_back(m_nextHandle, std::move(listener));
    return m_nextHandle++;
}

void Notifier::removeListener(uint64_t handle) {
    std::lock_guard<std::mutex> lock(m_listenersMutex);
    std::erase_if(m_listeners, [handle](const auto& l) { return l.first == handle; });
}

void Notifier::notify(const LightweightString<char>& message) const {
    std::vector<std::pair<uint64_t, Listener>> listeners;
    {
        std::lock_guard<std::mutex> lock(m_listenersMutex);
        listeners = m_listeners;
    }
    for (const auto& l : listeners) l.second(message);
}
