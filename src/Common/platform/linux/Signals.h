#pragma once

#include <csignal>

namespace VDIFrameworkCommon::platform {

/// Gives the calling process the signal state of a fresh one: nothing blocked, nothing ignored or handled. For a child
/// about to execute a program; async-signal-safe.
void resetSignals() noexcept;

/// Blocks every signal of the calling thread while it exists, and so of the threads and children made meanwhile.
class SignalBlock {
public:
    SignalBlock() noexcept;
    ~SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t previous_;
};

}  // namespace VDIFrameworkCommon::platform
