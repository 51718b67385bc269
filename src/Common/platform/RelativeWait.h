#pragma once

#include <pthread.h>

#include <ctime>

namespace VDIFrameworkCommon::platform {

/// Waits on a condition that was made with default attributes for at most `time`, counted from now.
///
/// \return 0 when woken, ETIMEDOUT when the time ran out, EINVAL for a time that is negative or not normalised
int waitRelative(pthread_cond_t* condition, pthread_mutex_t* mutex, const std::timespec& time) noexcept;

}  // namespace VDIFrameworkCommon::platform
