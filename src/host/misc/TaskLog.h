// iTaskLog: where a background task reports what it is doing.
//
// TaskLog keeps the current item and the progress fraction and tells one
// listener about every change; the tool draws its progress bar from it.
// Any thread may call; the listener runs in the reporting thread.
#pragma once

#include "host/base/CriticalSection.h"
#include "host/base/LightweightString.h"
#include "host/base/Ptr.h"

#include <functional>

class iTaskLog : public virtual iObject {
public:
    // The item being worked on (an effect's file name); `detail` is reserved, 0.
    virtual void setCurrentItem(const LightweightString<wchar_t>& item, int detail) = 0;
    // The fraction of the work done, from 0 to 1.
    virtual void setProgress(double fraction) = 0;
    virtual LightweightString<wchar_t> getCurrentItem() const = 0;
    virtual double getProgress() const = 0;
};

class TaskLog final : public iTaskLog {
public:
    using Listener = std::function<void(const LightweightString<wchar_t>& item, double progress)>;

    void setCurrentItem(const LightweightString<wchar_t>& item, int detail) override;
    void setProgress(double fraction) override;
    LightweightString<wchar_t> getCurrentItem() const override;
    double getProgress() const override;
    void setListener(Listener listener);

private:
    void notify();

    mutable CriticalSection m_lock;
    LightweightString<wchar_t> m_item;
    double m_progress = 0;
    Listener m_listener;
};
