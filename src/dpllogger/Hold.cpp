#include "Hold.h"

#include <thread>

namespace DPL::dpllogger {

thread_local Hold* Hold::latest_ = nullptr;

// What a handler has to find out is there before the mutex is taken, and until it has been released.
Hold::Hold(std::mutex& mutex) : lock_(mutex, std::defer_lock), before_(latest_) {
    latest_ = this;
    if (!isWithinAnother()) {
        lock_.lock();
    }
}

Hold::Hold(std::mutex& mutex, std::chrono::milliseconds limit) : lock_(mutex, std::defer_lock), before_(latest_) {
    latest_ = this;
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!isWithinAnother() && !lock_.try_lock() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

Hold::~Hold() {
    if (lock_.owns_lock()) {
        lock_.unlock();
    }
    // A fork holds many, and lets go of the first one first.
    Hold** link = &latest_;
    while (*link != this) {
        link = &(*link)->before_;
    }
    *link = before_;
}

bool Hold::isWithinAnother() const noexcept {
    const Hold* other = before_;
    while (other != nullptr && other->lock_.mutex() != lock_.mutex()) {
        other = other->before_;
    }
    return other != nullptr;
}

}  // namespace DPL::dpllogger
