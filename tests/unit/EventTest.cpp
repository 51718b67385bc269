#include <VDIFrameworkCommon/Event.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/Background.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using VDIFrameworkCommon::Event;

static_assert(!std::is_copy_constructible_v<Event> && !std::is_move_constructible_v<Event>);

constexpr long aLongTime = 60'000;

TEST(Event, BeginsNotSignalled) {
    EXPECT_FALSE(Event(false).timedWait(0));
    EXPECT_FALSE(Event(true).timedWait(0));
}

TEST(ManualResetEvent, StaysSignalledUntilReset) {
    Event event(false);
    EXPECT_TRUE(event.set());
    EXPECT_TRUE(event.wait());
    EXPECT_TRUE(event.wait());
    EXPECT_TRUE(event.timedWait(0));
    EXPECT_TRUE(event.reset());
    EXPECT_FALSE(event.timedWait(0));
}

TEST(ManualResetEvent, TimedWaitTakesItsTime) {
    Event event(false);
    event.set();
    event.reset();
    const auto start = steady_clock::now();
    EXPECT_FALSE(event.timedWait(10));
    EXPECT_GE(steady_clock::now() - start, 10ms);
}

TEST(AutoResetEvent, OneWaitConsumesTheSignal) {
    Event event(true);
    EXPECT_TRUE(event.set());
    EXPECT_TRUE(event.wait());
    EXPECT_FALSE(event.timedWait(0));
}

TEST(AutoResetEvent, TimedWaitConsumesTheSignal) {
    Event event(true);
    event.set();
    EXPECT_TRUE(event.timedWait(0));
    EXPECT_FALSE(event.timedWait(0));
}

TEST(AutoResetEvent, SignalsDoNotAccumulate) {
    Event event(true);
    event.set();
    event.set();
    EXPECT_TRUE(event.timedWait(0));
    EXPECT_FALSE(event.timedWait(0));
}

TEST(AutoResetEvent, ResetLeavesItSignalled) {
    Event event(true);
    EXPECT_FALSE(event.reset());
    event.set();
    EXPECT_FALSE(event.reset());
    EXPECT_TRUE(event.timedWait(0));
}

TEST(Event, NegativeTimeFailsAtOnceAndLeavesTheSignal) {
    for (const bool autoReset : {false, true}) {
        Event event(autoReset);
        event.set();
        EXPECT_FALSE(event.timedWait(-1));
        EXPECT_FALSE(event.timedWait(LONG_MIN));
        EXPECT_TRUE(event.timedWait(0));
    }
}

TEST(Event, TimesBeyondTheClockMeanWithoutLimit) {
    for (const long time : {LONG_MAX, 9'300'000'000'000L}) {
        Event event(true);
        std::thread setter([&] { event.set(); });
        EXPECT_TRUE(event.timedWait(time));
        setter.join();
    }
}

TEST(ManualResetEvent, SetWakesEveryWaiter) {
    Event event(false);
    std::vector<std::unique_ptr<Background>> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.push_back(std::make_unique<Background>([&] { event.wait(); }));
        waiters.back()->waitUntilAsleep();
    }
    event.set();
    for (const auto& waiter : waiters) {
        waiter->join();
        EXPECT_TRUE(waiter->ended());
    }
}

TEST(AutoResetEvent, SetWakesExactlyOneWaiter) {
    Event event(true);
    Event passed(true);
    std::atomic<int> through{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] {
            event.wait();
            ++through;
            passed.set();
        });
    }
    for (int released = 1; released <= 3; ++released) {
        event.set();
        EXPECT_TRUE(passed.wait());
        // Two through on one signal would show here or leave the last join hanging.
        EXPECT_EQ(through, released);
        EXPECT_FALSE(event.timedWait(0)) << "the waiter took the signal";
    }
    for (std::thread& waiter : waiters) {
        waiter.join();
    }
}

TEST(AutoResetEvent, EverySignalReachesAWaiterAcrossThreads) {
    Event ping(true);
    Event pong(true);
    std::thread other([&] {
        for (int i = 0; i < 2000; ++i) {
            EXPECT_TRUE(ping.timedWait(aLongTime));
            pong.set();
        }
    });
    for (int i = 0; i < 2000; ++i) {
        ping.set();
        EXPECT_TRUE(pong.timedWait(aLongTime));
    }
    other.join();
}

}  // namespace
