#pragma once

namespace agent {

/// Turns SIGTERM, SIGINT and the end of the terminal (SIGHUP, unless it is ignored) into a readable descriptor.
///
/// Made before any other thread, so that every thread has the signals blocked and a thread of its own takes them. A
/// second SIGTERM or SIGINT ends the process at once.
class StopSignals {
public:
    StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// Readable once a signal has come.
    int descriptor() const { return readEnd_; }

private:
    int readEnd_ = -1;
};

}  // namespace agent
