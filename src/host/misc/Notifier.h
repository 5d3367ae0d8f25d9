// Notifier: an object that tells its listeners that something changed.
//
// Listeners are functions called with a short message naming the change
// (e.g. "LUTsInstalled"). They run on the thread that notifies, after the
// listener list has been copied and its lock released, so a listener may add
// or remove listeners, and may be called once more just after its removal.
#pragma once

#include "host/base/LightweightString.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

class Notifier {
public:
    using Listener = std::function<void(const LightweightString<char>& message)>;

    // Returns the handle that removes the listener again.
    uint64_t addListener(Listener listener);
    void removeListener(uint64_t handle);

protected:
    void notify(const LightweightString<char>& message) const;

private:
    mutable std::mutex m_listenersMutex;
    std::vector<std::pair<uint64_t, Listener>> m_listeners;
    uint64_t m_nextHandle = 1;
};
