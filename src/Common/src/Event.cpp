#include "VDIFrameworkCommon/Event.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace VDIFrameworkCommon {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Times that the clock cannot count to mean: without limit.
steady_clock::time_point after(steady_clock::time_point start, milliseconds time) {
    constexpr auto latest = steady_clock::time_point::max();
    return time > std::chrono::floor<milliseconds>(latest - start) ? latest : start + time;
}

}  // namespace

struct Event::State {
    const bool autoReset;
    bool signaled;
    std::mutex mutex;
    std::condition_variable cond;

    // The caller holds the mutex and has seen the event signalled.
    void consume() {
        if (autoReset) {
            signaled = false;
        }
    }
};

Event::Event(bool autoReset) : state_(new State{.autoReset = autoReset, .signaled = false, .mutex = {}, .cond = {}}) {
}

Event::~Event() {
    delete state_;
}

bool Event::set() {
    const std::lock_guard lock(state_->mutex);
    if (!state_->signaled) {
        state_->signaled = true;
        if (state_->autoReset) {
            state_->cond.notify_one();
        } else {
            state_->cond.notify_all();
        }
    }
    return true;
}

bool Event::reset() {
    const std::lock_guard lock(state_->mutex);
    if (!state_->autoReset) {
        state_->signaled = false;
    }
    return !state_->autoReset;
}

bool Event::wait() {
    std::unique_lock lock(state_->mutex);
    state_->cond.wait(lock, [this] { return state_->signaled; });
    state_->consume();
    return true;
}

bool Event::timedWait(long limit) {
    std::unique_lock lock(state_->mutex);
    // Callers rely on the order of these checks: a negative limit fails without a look at the event.
    if (limit < 0) {
        return false;
    }
    const milliseconds time(limit);
    while (!state_->signaled) {
        if (limit == 0) {
            return false;
        }
        const auto start = steady_clock::now();
        state_->cond.wait_until(lock, after(start, time));
        // Not looked at again once the time is up: a signal that comes at that moment stays for the next wait.
        if (std::chrono::floor<milliseconds>(steady_clock::now() - start) >= time) {
            return false;
        }
    }
    state_->consume();
    return true;
}

}  // namespace VDIFrameworkCommon
