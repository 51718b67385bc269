#include <sys/timerfd.h>

#include <algorithm>
#include <ctime>

#include "platform/linux/HostDescriptor.h"

namespace VDIFrameworkCommon::platform {

bool HostDescriptor::open() noexcept {
    descriptor_ = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    return descriptor_ >= 0;
}

void HostDescriptor::wakeAt(std::int64_t due) noexcept {
    constexpr std::int64_t perSecond = 1'000'000'000;
    itimerspec time{};
    if (due != TimerQueue::never) {
        const std::int64_t set = std::max<std::int64_t>(due, 1);  // 0 would disarm
        time.it_value = {.tv_sec = set / perSecond, .tv_nsec = set % perSecond};
    }
    // Setting it also makes it unreadable until the new time, so that nobody has to read it.
    timerfd_settime(descriptor_, TFD_TIMER_ABSTIME, &time, nullptr);
}

}  // namespace VDIFrameworkCommon::platform
