#pragma once

#include <pthread.h>

#include "VDIFrameworkCommon/Export.h"
#include "VDIFrameworkCommon/Mutex.h"

namespace VDIFrameworkCommon {

/// A condition variable for the threads of one process, used with a `Mutex` that the caller holds exactly once.
///
/// Waiting with a mutex that is held recursively is not supported. Thread-safe, except for construction and
/// destruction. Results are those of the pthread calls: 0 or an error number.
class VDIFRAMEWORKCOMMON_EXPORT Condition {
public:
    /// Aborts the process, after a line on standard output, when the system cannot make a condition variable.
    Condition();
    ~Condition();
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /// Wakes one waiter, if there is one. The caller need not hold the mutex.
    int signal();

    /// Wakes every waiter. The caller need not hold the mutex.
    int broadcast();

    /// Gives `mutex` back, waits to be woken, without limit, and takes `mutex` again. May wake without a signal.
    int wait(Mutex& mutex);

    /// As `wait`, for at most `milliseconds`, measured on the monotonic clock.
    ///
    /// \param mutex  held by this thread exactly once, and so it is when the call returns
    /// \param milliseconds  0 or more
    /// \return 0 when woken, ETIMEDOUT when the time ran out, EINVAL (and a line on standard output) for a negative
    /// time
    int timedWait(Mutex& mutex, long milliseconds);

private:
    pthread_cond_t* handle_;
};

}  // namespace VDIFrameworkCommon
