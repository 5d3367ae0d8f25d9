#include "host/misc/TaskLog.h"

void TaskLog::setCurrentItem(const LightweightString<wchar_t>& item, int) {
    CriticalSectionLock hold(m_lock);
    m_item = item;
    notify();
}

void TaskLog::setProgress(double fraction) {
    CriticalSectionLock hold(m_lock);
    m_progress = fraction < 0 ? 0 : fraction > 1 ? 1 : fraction;
    notify();
}

LightweightString<wchar_t> TaskLog::getCurrentItem() const {
    CriticalSectionLock hold(m_lock);
    return m_item;
}

double TaskLog::getProgress() const {
    CriticalSectionLock hold(m_lock);
    return m_progress;
}

void TaskLog::setListener(Listener listener) {
    CriticalSectionLock hold(m_lock);
    m_listener = std::move(listener);
}

// Called under m_lock, so that listeners see the changes in order.
void TaskLog::notify() {
    if (m_listener) m_listener(m_item, m_progress);
}
