#include <cstdint>

#include "VDIFrameworkCommon/Timer.h"
#include "platform/RunLoop.h"

namespace VDIFrameworkCommon {

int TimerID::scheduleTimer(int id, unsigned int periodMs, bool periodic) {
    constexpr double secondsPerMillisecond = 0.001;
    const double period = periodMs * secondsPerMillisecond;
    // The context is the number itself, in the shape of a pointer: it can never dangle.
    void* const context = reinterpret_cast<void*>(std::intptr_t{id});  // NOLINT(performance-no-int-to-ptr)
    timer_ = platform::createTimer(platform::currentAbsoluteTime() + period, periodic ? period : 0,
                                   &TimerID::timer_callback, context);
    platform::addTimer(timer_);
    return 0;
}

void TimerID::stopTimer() {
    if (timer_ != nullptr) {
        platform::invalidateTimer(timer_);
        platform::releaseTimer(timer_);
        timer_ = nullptr;
    }
}

void TimerID::timer_callback(__CFRunLoopTimer* /*timer*/, void* info) {
    Timer::callback(static_cast<int>(reinterpret_cast<std::intptr_t>(info)));
}

}  // namespace VDIFrameworkCommon
