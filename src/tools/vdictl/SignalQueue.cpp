#include "SignalQueue.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "Report.h"

namespace vdictl {

SignalQueue::SignalQueue(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    descriptor_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) {
        throw Failure("signals", "signalfd", errno);
    }
    pthread_sigmask(SIG_BLOCK, &set, &before_);
}

SignalQueue::~SignalQueue() {
    // One that came too late to be looked at must not end the process: it has a result by now.
    while (next(std::chrono::milliseconds(0))) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    close(descriptor_);
}

std::optional<signalfd_siginfo> SignalQueue::next(std::chrono::milliseconds limit) {
    pollfd readable{descriptor_, POLLIN, 0};
    signalfd_siginfo info{};
    poll(&readable, 1, static_cast<int>(limit.count()));
    return read(descriptor_, &info, sizeof info) == sizeof info ? std::optional(info) : std::nullopt;
}

signalfd_siginfo SignalQueue::next() {
    for (;;) {
        if (const auto info = next(std::chrono::milliseconds(-1))) {
            return *info;
        }
    }
}

}  // namespace vdictl
