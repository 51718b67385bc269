#include <VDIFrameworkCommon/Timer.h>
#include <VDIFrameworkCommon/ext/MainRunLoop.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <utility>

#include "support/Background.h"
#include "support/Threads.h"

namespace {

using VDIFrameworkCommon::MainRunLoop;
using VDIFrameworkCommon::Timer;

constexpr unsigned anHourMs = 3'600'000;
constexpr int forEver = -1;

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
        ++expiries;
    }
    std::atomic<int> expiries{0};

private:
    std::function<void()> body_;
};

bool isReadable(int descriptor, int milliseconds = 0) {
    pollfd state{descriptor, POLLIN, 0};
    return poll(&state, 1, milliseconds) == 1;
}

TEST(MainRunLoop, FiresTimersOnTheThreadThatDispatches) {
    const int due = MainRunLoop::useHostLoop();
    ASSERT_GE(due, 0);
    EXPECT_NE(fcntl(due, F_GETFD) & FD_CLOEXEC, 0);
    const auto before = threads::count();
    pid_t thread = 0;
    CountingTimer timer([&] { thread = gettid(); });
    timer.setOneShotTimer(1);
    ASSERT_TRUE(isReadable(due, forEver));
    EXPECT_EQ(timer.expiries, 0);
    MainRunLoop::dispatch();
    EXPECT_EQ(timer.expiries, 1);
    EXPECT_EQ(thread, gettid());
    EXPECT_EQ(threads::count(), before) << "no thread of the library's own";
    EXPECT_FALSE(isReadable(due));
}

TEST(MainRunLoop, TheDescriptorIsReadableWhileATimerIsDue) {
    const int due = MainRunLoop::useHostLoop();
    EXPECT_FALSE(isReadable(due));
    CountingTimer late;
    late.setOneShotTimer(anHourMs);
    EXPECT_FALSE(isReadable(due));
    CountingTimer often;
    often.setPeriodicTimer(2);
    for (int i = 1; i <= 5; ++i) {
        ASSERT_TRUE(isReadable(due, forEver));
        ASSERT_TRUE(isReadable(due)) << "until it is dispatched";
        MainRunLoop::dispatch();
        EXPECT_EQ(often.expiries, i);
    }
    often.killTimer();
    EXPECT_EQ(late.expiries, 0);
}

TEST(MainRunLoop, DispatchingEarlyOrForAKilledTimerDoesNothing) {
    const int due = MainRunLoop::useHostLoop();
    MainRunLoop::dispatch();
    CountingTimer late;
    late.setOneShotTimer(anHourMs);
    MainRunLoop::dispatch();
    EXPECT_EQ(late.expiries, 0);
    CountingTimer killed;
    killed.setOneShotTimer(1);
    killed.killTimer();
    EXPECT_TRUE(isReadable(due, forEver)) << "the host is woken for nothing at most once";
    MainRunLoop::dispatch();
    EXPECT_FALSE(isReadable(due));
    EXPECT_EQ(killed.expiries, 0);
}

TEST(MainRunLoop, OtherThreadsMaySetTimers) {
    const int due = MainRunLoop::useHostLoop();
    CountingTimer late;
    late.setOneShotTimer(anHourMs);
    CountingTimer timer;
    Background([&] { timer.setOneShotTimer(1); }).join();
    ASSERT_TRUE(isReadable(due, forEver));
    MainRunLoop::dispatch();
    EXPECT_EQ(timer.expiries, 1);
}

TEST(MainRunLoop, ACallbackMayDispatch) {
    const int due = MainRunLoop::useHostLoop();
    CountingTimer second;
    CountingTimer first([&] {
        ASSERT_TRUE(isReadable(due, forEver));
        while (second.expiries == 0) {
            MainRunLoop::dispatch();
        }
    });
    first.setOneShotTimer(1);
    second.setOneShotTimer(2);
    ASSERT_TRUE(isReadable(due, forEver));
    MainRunLoop::dispatch();
    EXPECT_EQ(first.expiries, 1);
    EXPECT_EQ(second.expiries, 1);
}

TEST(MainRunLoop, GivesTheSameDescriptorEachTime) {
    const int due = MainRunLoop::useHostLoop();
    CountingTimer timer;
    timer.setOneShotTimer(anHourMs);
    EXPECT_EQ(MainRunLoop::useHostLoop(), due);
}

TEST(MainRunLoop, ComesTooLateAfterTheFirstTimer) {
    CountingTimer timer;
    timer.setPeriodicTimer(1);
    EXPECT_EQ(MainRunLoop::useHostLoop(), -1);
    MainRunLoop::dispatch();
    waitUntil([&] { return timer.expiries >= 3; });
    EXPECT_EQ(threads::countNamed("VDITimers"), 1U);
}

TEST(MainRunLoop, WithoutADescriptorTimersFireByThemselves) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(MainRunLoop::useHostLoop(), -1);
    setrlimit(RLIMIT_NOFILE, &limit);
    CountingTimer timer;
    timer.setOneShotTimer(1);
    waitUntil([&] { return timer.expiries == 1; });
}

}  // namespace
