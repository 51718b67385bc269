// Timed waits as the system sees them: this program's own pthread calls stand in front of the C library's, note the
// deadline, and wake the caller when a test says so instead of waiting.

#include <VDIFrameworkCommon/Condition.h>
#include <VDIFrameworkCommon/Event.h>
#include <VDIFrameworkCommon/MacosxEvent.h>
#include <VDIFrameworkCommon/Mutex.h>
#include <VDIFrameworkCommon/ProcessMonitor.h>
#include <VDIFrameworkCommon/ThreadPool.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <functional>
#include <utility>
#include <vector>

#include "support/Background.h"
#include "support/Gate.h"
#include "support/Multiprocess.h"
#include "support/PoolTasks.h"
#include "support/RawObject.h"
#include "support/SystemCall.h"

namespace {

using VDIFrameworkCommon::Condition;
using VDIFrameworkCommon::CreateEventA;
using VDIFrameworkCommon::Event;
using VDIFrameworkCommon::Mutex;
using VDIFrameworkCommon::ProcessMonitor;
using VDIFrameworkCommon::ScopedLock;
using VDIFrameworkCommon::t_HANDLE;
using VDIFrameworkCommon::ThreadPool;
using VDIFrameworkCommon::WaitForSingleObject;

constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t millisecond = 1'000'000;

std::int64_t nanoseconds(const timespec& time) {
    return time.tv_sec * second + time.tv_nsec;
}

std::int64_t now(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return nanoseconds(time);
}

struct Wait {
    clockid_t clock;
    std::int64_t begin;     // on that clock
    std::int64_t deadline;  // on that clock
};

std::vector<Wait> waits;

// Whether no condition can be made.
bool conditionsFail = false;

// What takes the place of a wait, called with the caller's mutex held; returns its result. Without one the system
// waits.
std::function<int(pthread_mutex_t*)> instead;

/// Takes part in the timed waits of this process for as long as it lives.
class Stand {
public:
    explicit Stand(std::function<int(pthread_mutex_t*)> action) {
        waits.clear();
        instead = std::move(action);
    }
    ~Stand() { instead = nullptr; }
    Stand(const Stand&) = delete;
    Stand& operator=(const Stand&) = delete;
};

constinit SystemCall<int(pthread_cond_t*, const pthread_condattr_t*)> initCondition("pthread_cond_init");
constinit SystemCall<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)> waitOnClock(
    "pthread_cond_clockwait");
constinit SystemCall<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> waitOnCondition("pthread_cond_timedwait");

void letTimePass(std::int64_t time) {
    const timespec duration{time / second, time % second};
    nanosleep(&duration, nullptr);
}

}  // namespace

extern "C" {

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
    return conditionsFail ? ENOMEM : initCondition.get()(condition, attributes);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* deadline) {
    if (!instead) {
        return waitOnClock.get()(condition, mutex, clock, deadline);
    }
    waits.push_back({clock, now(clock), nanoseconds(*deadline)});
    return instead(mutex);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    if (!instead) {
        return waitOnCondition.get()(condition, mutex, deadline);
    }
    waits.push_back({CLOCK_REALTIME, now(CLOCK_REALTIME), nanoseconds(*deadline)});
    return instead(mutex);
}

}  // extern "C"

