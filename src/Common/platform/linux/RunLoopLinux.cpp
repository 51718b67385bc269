#include "platform/RunLoop.h"

#include <atomic>

#include "ThreadAnnotations.h"
#include "platform/linux/DispatchThread.h"
#include "platform/linux/HostDescriptor.h"
#include "platform/linux/TimerQueue.h"

namespace VDIFrameworkCommon::platform {

namespace {

/// The run loop of this process: the timers, and who fires them.
class MainLoop {
public:
    TimerQueue& queue() noexcept { return queue_; }

    /// Starts the dispatch thread unless the host drives the loop. A thread that cannot be had now is tried for again
    /// with the next timer; timers that are due by then fire late.
    void start() noexcept {
        if (started_.load(std::memory_order_acquire)) {
            return;
        }
        const CheckedLock lock(mutex_);
        if (mode_ == Mode::Undecided) {
            mode_ = Mode::Thread;
            queue_.setDriver(thread_);
        }
        if (!started_) {
            // Pairs with the load above: who sees it also sees the driver.
            started_.store(mode_ == Mode::Host || thread_.start(), std::memory_order_release);
        }
    }

    int driveFromHost() noexcept {
        const CheckedLock lock(mutex_);
        if (mode_ == Mode::Undecided && host_.open()) {
            mode_ = Mode::Host;
            queue_.setDriver(host_);
        }
        return mode_ == Mode::Host ? host_.descriptor() : -1;
    }

    bool isHostDriven() noexcept {
        const CheckedLock lock(mutex_);
        return mode_ == Mode::Host;
    }

private:
    enum class Mode { Undecided, Thread, Host };

    TimerQueue queue_;
    DispatchThread thread_{queue_};
    HostDescriptor host_;
    std::atomic<bool> started_{false};
    CheckedMutex mutex_;  // taken before the queue's
    Mode mode_ VDI_GUARDED_BY(mutex_) = Mode::Undecided;
};

MainLoop& mainLoop() {
    // Never destroyed: the dispatch thread is at work until the process is gone.
    static auto& loop = *new MainLoop;
    return loop;
}

}  // namespace

double currentAbsoluteTime() noexcept {
    constexpr double nanosecond = 1e-9;
    return static_cast<double>(monotonicNow()) * nanosecond;
}

RunLoopTimer* createTimer(double firstFireTime, double interval, RunLoopCallback callback, void* context) {
    return TimerQueue::create(firstFireTime, interval, callback, context);
}

void addTimer(RunLoopTimer* timer) {
    mainLoop().start();
    mainLoop().queue().add(timer);
}

void invalidateTimer(RunLoopTimer* timer) noexcept {
    mainLoop().queue().invalidate(timer);
}

void releaseTimer(RunLoopTimer* timer) noexcept {
    TimerQueue::release(timer);
}

int driveFromHost() noexcept {
    return mainLoop().driveFromHost();
}

void dispatchDueTimers() noexcept {
    if (mainLoop().isHostDriven()) {
        mainLoop().queue().dispatch(&monotonicNow);
    }
}

}  // namespace VDIFrameworkCommon::platform
