// What `TimerID` asks of the run loop: this program records it in the place of one.

#include <VDIFrameworkCommon/Timer.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/RunLoop.h"

namespace {

using VDIFrameworkCommon::TimerID;
namespace platform = VDIFrameworkCommon::platform;

std::vector<std::string> calls;
double firstFireTime = 0;
double repeatInterval = -1;
platform::RunLoopCallback callback = nullptr;
void* context = nullptr;
char object = 0;
// NOLINTNEXTLINE(bugprone-casting-through-void): any address will do
auto* const handle = static_cast<platform::RunLoopTimer*>(static_cast<void*>(&object));

void note(const char* call, platform::RunLoopTimer* timer) {
    calls.emplace_back(call);
    EXPECT_EQ(timer, handle);
}

TEST(TimerID, SchedulesAPeriodicTimerOnTheMainRunLoop) {
    TimerID timer;
    EXPECT_EQ(timer.scheduleTimer(42, 1500, true), 0);
    EXPECT_DOUBLE_EQ(firstFireTime, 1000 + 1.5);
    EXPECT_DOUBLE_EQ(repeatInterval, 1.5);
    EXPECT_EQ(callback, &TimerID::timer_callback);
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(context), 42);
    EXPECT_EQ(calls, (std::vector<std::string>{"create", "add"}));
}

TEST(TimerID, SchedulesAOneShotWithoutAnInterval) {
    TimerID timer;
    EXPECT_EQ(timer.scheduleTimer(-3, 1, false), 0);
    EXPECT_DOUBLE_EQ(firstFireTime, 1000.001);
    EXPECT_EQ(repeatInterval, 0);
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(context), -3);
}

TEST(TimerID, StopsItOnce) {
    TimerID timer;
    timer.stopTimer();
    EXPECT_TRUE(calls.empty());
    timer.scheduleTimer(1, 1, false);
    calls.clear();
    timer.stopTimer();
    timer.stopTimer();
    EXPECT_EQ(calls, (std::vector<std::string>{"invalidate", "release"}));
}

}  // namespace

namespace VDIFrameworkCommon::platform {

double currentAbsoluteTime() noexcept {
    return 1000;
}

RunLoopTimer* createTimer(double first, double interval, RunLoopCallback function, void* info) {
    calls.emplace_back("create");
    firstFireTime = first;
    repeatInterval = interval;
    callback = function;
    context = info;
    return handle;
}

void addTimer(RunLoopTimer* timer) {
    note("add", timer);
}
void invalidateTimer(RunLoopTimer* timer) noexcept {
    note("invalidate", timer);
}
void releaseTimer(RunLoopTimer* timer) noexcept {
    note("release", timer);
}

}  // namespace VDIFrameworkCommon::platform
