#pragma once

#include <mutex>

#include "VDIFrameworkCommon/Export.h"
#include "VDIFrameworkCommon/RWLock.h"
#include "VDIFrameworkCommon/Timer.h"

namespace VDIFrameworkCommon {

class TimerHelper;

/// Receives the expiries of a `TimerHelper`. Main run loop only; owned by the host, until the timer is invalidated.
class VDIFRAMEWORKCOMMON_EXPORT TimerCallback {
public:
    TimerCallback() = default;

    /// Called on the thread of the main run loop for every expiry, with the timer that expired. Must not replace or
    /// invalidate that timer, which waits for this call; nor any other while somebody may be doing so to this one.
    virtual void onTimeout(TimerHelper* timer) = 0;

    virtual ~TimerCallback();
    TimerCallback(const TimerCallback&) = delete;
    TimerCallback& operator=(const TimerCallback&) = delete;
};

/// A timer that its owner holds in a slot, a pointer that is null or owns a `TimerHelper`, and that reports to a
/// `TimerCallback`. Once it is invalidated its callback is never called again, and may be destroyed.
///
/// `scheduleTimer` and `invalidateTimer` are thread-safe, for the same slot too: one call at a time is let through.
class VDIFRAMEWORKCOMMON_EXPORT TimerHelper : private Timer {
public:
    /// Makes a timer for the slot, in the place of the one that it holds, which is invalidated and deleted first.
    ///
    /// \param slot  gets the new timer also when it could not be set
    /// \param callback  not owned; null: expiries are ignored
    /// \param periodMs  milliseconds from now to the first expiry and between expiries; not 0
    /// \param periodic  whether it expires again and again
    /// \return the result of `Timer::setTimer`
    static int scheduleTimer(TimerHelper*& slot, TimerCallback* callback, unsigned int periodMs, bool periodic);

    /// Invalidates and deletes the timer of the slot, if there is one. The slot is null afterwards.
    static void invalidateTimer(TimerHelper*& slot);

    /// Makes a timer and sets it. `scheduleTimer` does so for a slot.
    ///
    /// \param callback  not owned; null: expiries are ignored
    /// \param periodMs  milliseconds from now to the first expiry and between expiries; not 0
    /// \param periodic  whether it expires again and again
    /// \param result  gets the result of `Timer::setTimer`
    TimerHelper(TimerCallback* callback, unsigned int periodMs, bool periodic, int& result);

    /// Invalidates it.
    ~TimerHelper() override;

    /// Kills the timer, waiting for a callback that is running, and forgets the callback.
    void invalidate();

    /// Passes an expiry on to the callback.
    void onTimer() override;

private:
    TimerCallback* callback_;
    RWLock callbackLock_;

    static std::mutex& sTimerMutex;  // taken before the locks of `Timer`; never destroyed
};

}  // namespace VDIFrameworkCommon
