// A timer whose run loop refuses it: this program has a `TimerID` of its own.

#include <VDIFrameworkCommon/Timer.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

using VDIFrameworkCommon::Timer;
using VDIFrameworkCommon::TimerID;

int nextResult = 0;
std::vector<std::string> calls;

struct RefusedTimer : Timer {
    void onTimer() override { calls.emplace_back("onTimer"); }
};

TEST(TimerRefusal, IsReportedAndLeavesTheTimerUnset) {
    RefusedTimer timer;
    nextResult = -5;
    testing::internal::CaptureStderr();
    EXPECT_EQ(timer.setTimer(20, true), -5);
    char text[200];
    std::snprintf(text, sizeof text, "Timer::setTimer: Timer %p: scheduleTimer failed (return value %d)\n",
                  static_cast<void*>(static_cast<Timer*>(&timer)), -5);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), text);
    testing::internal::CaptureStderr();
    Timer::callback(1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Timer::callback: Timer internal ID 1: not found\n");
    nextResult = 0;
    EXPECT_EQ(timer.setTimer(30, false), 0);
    Timer::callback(2);
    timer.killTimer();
    testing::internal::CaptureStderr();
    Timer::callback(2);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Timer::callback: Timer internal ID 2: not found\n");
    timer.killTimer();
    EXPECT_EQ(calls, (std::vector<std::string>{"schedule 1 20 periodic", "schedule 2 30 once", "onTimer", "stop"}));
}

}  // namespace

namespace VDIFrameworkCommon {

int TimerID::scheduleTimer(int id, unsigned int periodMs, bool periodic) {
    calls.push_back("schedule " + std::to_string(id) + ' ' + std::to_string(periodMs) +
                    (periodic ? " periodic" : " once"));
    return nextResult;
}

void TimerID::stopTimer() {
    calls.emplace_back("stop");
}

}  // namespace VDIFrameworkCommon
