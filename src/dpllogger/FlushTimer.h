#pragma once

#include <pthread.h>

#include <condition_variable>
#include <mutex>

namespace DPL::dpllogger {

/// Calls back at most one second after it was armed.
///
/// Its thread is started by the first record that has to wait and ends by itself once a second passes without one, so
/// it is neither there at load nor keeps a process alive whose last own thread has ended.
///
/// Every operation is called with the mutex held that the timer was made with; so is `due`, which must not throw.
class FlushTimer {
public:
    FlushTimer(std::mutex& mutex, void (*due)(void*) noexcept, void* context) noexcept;
    /// Must have been stopped.
    ~FlushTimer();
    FlushTimer(const FlushTimer&) = delete;
    FlushTimer& operator=(const FlushTimer&) = delete;

    /// Returns false if nobody will call back: the timer was stopped, or no thread can be had.
    bool arm() noexcept;

    /// Waits for the thread's end, with the mutex released meanwhile.
    void stop(std::unique_lock<std::mutex>& lock) noexcept;

    /// In a forked child: the thread is the parent's.
    void forgetThread() noexcept;

private:
    static void* threadMain(void* timer);
    void run();
    bool start() noexcept;

    std::mutex& mutex_;
    void (*const due_)(void*) noexcept;
    void* const context_;
    union {
        // In a union because it is not destroyed in a forked child, see forgetThread().
        std::condition_variable stopped_;
    };
    pthread_t thread_{};
    bool started_ = false;  // there is a thread to join
    bool running_ = false;  // it will look at `armed_` again
    bool armed_ = false;
    bool stopping_ = false;
};

}  // namespace DPL::dpllogger
