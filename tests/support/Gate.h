#pragma once

#include <condition_variable>
#include <mutex>

/// Closed until it is opened, then open for good. Thread-safe.
class Gate {
public:
    void open() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        opened_.notify_all();
    }

    void wait() {
        std::unique_lock lock(mutex_);
        opened_.wait(lock, [this] { return open_; });
    }

    bool isOpen() {
        const std::lock_guard lock(mutex_);
        return open_;
    }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool open_ = false;
};
