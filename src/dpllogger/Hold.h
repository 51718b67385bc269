#pragma once

#include <chrono>
#include <mutex>

namespace DPL::dpllogger {

/// Holds a mutex, unless its thread does already: a signal's handler may come back to a journal in the middle of an
/// operation, and must find out instead of waiting for itself for ever.
///
/// Belongs to the thread that made it.
class Hold {
public:
    /// Waits for other threads.
    explicit Hold(std::mutex& mutex);

    /// Waits for other threads until `limit` has passed.
    Hold(std::mutex& mutex, std::chrono::milliseconds limit);

    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    /// Tells whether the mutex is held by means of this object.
    explicit operator bool() const noexcept { return lock_.owns_lock(); }

    std::unique_lock<std::mutex>& lock() noexcept { return lock_; }

private:
    bool isWithinAnother() const noexcept;

    static thread_local Hold* latest_;  // of this thread

    std::unique_lock<std::mutex> lock_;
    Hold* before_;
};

}  // namespace DPL::dpllogger
