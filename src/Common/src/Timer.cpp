#include "VDIFrameworkCommon/Timer.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace VDIFrameworkCommon {

namespace {

constexpr int notSet = -1;

// From the largest int on to the smallest. Leaves out the number that says "not set".
int numberAfter(int number) {
    const int next = static_cast<int>(static_cast<unsigned>(number) + 1U);
    return next == notSet ? 0 : next;
}

// Removes the entry of a number. Most timers that are killed are young, and the newest has the last entry, which takes
// no search among 100,000 others.
bool erase(std::map<int, Timer*>& timers, int number) {
    if (timers.empty()) {
        return false;
    }
    const auto last = std::prev(timers.end());
    if (last->first != number) {
        return timers.erase(number) != 0;
    }
    timers.erase(last);
    return true;
}

}  // namespace

std::map<int, Timer*>& Timer::s_idMap = *new std::map<int, Timer*>;
std::mutex& Timer::s_idMapMutex = *new std::mutex;
int Timer::s_idSequence = 1;

Timer::Timer() = default;

Timer::~Timer() {
    if (id_ != notSet) {
        std::printf("Timer::~Timer: Timer %p: missing killTimer() call\n", static_cast<void*>(this));
        std::fflush(stdout);  // abort() does not
        std::abort();
    }
}

int Timer::setTimer(unsigned int periodMs, bool periodic) {
    if (periodMs == 0) {
        std::fprintf(stderr, "Timer::setTimer: %p: invalid period 0 ms\n", static_cast<void*>(this));
        return -1;
    }
    const std::lock_guard mapLock(s_idMapMutex);
    // Used up even if this call fails: no two calls ever share a number.
    const int id = s_idSequence;
    s_idSequence = numberAfter(id);
    const std::lock_guard lock(mutex_);
    if (id_ != notSet) {
        return -1;
    }
    const auto entry = s_idMap.try_emplace(s_idMap.end(), id, this);
    if (entry->second != this) {
        // The wording is the other case's, which is silent; log readers know this one by it.
        std::fprintf(stderr, "Timer::setTimer: Timer %p not set (already set?)\n", static_cast<void*>(this));
        return -1;
    }
    int result = 0;
    try {
        result = timer_.scheduleTimer(id, periodMs, periodic);
    } catch (...) {
        s_idMap.erase(entry);
        throw;
    }
    if (result < 0) {
        s_idMap.erase(entry);
        std::fprintf(stderr, "Timer::setTimer: Timer %p: scheduleTimer failed (return value %d)\n",
                     static_cast<void*>(this), result);
        return result;
    }
    // killed_ stays: a timer that was killed is armed, but skipped each time. Hosts rely on a killed timer staying
    // silent, whoever sets it again. Test: Timer.SetAgainAfterAKillIsSkippedEachTime.
    id_ = id;
    return 0;
}

int Timer::setPeriodicTimer(unsigned int periodMs) {
    return setTimer(periodMs, true);
}

int Timer::setOneShotTimer(unsigned int periodMs) {
    return setTimer(periodMs, false);
}

void Timer::killTimer() {
    const std::lock_guard mapLock(s_idMapMutex);
    std::unique_lock lock(mutex_);
    if (erase(s_idMap, id_)) {
        timer_.stopTimer();
    }
    killed_ = true;
    // The map stays locked meanwhile, so no other timer can be set or killed until the callback has returned.
    idle_.wait(lock, [this] { return referenceCount_ == 0; });
    id_ = notSet;
}

void Timer::callback(int id) {
    Timer* timer = nullptr;
    bool referenced = false;
    {
        const std::lock_guard mapLock(s_idMapMutex);
        const auto entry = s_idMap.find(id);
        if (entry != s_idMap.end()) {
            timer = entry->second;
            referenced = timer->reference(1);
        }
    }
    if (timer == nullptr) {
        std::fprintf(stderr, "Timer::callback: Timer internal ID %d: not found\n", id);
    } else if (!referenced) {
        std::fprintf(stderr, "Timer::callback: Timer %p skipped (failed to acquire reference)\n",
                     static_cast<void*>(timer));
    } else {
        timer->onTimer();
        timer->release();
    }
}

bool Timer::reference(int maxReferences) {
    const std::lock_guard lock(mutex_);
    if (killed_ || referenceCount_ >= maxReferences) {
        return false;
    }
    ++referenceCount_;
    return true;
}

void Timer::release() {
    const std::lock_guard lock(mutex_);
    // Woken with the lock held: once it is given back, the one who waits may destroy the timer.
    if (referenceCount_-- == 1) {
        idle_.notify_one();
    }
}

}  // namespace VDIFrameworkCommon
