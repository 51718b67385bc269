#include <VDIFrameworkCommon/Timer.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/Background.h"
#include "support/Gate.h"
#include "support/Multiprocess.h"
#include "support/Threads.h"

namespace {

using multiprocess::Child;
using multiprocess::step;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using VDIFrameworkCommon::Timer;
using VDIFrameworkCommon::TimerID;

static_assert(std::is_abstract_v<Timer> && !std::is_copy_constructible_v<Timer>);
static_assert(sizeof(TimerID) == sizeof(void*));
static_assert(std::is_same_v<decltype(&TimerID::timer_callback), void (*)(__CFRunLoopTimer*, void*)>);

constexpr unsigned anHourMs = 3'600'000;

class CountingTimer : public Timer {
public:
    explicit CountingTimer(std::function<void()> body = {}) : body_(std::move(body)) {}
    ~CountingTimer() override { killTimer(); }
    CountingTimer(const CountingTimer&) = delete;
    CountingTimer& operator=(const CountingTimer&) = delete;

    void onTimer() override {
        if (body_) {
            body_();
        }
        ++expiries_;
    }
    int expiries() const { return expiries_; }
    void waitForExpiries(int count) const {
        waitUntil([&] { return expiries() >= count; });
    }

private:
    std::function<void()> body_;
    std::atomic<int> expiries_{0};
};

std::string line(const char* format, const void* timer) {
    char text[200];
    std::snprintf(text, sizeof text, format, timer);
    return text;
}

// What is written to standard error meanwhile.
std::string errorsOf(const std::function<void()>& body) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

TEST(Timer, FiresOnceOnTheThreadOfTheRunLoop) {
    const auto before = threads::count();
    std::string shown;
    CountingTimer timer([&] { shown = threads::ownName(); });
    EXPECT_EQ(threads::count(), before) << "no thread before the first timer";
    EXPECT_EQ(timer.setOneShotTimer(1), 0);
    timer.waitForExpiries(1);
    EXPECT_EQ(shown, "VDITimers");
    EXPECT_EQ(threads::count(), before + 1);
    CountingTimer later;
    later.setOneShotTimer(20);
    later.waitForExpiries(1);
    EXPECT_EQ(timer.expiries(), 1);
}

TEST(Timer, AllTimersFireOnOneThread) {
    std::atomic<pid_t> thread{0};
    std::atomic<bool> same{true};
    std::vector<std::unique_ptr<CountingTimer>> timers;
    for (unsigned i = 0; i < 50; ++i) {
        timers.push_back(std::make_unique<CountingTimer>([&] {
            pid_t expected = 0;
            if (!thread.compare_exchange_strong(expected, gettid()) && expected != gettid()) {
                same = false;
            }
        }));
        EXPECT_EQ(timers.back()->setTimer(1 + i % 3, i % 2 == 0), 0);
    }
    for (const auto& timer : timers) {
        timer->waitForExpiries(1);
    }
    EXPECT_TRUE(same);
    EXPECT_NE(thread, getpid());
}

TEST(Timer, NeverFiresEarly) {
    for (const unsigned period : {1U, 7U, 30U}) {
        steady_clock::time_point fired;
        CountingTimer timer([&] { fired = steady_clock::now(); });
        const auto start = steady_clock::now();
        timer.setOneShotTimer(period);
        timer.waitForExpiries(1);
        EXPECT_GE(fired - start, milliseconds(period));
    }
}

TEST(Timer, PeriodicFiresUntilItIsKilled) {
    CountingTimer timer;
    const auto start = steady_clock::now();
    EXPECT_EQ(timer.setPeriodicTimer(2), 0);
    timer.waitForExpiries(10);
    EXPECT_GE(steady_clock::now() - start, milliseconds(20));
    timer.killTimer();
    const int expiries = timer.expiries();
    CountingTimer other;
    other.setPeriodicTimer(2);
    other.waitForExpiries(3);
    EXPECT_EQ(timer.expiries(), expiries);
}

TEST(Timer, AnEarlierTimerIsNotHeldUpByALaterOne) {
    CountingTimer late;
    late.setOneShotTimer(anHourMs);
    CountingTimer soon;
    soon.setOneShotTimer(5);
    CountingTimer sooner;
    sooner.setOneShotTimer(1);
    soon.waitForExpiries(1);
    sooner.waitForExpiries(1);
    EXPECT_EQ(late.expiries(), 0);
}

TEST(Timer, APeriodOfZeroIsRefused) {
    CountingTimer timer;
    for (const bool periodic : {false, true}) {
        EXPECT_EQ(errorsOf([&] { EXPECT_EQ(timer.setTimer(0, periodic), -1); }),
                  line("Timer::setTimer: %p: invalid period 0 ms\n", static_cast<Timer*>(&timer)));
    }
    EXPECT_EQ(timer.setTimer(anHourMs, false), 0) << "it was left unset";
}

TEST(Timer, SettingItTwiceIsRefusedSilently) {
    CountingTimer timer;
    ASSERT_EQ(timer.setPeriodicTimer(anHourMs), 0);
    EXPECT_EQ(errorsOf([&] { EXPECT_EQ(timer.setOneShotTimer(1), -1); }), "");
}

TEST(Timer, AOneShotStaysSetAfterItFired) {
    CountingTimer timer;
    timer.setOneShotTimer(1);
    timer.waitForExpiries(1);
    EXPECT_EQ(timer.setOneShotTimer(1), -1);
    timer.killTimer();
    EXPECT_EQ(timer.setOneShotTimer(anHourMs), 0);
}

TEST(Timer, SetAgainAfterAKillIsSkippedEachTime) {
    CountingTimer timer;
    timer.killTimer();
    const std::string skipped =
        line("Timer::callback: Timer %p skipped (failed to acquire reference)\n", static_cast<Timer*>(&timer));
    const std::string errors = errorsOf([&] {
        EXPECT_EQ(timer.setPeriodicTimer(1), 0);
        CountingTimer other;
        other.setPeriodicTimer(1);
        other.waitForExpiries(20);
        timer.killTimer();
    });
    EXPECT_EQ(timer.expiries(), 0);
    ASSERT_GE(errors.size(), 2 * skipped.size());
    EXPECT_EQ(errors.substr(0, 2 * skipped.size()), skipped + skipped);
}

TEST(Timer, AnUnknownNumberIsReported) {
    EXPECT_EQ(errorsOf([] { Timer::callback(12345); }), "Timer::callback: Timer internal ID 12345: not found\n");
    EXPECT_EQ(errorsOf([] { TimerID::timer_callback(nullptr, nullptr); }),
              "Timer::callback: Timer internal ID 0: not found\n");
    // NOLINTNEXTLINE(performance-no-int-to-ptr): numbers travel in the shape of a pointer
    EXPECT_EQ(errorsOf([] { TimerID::timer_callback(nullptr, reinterpret_cast<void*>(std::intptr_t{-7})); }),
              "Timer::callback: Timer internal ID -7: not found\n");
}

TEST(Timer, ReferencesAreCountedUpToTheMaximum) {
    CountingTimer timer;
    EXPECT_FALSE(timer.reference(0));
    EXPECT_TRUE(timer.reference(1));
    EXPECT_FALSE(timer.reference(1));
    EXPECT_TRUE(timer.reference(2));
    timer.release();
    timer.release();
    EXPECT_TRUE(timer.reference(1));
    timer.release();
    timer.killTimer();
    EXPECT_FALSE(timer.reference(1));
}

TEST(Timer, KillWaitsForARunningCallback) {
    Gate begun;
    Gate gate;
    CountingTimer timer([&] {
        begun.open();
        gate.wait();
    });
    timer.setPeriodicTimer(1);
    begun.wait();
    Background killer([&] { timer.killTimer(); });
    killer.waitUntilAsleep();
    EXPECT_FALSE(killer.ended());
    gate.open();
    killer.join();
    EXPECT_EQ(timer.expiries(), 1);
}

TEST(Timer, WhileAKillWaitsNoOtherTimerCanBeSetOrKilled) {
    Gate begun;
    Gate gate;
    CountingTimer timer([&] {
        begun.open();
        gate.wait();
    });
    CountingTimer another;
    CountingTimer armed;
    armed.setOneShotTimer(anHourMs);
    timer.setOneShotTimer(1);
    begun.wait();
    Background killer([&] { timer.killTimer(); });
    killer.waitUntilAsleep();
    Background setter([&] { another.setOneShotTimer(anHourMs); });
    Background otherKiller([&] { armed.killTimer(); });
    setter.waitUntilAsleep();
    otherKiller.waitUntilAsleep();
    EXPECT_FALSE(killer.ended() || setter.ended() || otherKiller.ended());
    gate.open();
    killer.join();
    setter.join();
    otherKiller.join();
    another.killTimer();
}

TEST(Timer, ACallbackMayUseOtherTimers) {
    CountingTimer second;
    CountingTimer third;
    third.setPeriodicTimer(1);
    CountingTimer first([&] {
        second.setOneShotTimer(1);
        third.killTimer();
    });
    first.setOneShotTimer(5);
    second.waitForExpiries(1);
    first.waitForExpiries(1);
    EXPECT_EQ(third.setOneShotTimer(anHourMs), 0) << "it was killed";
}

TEST(Timer, ACallbackLongerThanItsPeriodNeverOverlapsItself) {
    std::atomic<int> inside{0};
    std::atomic<bool> overlapped{false};
    CountingTimer other;
    CountingTimer slow([&] {
        if (++inside != 1) {
            overlapped = true;
        }
        std::this_thread::sleep_for(milliseconds(5));
        --inside;
    });
    slow.setPeriodicTimer(1);
    other.setPeriodicTimer(1);
    slow.waitForExpiries(10);
    other.waitForExpiries(5);
    EXPECT_FALSE(overlapped);
}

TEST(Timer, AHundredThousandFireOnceEach) {
    constexpr int count = 100'000;
    static std::atomic<int> expiries{0};
    struct OneShot : Timer {
        int own = 0;
        void onTimer() override {
            ++own;
            ++expiries;
        }
    };
    std::vector<OneShot> timers(count);
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(timers[static_cast<std::size_t>(i)].setOneShotTimer(1 + static_cast<unsigned>(i * 7 % 400)), 0);
    }
    waitUntil([] { return expiries >= count; });
    for (OneShot& timer : timers) {
        timer.killTimer();
        EXPECT_EQ(timer.own, 1);
    }
    EXPECT_EQ(expiries, count);
}

