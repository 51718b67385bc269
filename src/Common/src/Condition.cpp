#include "VDIFrameworkCommon/Condition.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "MutexHandle.h"
#include "platform/RelativeWait.h"

namespace VDIFrameworkCommon {

Condition::Condition() : handle_(new pthread_cond_t) {
    if (pthread_cond_init(handle_, nullptr) != 0) {
        std::puts("pthread_cond_init: failed to initialize condition variable");
        std::fflush(stdout);  // abort() does not
        std::abort();
    }
}

Condition::~Condition() {
    pthread_cond_destroy(handle_);
    delete handle_;
}

int Condition::signal() {
    return pthread_cond_signal(handle_);
}

int Condition::broadcast() {
    return pthread_cond_broadcast(handle_);
}

int Condition::wait(Mutex& mutex) {
    return pthread_cond_wait(handle_, &mutex.handle_->mutex);
}

int Condition::timedWait(Mutex& mutex, long milliseconds) {
    const long seconds = milliseconds / 1000;
    const std::timespec relative{.tv_sec = seconds, .tv_nsec = (milliseconds - seconds * 1000) * 1'000'000};
    const int result = platform::waitRelative(handle_, &mutex.handle_->mutex, relative);
    if (result == EINVAL) {
        std::puts("Condition::timedWait: pthread_cond_timedwait_relative_np: EINVAL");
    }
    return result;
}

}  // namespace VDIFrameworkCommon
