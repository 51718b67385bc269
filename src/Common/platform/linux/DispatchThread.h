#pragma once

#include <condition_variable>
#include <cstdint>

#include "ThreadAnnotations.h"
#include "platform/linux/TimerQueue.h"

namespace VDIFrameworkCommon::platform {

/// The time of the clock that timers go by, which never jumps, in nanoseconds.
std::int64_t monotonicNow() noexcept;

/// The library's own thread, on which timers fire unless the host drives the loop. It never ends.
class DispatchThread final : public LoopDriver {
public:
    explicit DispatchThread(TimerQueue& queue) : queue_(queue) {}

    /// Starts the thread. False if the system has none to give.
    bool start() noexcept;

    void wakeAt(std::int64_t due) noexcept override;

private:
    [[noreturn]] void run() noexcept;
    void sleepUntilDue() noexcept;

    TimerQueue& queue_;
    CheckedMutex mutex_;  // taken after the queue's
    std::condition_variable changed_;
    std::int64_t due_ VDI_GUARDED_BY(mutex_) = TimerQueue::never;
};

}  // namespace VDIFrameworkCommon::platform
