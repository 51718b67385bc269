#include "support/fakes/FakeRunLoop.h"

#include <algorithm>
#include <atomic>

#include "platform/RunLoop.h"
#include "platform/linux/TimerQueue.h"

namespace {

using VDIFrameworkCommon::platform::LoopDriver;
using VDIFrameworkCommon::platform::TimerQueue;

class HandMovedLoop final : public LoopDriver {
public:
    HandMovedLoop() { queue.setDriver(*this); }
    void wakeAt(std::int64_t due) noexcept override { nextDue = due; }

    TimerQueue queue;
    std::atomic<std::int64_t> nextDue{TimerQueue::never};
    std::atomic<std::int64_t> now{0};
};

HandMovedLoop& loop() {
    static auto& instance = *new HandMovedLoop;
    return instance;
}

}  // namespace

namespace fakes {

std::chrono::nanoseconds now() {
    return std::chrono::nanoseconds(loop().now);
}

void busyFor(std::chrono::nanoseconds time) {
    loop().now += time.count();
}

void dispatch() {
    loop().queue.dispatch([]() noexcept -> std::int64_t { return loop().now; });
}

void pass(std::chrono::nanoseconds time) {
    const std::int64_t end = loop().now + time.count();
    while (loop().nextDue <= end) {
        loop().now = std::max<std::int64_t>(loop().now, loop().nextDue);
        dispatch();
    }
    loop().now = std::max<std::int64_t>(loop().now, end);
}

}  // namespace fakes

namespace VDIFrameworkCommon::platform {

double currentAbsoluteTime() noexcept {
    return std::chrono::duration<double>(fakes::now()).count();
}

RunLoopTimer* createTimer(double firstFireTime, double interval, RunLoopCallback callback, void* context) {
    return TimerQueue::create(firstFireTime, interval, callback, context);
}

void addTimer(RunLoopTimer* timer) {
    loop().queue.add(timer);
}

void invalidateTimer(RunLoopTimer* timer) noexcept {
    loop().queue.invalidate(timer);
}

void releaseTimer(RunLoopTimer* timer) noexcept {
    TimerQueue::release(timer);
}

int driveFromHost() noexcept {
    return -1;
}

void dispatchDueTimers() noexcept {
}

}  // namespace VDIFrameworkCommon::platform
