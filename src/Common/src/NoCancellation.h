#pragma once

#include <pthread.h>

namespace VDIFrameworkCommon {

/// While one exists, its thread is not cancelled: a cancellation that took effect within a function that must not throw
/// would end the process. One that came meanwhile takes effect at the thread's next cancellation point.
class NoCancellation {
public:
    NoCancellation() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~NoCancellation() {
        int disabled = 0;
        pthread_setcancelstate(before_, &disabled);
    }
    NoCancellation(const NoCancellation&) = delete;
    NoCancellation& operator=(const NoCancellation&) = delete;

private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace VDIFrameworkCommon
