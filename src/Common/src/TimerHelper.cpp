#include "VDIFrameworkCommon/TimerHelper.h"

namespace VDIFrameworkCommon {

std::mutex& TimerHelper::sTimerMutex = *new std::mutex;

TimerCallback::~TimerCallback() = default;

int TimerHelper::scheduleTimer(TimerHelper*& slot, TimerCallback* callback, unsigned int periodMs, bool periodic) {
    const std::lock_guard lock(sTimerMutex);
    if (slot != nullptr) {
        slot->invalidate();
        delete slot;
        slot = nullptr;
    }
    int result = 0;
    slot = new TimerHelper(callback, periodMs, periodic, result);
    return result;
}

void TimerHelper::invalidateTimer(TimerHelper*& slot) {
    const std::lock_guard lock(sTimerMutex);
    if (slot != nullptr) {
        slot->invalidate();
        delete slot;
        slot = nullptr;
    }
}

TimerHelper::TimerHelper(TimerCallback* callback, unsigned int periodMs, bool periodic, int& result)
    : callback_(callback) {
    result = setTimer(periodMs, periodic);
}

TimerHelper::~TimerHelper() {
    invalidate();
}

void TimerHelper::invalidate() {
    killTimer();
    const ScopedWriteRWLock lock(callbackLock_);
    callback_ = nullptr;
}

void TimerHelper::onTimer() {
    const ScopedReadRWLock lock(callbackLock_);
    if (callback_ != nullptr) {
        callback_->onTimeout(this);
    }
}

}  // namespace VDIFrameworkCommon