CHILD_MAIN(destroysASetTimer) {
    struct Forgotten : Timer {
        void onTimer() override {}
    };
    auto* const timer = new Forgotten;
    timer->setOneShotTimer(anHourMs);
    step(line("%p", static_cast<Timer*>(timer)));
    delete timer;
    step("survived");
}

TEST(Timer, DestroyingASetOneEndsTheProcess) {
    Child child("destroysASetTimer");
    const std::string address = child.next();
    EXPECT_EQ(child.join(), 128 + SIGABRT);
    EXPECT_EQ(child.output(), "Timer::~Timer: Timer " + address + ": missing killTimer() call\n");
}

CHILD_MAIN(killsItselfInItsCallback) {
    static std::atomic<bool> inside{false};
    struct Self : Timer {
        void onTimer() override {
            inside = true;
            killTimer();
            step("returned");
        }
    };
    auto* const timer = new Self;
    timer->setOneShotTimer(1);
    waitUntil([] { return inside && threads::isAsleep(threads::idOf("VDITimers")); });
    step("waits");
    multiprocess::await("end");
    _exit(0);
}

TEST(Timer, KillingItselfInItsCallbackWaitsForEver) {
    Child child("killsItselfInItsCallback");
    child.waitFor("waits");
    child.tell("end");
    EXPECT_EQ(child.join(), 0) << "and no other step was taken";
}

}  // namespace