namespace {

TEST(EventDeadline, EachWakeUpWithoutASignalBeginsTheWholeTimeAnew) {
    Event event(true);
    constexpr long time = 60'000;
    const Stand stand([&](pthread_mutex_t* mutex) {
        letTimePass(5 * millisecond);
        if (waits.size() == 4) {
            pthread_mutex_unlock(mutex);
            event.set();
            pthread_mutex_lock(mutex);
        }
        return 0;
    });
    EXPECT_TRUE(event.timedWait(time));
    ASSERT_EQ(waits.size(), 4U);
    for (std::size_t i = 1; i < waits.size(); ++i) {
        EXPECT_GE(waits[i].deadline, waits[i - 1].begin + (time + 5) * millisecond) << "reckoned from the wake-up";
        EXPECT_LE(waits[i].deadline, waits[i].begin + time * millisecond);
    }
}

TEST(EventDeadline, ASignalAtTheLastMomentStaysForTheNextWait) {
    Event event(true);
    constexpr long time = 5;
    {
        const Stand stand([&](pthread_mutex_t* mutex) {
            pthread_mutex_unlock(mutex);
            event.set();
            pthread_mutex_lock(mutex);
            letTimePass(time * millisecond);
            return 0;
        });
        EXPECT_FALSE(event.timedWait(time));
        EXPECT_EQ(waits.size(), 1U);
    }
    EXPECT_TRUE(event.timedWait(0));
}

TEST(ConditionDeadline, IsOnTheMonotonicClock) {
    Mutex mutex;
    Condition condition;
    for (const long time : {0L, 1L, 999L, 1'500L, 86'400'000L}) {
        const Stand stand([](pthread_mutex_t* /*mutex*/) { return ETIMEDOUT; });
        const std::int64_t before = now(CLOCK_MONOTONIC);
        const ScopedLock lock(mutex);
        EXPECT_EQ(condition.timedWait(mutex, time), ETIMEDOUT);
        ASSERT_EQ(waits.size(), 1U);
        EXPECT_EQ(waits[0].clock, CLOCK_MONOTONIC);
        EXPECT_GE(waits[0].deadline, before + time * millisecond);
        EXPECT_LE(waits[0].deadline, waits[0].begin + time * millisecond);
    }
}

CHILD_MAIN(makesAConditionThatCannotBe) {
    conditionsFail = true;
    const Condition condition;
}

TEST(Condition, ThatCannotBeMadeEndsTheProcess) {
    multiprocess::Child child("makesAConditionThatCannotBe");
    EXPECT_EQ(child.join(), 128 + SIGABRT);
    EXPECT_EQ(child.output(), "pthread_cond_init: failed to initialize condition variable\n");
}

TEST(MonitorDeadline, IsTwoSecondsAway) {
    constexpr std::int64_t interval = 2000 * millisecond;
    std::atomic<int> count{0};
    const Stand stand([&](pthread_mutex_t* mutex) {
        pthread_mutex_unlock(mutex);
        letTimePass(millisecond);
        pthread_mutex_lock(mutex);
        ++count;
        return 0;
    });
    ProcessMonitor monitor({});
    waitUntil([&] { return count >= 3; });
    monitor.stop();
    for (std::size_t i = 1; i < waits.size(); ++i) {
        EXPECT_GE(waits[i].deadline, waits[i - 1].begin + interval);
        EXPECT_LE(waits[i].deadline, waits[i].begin + interval);
    }
}

TEST(EventDeadline, IsOnTheMonotonicClock) {
    Event event(true);
    constexpr long time = 60'000;
    const Stand stand([&](pthread_mutex_t* mutex) {
        pthread_mutex_unlock(mutex);
        event.set();
        pthread_mutex_lock(mutex);
        return 0;
    });
    const std::int64_t before = now(CLOCK_MONOTONIC);
    EXPECT_TRUE(event.timedWait(time));
    ASSERT_EQ(waits.size(), 1U);
    EXPECT_EQ(waits[0].clock, CLOCK_MONOTONIC);
    EXPECT_GE(waits[0].deadline, before + time * millisecond);
    EXPECT_LE(waits[0].deadline, waits[0].begin + time * millisecond);
}

TEST(MacosxEventDeadline, IsOnTheWallClockAndWaitedForOnce) {
    t_HANDLE* const event = CreateEventA(nullptr, false, false, "A");
    ASSERT_NE(event, nullptr);
    for (const int time : {0, 1, 999, 1'000, 2'147'483'647}) {
        std::uint32_t clockBits = ~0U;
        const Stand stand([&](pthread_mutex_t* /*mutex*/) {
            // The C library keeps the clock of a condition in the second bit of the word at 36.
            std::memcpy(&clockBits, raw::read("A_event0").data() + 36, sizeof clockBits);
            return ETIMEDOUT;
        });
        const std::int64_t before = now(CLOCK_REALTIME) / 1'000 * 1'000;
        EXPECT_EQ(WaitForSingleObject(event, time), 64);
        ASSERT_EQ(waits.size(), 1U);
        EXPECT_EQ(waits[0].clock, CLOCK_REALTIME);
        EXPECT_EQ(clockBits & 2U, 0U) << "and so says the condition";
        EXPECT_GE(waits[0].deadline, before + time * millisecond);
        EXPECT_LE(waits[0].deadline, waits[0].begin + time * millisecond);
    }
}

TEST(PoolDeadline, AnEarlyWakeUpBeginsTheIdleTimeAnew) {
    constexpr unsigned idleSeconds = 3600;
    Gate end;
    std::atomic<bool> seen{false};
    const Stand stand([&](pthread_mutex_t* mutex) {
        if (waits.size() < 4) {
            letTimePass(5 * millisecond);
            return 0;
        }
        seen = true;
        pthread_mutex_unlock(mutex);
        end.wait();
        pthread_mutex_lock(mutex);
        return 0;
    });
    ThreadPool pool(1, 1, idleSeconds);
    waitUntil([&] { return seen.load(); });
    for (std::size_t i = 0; i < 4; ++i) {
        const std::int64_t latest = waits[i].begin + idleSeconds * second;
        EXPECT_LE(waits[i].deadline, latest);
        if (i != 0) {
            EXPECT_GE(waits[i].deadline, waits[i - 1].begin + idleSeconds * second + 5 * millisecond);
        }
    }
    // The thread runs this task before it waits again, which it then does without the stand.
    const auto task = pooltasks::make([] { instead = nullptr; });
    Background enqueuer([&] { pool.enqueue(task, true, false); });
    waitUntil([&] { return pool.queueSize() == 1; });
    end.open();
    enqueuer.join();
}

}  // namespace
