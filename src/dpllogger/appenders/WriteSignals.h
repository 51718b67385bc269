#pragma once

#include <csignal>

namespace DPL::dpllogger {

/// Keeps the signals that a write may raise from the host: SIGPIPE when nobody reads a pipe any more, SIGXFSZ when a
/// file reaches the largest size allowed. Their default is to end the process; the write's error number says as much.
///
/// While one exists the signals are blocked for its thread; one that a write has raised meanwhile is taken back at the
/// end. One that the host was sent before stays.
class WriteSignals {
public:
    WriteSignals() noexcept;
    ~WriteSignals();
    WriteSignals(const WriteSignals&) = delete;
    WriteSignals& operator=(const WriteSignals&) = delete;

private:
    sigset_t maskBefore_{};
    sigset_t ours_{};  // those of the two that were not pending before
};

}  // namespace DPL::dpllogger
