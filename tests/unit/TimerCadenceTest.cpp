// Timers on a run loop whose clock is moved by hand.

#include <VDIFrameworkCommon/Timer.h>
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/AllocationCounter.h"
#include "support/PrivateAccess.h"
#include "support/fakes/FakeRunLoop.h"

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using VDIFrameworkCommon::Timer;

PRIVATE_MEMBER(idSequence, Timer::s_idSequence);

class FakedTimer : public Timer {
public:
    explicit FakedTimer(std::function<void()> body = {}) : body_(std::move(body)) {}
    ~FakedTimer() override { killTimer(); }
    FakedTimer(const FakedTimer&) = delete;
    FakedTimer& operator=(const FakedTimer&) = delete;

    void onTimer() override {
        times_.push_back(fakes::now());
        if (body_) {
            body_();
        }
    }
    void reserve(std::size_t count) { times_.reserve(count); }
    /// When it fired, since the last call.
    std::vector<nanoseconds> times() { return std::exchange(times_, {}); }

private:
    std::function<void()> body_;
    std::vector<nanoseconds> times_;
};

using Times = std::vector<nanoseconds>;

TEST(TimerCadence, FiresExactlyWhenItIsDue) {
    FakedTimer timer;
    timer.setOneShotTimer(5);
    fakes::pass(milliseconds(5) - nanoseconds(1));
    EXPECT_EQ(timer.times(), Times{});
    fakes::pass(nanoseconds(1));
    EXPECT_EQ(timer.times(), Times{milliseconds(5)});
    fakes::pass(hours(1));
    EXPECT_EQ(timer.times(), Times{});
}

