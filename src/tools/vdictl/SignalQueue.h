#pragma once

#include <sys/signalfd.h>

#include <chrono>
#include <csignal>
#include <initializer_list>
#include <optional>

namespace vdictl {

/// Takes signals as data instead of letting them end the process, which may have something to give back first.
///
/// Made before other threads, which inherit what is blocked. At its end what came and was not taken is dropped, and
/// everything is as before.
class SignalQueue {
public:
    explicit SignalQueue(std::initializer_list<int> signals);
    ~SignalQueue();
    SignalQueue(const SignalQueue&) = delete;
    SignalQueue& operator=(const SignalQueue&) = delete;

    /// The next signal, or nothing when none comes in time.
    std::optional<signalfd_siginfo> next(std::chrono::milliseconds limit);

    /// The next signal, however long it takes.
    signalfd_siginfo next();

    /// Readable when a signal has come.
    int descriptor() const { return descriptor_; }

    /// What was blocked before.
    const sigset_t& before() const { return before_; }

private:
    sigset_t before_{};
    int descriptor_ = -1;
};

}  // namespace vdictl
