#include <cerrno>
#include <limits>

#include "platform/RelativeWait.h"

namespace VDIFrameworkCommon::platform {

int waitRelative(pthread_cond_t* condition, pthread_mutex_t* mutex, const std::timespec& time) noexcept {
    constexpr long nanosecondsPerSecond = 1'000'000'000;
    if (time.tv_sec < 0 || time.tv_nsec < 0 || time.tv_nsec >= nanosecondsPerSecond) {
        return EINVAL;
    }
    std::timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_nsec += time.tv_nsec;
    if (deadline.tv_nsec >= nanosecondsPerSecond) {
        deadline.tv_nsec -= nanosecondsPerSecond;
        ++deadline.tv_sec;
    }
    constexpr auto latest = std::numeric_limits<std::time_t>::max();
    deadline.tv_sec = time.tv_sec > latest - deadline.tv_sec ? latest : deadline.tv_sec + time.tv_sec;
    return pthread_cond_clockwait(condition, mutex, CLOCK_MONOTONIC, &deadline);
}

}  // namespace VDIFrameworkCommon::platform
