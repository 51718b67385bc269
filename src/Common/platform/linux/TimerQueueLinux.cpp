#include <atomic>
#include <cmath>

#include "platform/linux/TimerQueue.h"

namespace VDIFrameworkCommon::platform {

namespace {

/// A timer as the queue keeps it; what callers hold is its address.
struct QueuedTimer : HeapNode {
    std::int64_t interval = 0;  // nanoseconds; 0: fires once
    RunLoopCallback callback = nullptr;
    void* context = nullptr;
    std::atomic<int> holds{1};  // of the one who made it, of the queue, of a running callback
};

RunLoopTimer* handleOf(QueuedTimer* timer) noexcept {
    return reinterpret_cast<RunLoopTimer*>(timer);
}

QueuedTimer* timerOf(RunLoopTimer* handle) noexcept {
    return reinterpret_cast<QueuedTimer*>(handle);
}

QueuedTimer* timerOf(HeapNode* node) noexcept {
    return static_cast<QueuedTimer*>(node);
}

void hold(QueuedTimer* timer) noexcept {
    timer->holds.fetch_add(1);
}

void letGo(QueuedTimer* timer) noexcept {
    if (timer->holds.fetch_sub(1) == 1) {
        delete timer;
    }
}

std::int64_t nanoseconds(double seconds) noexcept {
    constexpr double perSecond = 1e9;
    constexpr double longest = 4e18;  // 127 years: twice that still fits
    return std::llround(std::fmin(std::fmax(seconds * perSecond, 0), longest));
}

}  // namespace

RunLoopTimer* TimerQueue::create(double firstFireTime, double interval, RunLoopCallback callback, void* context) {
    auto* const timer = new QueuedTimer;
    timer->due = nanoseconds(firstFireTime);
    timer->interval = nanoseconds(interval);
    timer->callback = callback;
    timer->context = context;
    return handleOf(timer);
}

void TimerQueue::release(RunLoopTimer* handle) noexcept {
    letGo(timerOf(handle));
}

void TimerQueue::setDriver(LoopDriver& driver) {
    const CheckedLock lock(mutex_);
    driver_ = &driver;
}

void TimerQueue::add(RunLoopTimer* handle) {
    QueuedTimer* const timer = timerOf(handle);
    const CheckedLock lock(mutex_);
    timer->sequence = nextSequence_++;
    heap_.insert(timer);
    hold(timer);
    // A driver that wakes before this timer is due finds it then; waking it now would only cost.
    if (timer->due < wakeTime_) {
        setWakeTime(timer->due);
    }
}

void TimerQueue::invalidate(RunLoopTimer* handle) noexcept {
    QueuedTimer* const timer = timerOf(handle);
    {
        const CheckedLock lock(mutex_);
        if (timer->place == HeapNode::notInHeap) {
            return;
        }
        // The driver is not told: it wakes for nothing at most once.
        heap_.remove(timer);
    }
    letGo(timer);
}

void TimerQueue::dispatch(Clock clock) noexcept {
    // What becomes due meanwhile is left to the next call, so that this one ends.
    const std::int64_t begin = clock();
    CheckedLock lock(mutex_);
    while (!heap_.empty() && heap_.firstDue() <= begin) {
        QueuedTimer* const timer = timerOf(heap_.first());
        if (timer->interval == 0) {
            heap_.remove(timer);  // its hold on the timer passes to this call
        } else {
            // The time anew: the callbacks before this one took some, and what was missed meanwhile is merged too.
            timer->due += ((clock() - timer->due) / timer->interval + 1) * timer->interval;
            heap_.moveBack(timer);
            hold(timer);
        }
        lock.unlock();
        timer->callback(handleOf(timer), timer->context);
        letGo(timer);
        lock.lock();
    }
    setWakeTime(heap_.empty() ? never : heap_.firstDue());
}

void TimerQueue::setWakeTime(std::int64_t due) noexcept {
    wakeTime_ = due;
    driver_->wakeAt(due);
}

}  // namespace VDIFrameworkCommon::platform
