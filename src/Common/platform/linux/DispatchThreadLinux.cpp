#include <sys/prctl.h>

#include <chrono>
#include <exception>
#include <thread>

#include "platform/ThreadNaming.h"
#include "platform/linux/DispatchThread.h"

namespace VDIFrameworkCommon::platform {

using std::chrono::nanoseconds;
using std::chrono::steady_clock;

std::int64_t monotonicNow() noexcept {
    return nanoseconds(steady_clock::now().time_since_epoch()).count();
}

bool DispatchThread::start() noexcept {
    try {
        std::thread([this] { run(); }).detach();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void DispatchThread::wakeAt(std::int64_t due) noexcept {
    {
        const CheckedLock lock(mutex_);
        due_ = due;
    }
    changed_.notify_one();
}

void DispatchThread::run() noexcept {
    setCurrentThreadName("VDITimers");
    // The system may delay a sleeper to wake several at once; by default for longer than all the rest takes.
    prctl(PR_SET_TIMERSLACK, 1UL);
    for (;;) {
        queue_.dispatch(&monotonicNow);
        sleepUntilDue();
    }
}

void DispatchThread::sleepUntilDue() noexcept {
    CheckedLock lock(mutex_);
    while (monotonicNow() < due_) {
        if (due_ == TimerQueue::never) {
            changed_.wait(lock.native());
        } else {
            changed_.wait_until(lock.native(), steady_clock::time_point(nanoseconds(due_)));
        }
    }
}

}  // namespace VDIFrameworkCommon::platform
