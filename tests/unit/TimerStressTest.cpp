// Timers that are set, killed and destroyed by several threads while they fire.

#include <VDIFrameworkCommon/Timer.h>
#include <VDIFrameworkCommon/TimerHelper.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

using VDIFrameworkCommon::Timer;
using VDIFrameworkCommon::TimerCallback;
using VDIFrameworkCommon::TimerHelper;

constexpr int workers = 4;
constexpr int rounds = 400;

std::atomic<int> expiries{0};

void inParallel(void (*body)(unsigned seed)) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < workers; ++i) {
        threads.emplace_back(body, i + 1);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// Waits for up to about a period, so that kills meet timers that are just firing.
void linger(unsigned& random) {
    random = random * 1664525U + 1013904223U;
    std::this_thread::sleep_for(std::chrono::microseconds((random >> 8) % 1500));
}

// Plain on purpose: a callback that comes after the kill is a data race, which the thread sanitizer reports.
struct Watched : Timer {
    long plain = 0;
    bool killed = false;
    bool calledAfterKill = false;
    void onTimer() override {
        ++plain;
        calledAfterKill = calledAfterKill || killed;
        ++expiries;
    }
};

TEST(TimerStress, NoCallbackComesAfterAKill) {
    inParallel([](unsigned seed) {
        unsigned random = seed;
        for (int i = 0; i < rounds; ++i) {
            Watched timer;
            ASSERT_EQ(timer.setTimer(1, i % 2 == 0), 0);
            linger(random);
            timer.killTimer();
            timer.killed = true;
            const long seen = timer.plain;
            std::this_thread::yield();
            EXPECT_EQ(timer.plain, seen);
            EXPECT_FALSE(timer.calledAfterKill);
        }
    });
    EXPECT_GT(expiries, 0);
}

struct Owner : TimerCallback {
    long plain = 0;
    void onTimeout(TimerHelper* /*timer*/) override {
        ++plain;
        ++expiries;
    }
};

TEST(TimerStress, NoCallbackComesAfterInvalidation) {
    inParallel([](unsigned seed) {
        unsigned random = seed;
        TimerHelper* slot = nullptr;
        auto owner = std::make_unique<Owner>();
        for (int i = 0; i < rounds; ++i) {
            ASSERT_EQ(TimerHelper::scheduleTimer(slot, owner.get(), 1, i % 2 == 0), 0);
            linger(random);
            if (i % 3 == 0) {
                TimerHelper::invalidateTimer(slot);
                owner = std::make_unique<Owner>();
            } else {
                auto next = std::make_unique<Owner>();
                ASSERT_EQ(TimerHelper::scheduleTimer(slot, next.get(), 1, true), 0);
                owner = std::move(next);
            }
        }
        TimerHelper::invalidateTimer(slot);
    });
    EXPECT_GT(expiries, 0);
}

TEST(TimerStress, OneTimerMayBeKilledByManyThreads) {
    for (int i = 0; i < rounds; ++i) {
        Watched timer;
        timer.setPeriodicTimer(1);
        std::thread first([&] { timer.killTimer(); });
        std::thread second([&] { timer.killTimer(); });
        timer.killTimer();
        first.join();
        second.join();
    }
}

TEST(TimerStress, OneSlotMayBeUsedByManyThreads) {
    static TimerHelper* slot = nullptr;
    static Owner owner;  // its callbacks come from the one dispatch thread
    inParallel([](unsigned seed) {
        unsigned random = seed;
        for (int i = 0; i < rounds; ++i) {
            if (i % 3 == 0) {
                TimerHelper::invalidateTimer(slot);
            } else {
                ASSERT_EQ(TimerHelper::scheduleTimer(slot, &owner, 1, i % 2 == 0), 0);
            }
            linger(random);
        }
    });
    TimerHelper::invalidateTimer(slot);
    EXPECT_EQ(slot, nullptr);
    const long calls = owner.plain;
    std::this_thread::yield();
    EXPECT_EQ(owner.plain, calls);
    EXPECT_GT(calls, 0);
}

}  // namespace
