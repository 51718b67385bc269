#pragma once

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <thread>

/// A thread of a test that is expected to block.
class Background {
public:
    explicit Background(std::function<void()> body);
    /// Joins.
    ~Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    /// Waits until the thread sleeps in the system, or has ended.
    void waitUntilAsleep() const;

    bool ended() const { return ended_; }

    void join();

private:
    std::atomic<pid_t> id_{0};
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

/// Waits for something that another thread or process brings about. What never comes ends by the test's time limit.
void waitUntil(const std::function<bool()>& condition);
