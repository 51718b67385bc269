#include "support/fakes/HandMovedLoop.h"

#include <algorithm>
#include <atomic>

#include "support/fakes/FakeRunLoop.h"

namespace fakes {

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

TimerQueue& handMovedQueue() {
    return loop().queue;
}

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