TEST(TimerCadence, NeverDrifts) {
    FakedTimer timer;
    timer.setPeriodicTimer(7);
    // A loop that is always a little late, for ten thousand periods.
    for (int i = 1; i <= 10'000; ++i) {
        fakes::busyFor(7 * i * milliseconds(1) + nanoseconds(i % 900'000) - fakes::now());
        fakes::dispatch();
    }
    EXPECT_EQ(timer.times().size(), 10'000U);
    fakes::pass(milliseconds(7 * 10'001) - fakes::now());
    EXPECT_EQ(timer.times(), Times{milliseconds(7 * 10'001)});
}

TEST(TimerCadence, MissedFiringsAreMergedIntoOne) {
    FakedTimer timer;
    timer.setPeriodicTimer(10);
    fakes::busyFor(milliseconds(37));
    fakes::dispatch();
    EXPECT_EQ(timer.times(), Times{milliseconds(37)});
    fakes::pass(milliseconds(13));
    EXPECT_EQ(timer.times(), (Times{milliseconds(40), milliseconds(50)}));
}

TEST(TimerCadence, FiringsMissedBehindAnotherCallbackAreMerged) {
    FakedTimer slow([] { fakes::busyFor(milliseconds(35)); });
    FakedTimer timer;
    slow.setOneShotTimer(10);
    timer.setPeriodicTimer(10);
    fakes::pass(milliseconds(10));
    fakes::dispatch();
    EXPECT_EQ(timer.times(), Times{milliseconds(45)}) << "once for 10, 20, 30 and 40";
    fakes::pass(milliseconds(5));
    EXPECT_EQ(timer.times(), Times{milliseconds(50)});
}

TEST(TimerCadence, ACallbackLongerThanItsPeriodKeepsTheCadence) {
    FakedTimer timer([] { fakes::busyFor(milliseconds(25)); });
    timer.setPeriodicTimer(10);
    fakes::pass(milliseconds(10));
    EXPECT_EQ(timer.times(), (Times{milliseconds(10)}));
    fakes::dispatch();
    EXPECT_EQ(timer.times(), (Times{milliseconds(35)})) << "once for 20 and 30";
    fakes::dispatch();
    EXPECT_EQ(timer.times(), (Times{milliseconds(60)})) << "once for 40, 50 and 60";
}

TEST(TimerCadence, FiresInTheOrderOfTimesThenOfStarts) {
    std::string order;
    const auto note = [&order](char name) { return [&order, name] { order += name; }; };
    FakedTimer a(note('a'));
    FakedTimer b(note('b'));
    FakedTimer c(note('c'));
    FakedTimer d(note('d'));
    c.setOneShotTimer(20);
    a.setPeriodicTimer(10);
    d.setOneShotTimer(20);
    b.setPeriodicTimer(20);
    fakes::pass(milliseconds(20));
    EXPECT_EQ(order, "acadb") << "at 20 ms in the order in which they were started";
}

TEST(TimerCadence, AOneShotIsOffTheLoopBeforeItsCallback) {
    FakedTimer timer([] { fakes::dispatch(); });
    timer.setOneShotTimer(1);
    fakes::pass(milliseconds(1));
    EXPECT_EQ(timer.times(), Times{milliseconds(1)});
}

TEST(TimerCadence, APeriodicCallbackIsNotEnteredTwice) {
    testing::internal::CaptureStderr();
    FakedTimer timer([] {
        fakes::busyFor(milliseconds(1));
        fakes::dispatch();
    });
    timer.setPeriodicTimer(1);
    fakes::pass(milliseconds(1));
    EXPECT_EQ(timer.times(), Times{milliseconds(1)});
    char skipped[200];
    std::snprintf(skipped, sizeof skipped, "Timer::callback: Timer %p skipped (failed to acquire reference)\n",
                  static_cast<void*>(static_cast<Timer*>(&timer)));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), skipped);
}

TEST(TimerCadence, KilledTimersNeverFireWhateverTheirPlace) {
    constexpr int count = 1000;
    std::vector<std::unique_ptr<FakedTimer>> timers;
    unsigned random = 1;
    for (int i = 0; i < count; ++i) {
        random = random * 1664525U + 1013904223U;
        timers.push_back(std::make_unique<FakedTimer>());
        timers.back()->setOneShotTimer(1 + (random >> 8) % 300);
    }
    for (int i = 0; i < count; i += 3) {
        timers[static_cast<std::size_t>(i)]->killTimer();
    }
    fakes::pass(milliseconds(300));
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(timers[static_cast<std::size_t>(i)]->times().size(), i % 3 == 0 ? 0U : 1U);
    }
}

TEST(TimerCadence, LongPeriodsAreExact) {
    FakedTimer timer;
    timer.setPeriodicTimer(UINT_MAX);
    fakes::pass(3 * milliseconds(UINT_MAX));
    EXPECT_EQ(timer.times(), (Times{milliseconds(UINT_MAX), 2 * milliseconds(UINT_MAX), 3 * milliseconds(UINT_MAX)}));
}

TEST(TimerCadence, FiringAllocatesNothing) {
    std::vector<std::unique_ptr<FakedTimer>> timers;
    for (unsigned i = 1; i <= 20; ++i) {
        timers.push_back(std::make_unique<FakedTimer>());
        timers.back()->reserve(2000);
        timers.back()->setTimer(i, i % 4 != 0);
    }
    const long before = allocations();
    fakes::pass(milliseconds(1000));
    EXPECT_EQ(allocations(), before);
    EXPECT_EQ(timers.front()->times().size(), 1000U);
}

TEST(TimerNumbers, AreUsedUpByEverySettingWithAPeriod) {
    FakedTimer timer;
    const int first = *idSequence();
    timer.setOneShotTimer(1);
    EXPECT_EQ(*idSequence(), first + 1);
    EXPECT_EQ(timer.setOneShotTimer(1), -1);
    EXPECT_EQ(*idSequence(), first + 2) << "also when it fails";
    testing::internal::CaptureStderr();
    EXPECT_EQ(timer.setOneShotTimer(0), -1);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(*idSequence(), first + 2) << "but not without a period";
}

TEST(TimerNumbers, BeginWithOne) {
    EXPECT_EQ(*idSequence(), 1);
}

TEST(TimerNumbers, WrapFromTheLargestToTheSmallest) {
    *idSequence() = INT_MAX;
    FakedTimer last;
    FakedTimer first;
    EXPECT_EQ(last.setOneShotTimer(1), 0);
    EXPECT_EQ(first.setOneShotTimer(1), 0);
    fakes::pass(milliseconds(1));
    EXPECT_EQ(last.times().size() + first.times().size(), 2U);
    EXPECT_EQ(*idSequence(), INT_MIN + 1);
}

TEST(TimerNumbers, LeaveOutTheOneThatSaysNotSet) {
    *idSequence() = -2;
    FakedTimer timer;
    EXPECT_EQ(timer.setOneShotTimer(1), 0);
    EXPECT_EQ(*idSequence(), 0);
}

TEST(TimerNumbers, OneThatIsStillInUseIsRefused) {
    FakedTimer holder;
    const int number = *idSequence();
    ASSERT_EQ(holder.setOneShotTimer(1), 0);
    *idSequence() = number;
    FakedTimer refused;
    testing::internal::CaptureStderr();
    EXPECT_EQ(refused.setOneShotTimer(2), -1);
    char text[200];
    std::snprintf(text, sizeof text, "Timer::setTimer: Timer %p not set (already set?)\n",
                  static_cast<void*>(static_cast<Timer*>(&refused)));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), text);
    EXPECT_EQ(refused.setOneShotTimer(2), 0) << "the next number is free";
    fakes::pass(milliseconds(2));
    EXPECT_EQ(holder.times(), Times{milliseconds(1)});
    EXPECT_EQ(refused.times(), Times{milliseconds(2)});
}

}  // namespace
