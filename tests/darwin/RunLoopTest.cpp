// What timers ask of the desktop's main run loop, and what becomes of its calls.

#include <VDIFrameworkCommon/Timer.h>
#include <VDIFrameworkCommon/ext/MainRunLoop.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <new>
#include <string>

#include "RecordingDesktop.h"
#include "support/PrivateAccess.h"

namespace {

using desktop::takeCalls;
using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::MainRunLoop;
using VDIFrameworkCommon::Timer;
using VDIFrameworkCommon::TimerID;

PRIVATE_MEMBER(idSequence, Timer::s_idSequence);

struct CountingTimer : Timer {
    void onTimer() override { ++expiries; }
    int expiries = 0;
};

TEST(DesktopRunLoop, GetsAOneShotTimerInItsCommonModes) {
    desktop::setTime(1000);
    CountingTimer timer;
    *idSequence() = 42;
    EXPECT_EQ(timer.setOneShotTimer(20), 0);
    EXPECT_THAT(takeCalls(),
                ElementsAre("CFAbsoluteTimeGetCurrent",
                            "CFRunLoopTimerCreate allocator default at 1000.02 every 0 flags 0 order 0 version 0 "
                            "info 42 retain null release null description null",
                            "CFRunLoopGetMain", "CFRunLoopAddTimer main timer common modes"));
    EXPECT_EQ(desktop::lastTimer().callout, &TimerID::timer_callback);
    timer.killTimer();
}

TEST(DesktopRunLoop, GetsAPeriodicTimer) {
    desktop::setTime(0.5);
    TimerID timer;
    EXPECT_EQ(timer.scheduleTimer(-3, 1500, true), 0);
    EXPECT_THAT(takeCalls(),
                ElementsAre("CFAbsoluteTimeGetCurrent",
                            "CFRunLoopTimerCreate allocator default at 2 every 1.5 flags 0 order 0 version 0 info -3 "
                            "retain null release null description null",
                            "CFRunLoopGetMain", "CFRunLoopAddTimer main timer common modes"));
    timer.stopTimer();
}

TEST(DesktopRunLoop, IsToldTheLongestPeriodExactly) {
    desktop::setTime(0);
    TimerID timer;
    timer.scheduleTimer(1, UINT_MAX, true);
    EXPECT_EQ(desktop::lastTimer().fireDate, UINT_MAX * 0.001);
    EXPECT_EQ(desktop::lastTimer().interval, UINT_MAX * 0.001);
    timer.stopTimer();
}

TEST(DesktopRunLoop, LosesTheTimerOnceWhenItIsStopped) {
    TimerID timer;
    timer.scheduleTimer(1, 1, true);
    EXPECT_EQ(desktop::heldObjects(), 1);
    takeCalls();
    timer.stopTimer();
    EXPECT_THAT(takeCalls(), ElementsAre("CFRunLoopTimerInvalidate timer", "CFRelease timer", "timer destroyed"));
    EXPECT_EQ(desktop::heldObjects(), 0);
    timer.stopTimer();
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST(DesktopRunLoop, CallsTheTimerWithItsId) {
    CountingTimer first;
    CountingTimer second;
    first.setPeriodicTimer(1);
    ASSERT_TRUE(desktop::fireLastTimer());
    ASSERT_TRUE(desktop::fireLastTimer());
    second.setPeriodicTimer(1);
    ASSERT_TRUE(desktop::fireLastTimer());
    EXPECT_EQ(first.expiries, 2);
    EXPECT_EQ(second.expiries, 1);
    first.killTimer();
    second.killTimer();
    EXPECT_FALSE(desktop::fireLastTimer());
}

TEST(DesktopRunLoop, MayFireATimerThatNobodyKnows) {
    TimerID timer;
    timer.scheduleTimer(12345, 1, false);
    testing::internal::CaptureStderr();
    ASSERT_TRUE(desktop::fireLastTimer());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Timer::callback: Timer internal ID 12345: not found\n");
    timer.stopTimer();
}

TEST(DesktopRunLoop, IsFreedOfAOneShotThatFired) {
    CountingTimer timer;
    timer.setOneShotTimer(1);
    ASSERT_TRUE(desktop::fireLastTimer());
    EXPECT_EQ(timer.expiries, 1);
    EXPECT_FALSE(desktop::fireLastTimer());
    timer.killTimer();
    EXPECT_EQ(desktop::heldObjects(), 0);
}

TEST(DesktopRunLoop, MayHaveNoRoomForATimer) {
    CountingTimer timer;
    desktop::refuseNextTimer();
    EXPECT_THROW(timer.setOneShotTimer(1), std::bad_alloc);
    EXPECT_EQ(takeCalls().size(), 2U) << "nothing is put on the loop";
    EXPECT_EQ(timer.setOneShotTimer(1), 0) << "it was left unset";
    timer.killTimer();
    EXPECT_EQ(desktop::heldObjects(), 0);
}

TEST(DesktopRunLoop, IsDrivenByTheDesktopAlone) {
    EXPECT_EQ(MainRunLoop::useHostLoop(), -1);
    CountingTimer timer;
    timer.setOneShotTimer(1);
    takeCalls();
    MainRunLoop::dispatch();
    EXPECT_EQ(timer.expiries, 0);
    EXPECT_THAT(takeCalls(), IsEmpty());
    timer.killTimer();
}

}  // namespace
