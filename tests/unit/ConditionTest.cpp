#include <VDIFrameworkCommon/Condition.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using VDIFrameworkCommon::Condition;
using VDIFrameworkCommon::Mutex;
using VDIFrameworkCommon::ScopedLock;

static_assert(!std::is_copy_constructible_v<Condition> && !std::is_move_constructible_v<Condition>);

// Threads that wait on a condition until they are let go; counts those that have begun and those that are through.
class Waiters {
public:
    explicit Waiters(int count) {
        for (int i = 0; i < count; ++i) {
            threads_.emplace_back([this] {
                const ScopedLock lock(mutex);
                ++waiting;
                arrived.signal();
                while (tickets == 0) {
                    EXPECT_EQ(condition.wait(mutex), 0);
                }
                --tickets;
                ++released;
                arrived.signal();
            });
        }
        const ScopedLock lock(mutex);
        while (waiting < count) {
            arrived.wait(mutex);
        }
    }
    ~Waiters() {
        {
            const ScopedLock lock(mutex);
            tickets = INT_MAX;
            condition.broadcast();
        }
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    Waiters(const Waiters&) = delete;
    Waiters& operator=(const Waiters&) = delete;

    void waitForReleased(int count) {
        const ScopedLock lock(mutex);
        while (released < count) {
            arrived.wait(mutex);
        }
    }

    Mutex mutex;
    Condition condition;
    Condition arrived;
    int waiting = 0;
    int tickets = 0;
    int released = 0;

private:
    std::vector<std::thread> threads_;
};

TEST(Condition, SignalWakesAWaiter) {
    Waiters waiters(2);
    {
        const ScopedLock lock(waiters.mutex);
        waiters.tickets = 1;
        EXPECT_EQ(waiters.condition.signal(), 0);
    }
    waiters.waitForReleased(1);
}

TEST(Condition, BroadcastWakesEveryWaiter) {
    Waiters waiters(3);
    {
        const ScopedLock lock(waiters.mutex);
        waiters.tickets = 3;
        EXPECT_EQ(waiters.condition.broadcast(), 0);
    }
    waiters.waitForReleased(3);
}

TEST(Condition, SignalsWithoutWaitersAreLost) {
    Mutex mutex;
    Condition condition;
    EXPECT_EQ(condition.signal(), 0);
    EXPECT_EQ(condition.broadcast(), 0);
    const ScopedLock lock(mutex);
    EXPECT_EQ(condition.timedWait(mutex, 1), ETIMEDOUT);
}

TEST(Condition, TimedWaitWaitsSecondsAndNanoseconds) {
    Mutex mutex;
    Condition condition;
    const ScopedLock lock(mutex);
    const auto start = steady_clock::now();
    EXPECT_EQ(condition.timedWait(mutex, 1500), ETIMEDOUT);
    EXPECT_GE(steady_clock::now() - start, 1500ms);
}

TEST(Condition, TimedWaitOfNothingTimesOutAtOnce) {
    Mutex mutex;
    Condition condition;
    const ScopedLock lock(mutex);
    EXPECT_EQ(condition.timedWait(mutex, 0), ETIMEDOUT);
}

TEST(Condition, TimedWaitReturnsZeroWhenSignalled) {
    Mutex mutex;
    Condition condition;
    bool waiting = false;
    bool signalled = false;
    std::thread signaller([&] {
        for (bool done = false; !done;) {
            const ScopedLock lock(mutex);
            if (waiting) {
                signalled = true;
                condition.signal();
                done = true;
            }
        }
    });
    {
        const ScopedLock lock(mutex);
        waiting = true;
        int result = 0;
        while (!signalled && result == 0) {
            result = condition.timedWait(mutex, LONG_MAX);
        }
        EXPECT_EQ(result, 0) << "the longest time is no error and does not end early";
    }
    signaller.join();
}

TEST(Condition, NegativeTimeIsInvalid) {
    Mutex mutex;
    Condition condition;
    const ScopedLock lock(mutex);
    for (const long time : {-1L, -999L, -1000L, -1500L, LONG_MIN}) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(condition.timedWait(mutex, time), EINVAL) << time;
        std::fflush(stdout);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Condition::timedWait: pthread_cond_timedwait_relative_np: EINVAL\n");
    }
}

TEST(Condition, WaitsOnTheMutexThatIsHeldOnce) {
    Mutex mutex;
    Condition condition;
    const ScopedLock lock(mutex);
    std::thread other;
    bool came = false;
    other = std::thread([&] {
        const ScopedLock inner(mutex);  // possible only while the waiter has given it back
        came = true;
        condition.signal();
    });
    while (!came) {
        EXPECT_EQ(condition.wait(mutex), 0);
    }
    other.join();
}

}  // namespace
