#pragma once

#include <cstdint>
#include <limits>

#include "ThreadAnnotations.h"
#include "platform/RunLoop.h"
#include "platform/linux/TimerHeap.h"

namespace VDIFrameworkCommon::platform {

/// Sees to it that `TimerQueue::dispatch` is called when it is time.
class LoopDriver {
public:
    LoopDriver() = default;
    LoopDriver(const LoopDriver&) = delete;
    LoopDriver& operator=(const LoopDriver&) = delete;

    /// The time of the next dispatch has changed; `TimerQueue::never` if there is none. Called with the lock of the
    /// queue held, one call at a time.
    virtual void wakeAt(std::int64_t due) noexcept = 0;

protected:
    ~LoopDriver() = default;
};

/// The timers that are on a run loop. Knows nothing of clocks and threads: times are nanoseconds of whatever clock the
/// driver goes by.
///
/// Timers fire in the order of their times, those of the same time in the order in which they were added. A periodic
/// timer keeps to the times of its first schedule however late it fires; the times that have passed when it fires are
/// made up for by that one firing.
///
/// Thread-safe. Its lock is not held while a callback runs, and comes after every lock of the callers. Holds a timer
/// from `add` until it is off the queue.
class TimerQueue {
public:
    static constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();

    TimerQueue() = default;
    TimerQueue(const TimerQueue&) = delete;
    TimerQueue& operator=(const TimerQueue&) = delete;

    /// Makes a timer that is on no queue yet, held by the caller. Times are in seconds.
    static RunLoopTimer* create(double firstFireTime, double interval, RunLoopCallback callback, void* context);

    /// Gives the caller's hold up.
    static void release(RunLoopTimer* handle) noexcept;

    /// Says who drives the queue; before the first timer is added.
    void setDriver(LoopDriver& driver);

    void add(RunLoopTimer* handle);
    void invalidate(RunLoopTimer* handle) noexcept;

    /// Tells the time in nanoseconds.
    using Clock = std::int64_t (*)() noexcept;

    /// Fires the timers that are due when the call begins. Allocates nothing. An exception of a callback ends the
    /// process.
    void dispatch(Clock clock) noexcept;

private:
    void setWakeTime(std::int64_t due) noexcept VDI_REQUIRES(mutex_);

    CheckedMutex mutex_;
    TimerHeap heap_ VDI_GUARDED_BY(mutex_);
    std::uint64_t nextSequence_ VDI_GUARDED_BY(mutex_) = 0;
    LoopDriver* driver_ VDI_GUARDED_BY(mutex_) = nullptr;
    std::int64_t wakeTime_ VDI_GUARDED_BY(mutex_) = never;  // when the driver will call dispatch next
};

}  // namespace VDIFrameworkCommon::platform
