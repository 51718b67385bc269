#include "appenders/WriteSignals.h"

#include <cerrno>
#include <ctime>

namespace DPL::dpllogger {

namespace {

constexpr int writeSignals[] = {SIGPIPE, SIGXFSZ};

}  // namespace

WriteSignals::WriteSignals() noexcept {
    sigemptyset(&ours_);
    for (const int number : writeSignals) {
        sigaddset(&ours_, number);
    }
    pthread_sigmask(SIG_BLOCK, &ours_, &maskBefore_);
    for (const int number : writeSignals) {
        // One that was not blocked would have been delivered, so only a blocked one can be pending.
        sigset_t pending;
        if (sigismember(&maskBefore_, number) == 1 && sigpending(&pending) == 0 && sigismember(&pending, number) == 1) {
            sigdelset(&ours_, number);
        }
    }
}

WriteSignals::~WriteSignals() {
    const int error = errno;
    const timespec atOnce{0, 0};
    while (sigtimedwait(&ours_, nullptr, &atOnce) > 0 || errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr);
    errno = error;
}

}  // namespace DPL::dpllogger
