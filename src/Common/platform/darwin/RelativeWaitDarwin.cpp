#include "platform/RelativeWait.h"

namespace VDIFrameworkCommon::platform {

int waitRelative(pthread_cond_t* condition, pthread_mutex_t* mutex, const std::timespec& time) noexcept {
    return pthread_cond_timedwait_relative_np(condition, mutex, &time);
}

}  // namespace VDIFrameworkCommon::platform
