#include <pthread.h>

#include "Fork.h"
#include "Signals.h"

namespace VDIFrameworkCommon::platform {

void resetSignals() noexcept {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    // The two that cannot be changed and those that the C library keeps for itself refuse; that is as it should be.
    beginUnwatched();
    for (int number = 1; number < NSIG; ++number) {
        ::sigaction(number, &standard, nullptr);
    }
    endUnwatched();
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

SignalBlock::SignalBlock() noexcept : previous_() {
    sigset_t all;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &previous_);
}

SignalBlock::~SignalBlock() {
    ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}

}  // namespace VDIFrameworkCommon::platform
