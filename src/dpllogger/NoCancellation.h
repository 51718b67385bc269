#pragma once

#include <pthread.h>

namespace DPL::dpllogger {

/// While one exists, its thread is not cancelled: writes are cancellation points, and a thread that ended in the middle
/// of a record would take the log's locks with it. A cancellation that came meanwhile takes effect at the thread's next
/// cancellation point.
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

}  // namespace DPL::dpllogger
