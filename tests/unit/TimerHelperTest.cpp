#include <VDIFrameworkCommon/TimerHelper.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "support/Background.h"
#include "support/Gate.h"

namespace {

using VDIFrameworkCommon::Timer;
using VDIFrameworkCommon::TimerCallback;
using VDIFrameworkCommon::TimerHelper;

static_assert(std::is_base_of_v<Timer, TimerHelper> && !std::is_convertible_v<TimerHelper*, Timer*>);
static_assert(std::is_abstract_v<TimerCallback>);

constexpr unsigned anHourMs = 3'600'000;

class CountingCallback : public TimerCallback {
public:
    explicit CountingCallback(std::function<void(TimerHelper*)> body = {}) : body_(std::move(body)) {}
    void onTimeout(TimerHelper* timer) override {
        if (body_) {
            body_(timer);
        }
        ++calls_;
    }
    int calls() const { return calls_; }
    void waitForCalls(int count) const {
        waitUntil([&] { return calls() >= count; });
    }

private:
    std::function<void(TimerHelper*)> body_;
    std::atomic<int> calls_{0};
};

TEST(TimerHelper, CallsItsCallbackWithItself) {
    std::atomic<TimerHelper*> seen{nullptr};
    CountingCallback callback([&](TimerHelper* timer) { seen = timer; });
    TimerHelper* slot = nullptr;
    EXPECT_EQ(TimerHelper::scheduleTimer(slot, &callback, 1, false), 0);
    callback.waitForCalls(1);
    EXPECT_EQ(seen, slot);
    TimerHelper::invalidateTimer(slot);
    EXPECT_EQ(slot, nullptr);
}

TEST(TimerHelper, RepeatsIfPeriodic) {
    CountingCallback callback;
    TimerHelper* slot = nullptr;
    EXPECT_EQ(TimerHelper::scheduleTimer(slot, &callback, 1, true), 0);
    callback.waitForCalls(5);
    TimerHelper::invalidateTimer(slot);
    const int calls = callback.calls();
    CountingCallback other;
    TimerHelper::scheduleTimer(slot, &other, 1, true);
    other.waitForCalls(5);
    EXPECT_EQ(callback.calls(), calls);
    TimerHelper::invalidateTimer(slot);
}

TEST(TimerHelper, ReplacesTheTimerOfItsSlot) {
    CountingCallback first;
    CountingCallback second;
    TimerHelper* slot = nullptr;
    TimerHelper::scheduleTimer(slot, &first, 1, true);
    first.waitForCalls(1);
    EXPECT_EQ(TimerHelper::scheduleTimer(slot, &second, 1, true), 0);
    const int calls = first.calls();
    second.waitForCalls(5);
    EXPECT_EQ(first.calls(), calls);
    TimerHelper::invalidateTimer(slot);
}

TEST(TimerHelper, FillsItsSlotAlsoWhenItCannotBeSet) {
    CountingCallback callback;
    TimerHelper* slot = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(TimerHelper::scheduleTimer(slot, &callback, 0, false), -1);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("invalid period 0 ms\n"), std::string::npos);
    EXPECT_NE(slot, nullptr);
    TimerHelper::invalidateTimer(slot);
}

TEST(TimerHelper, InvalidatingAnEmptySlotDoesNothing) {
    TimerHelper* slot = nullptr;
    TimerHelper::invalidateTimer(slot);
    EXPECT_EQ(slot, nullptr);
}

TEST(TimerHelper, MayHaveNoCallback) {
    TimerHelper* slot = nullptr;
    EXPECT_EQ(TimerHelper::scheduleTimer(slot, nullptr, 1, true), 0);
    CountingCallback other;
    TimerHelper* otherSlot = nullptr;
    TimerHelper::scheduleTimer(otherSlot, &other, 1, true);
    other.waitForCalls(5);
    TimerHelper::invalidateTimer(slot);
    TimerHelper::invalidateTimer(otherSlot);
}

TEST(TimerHelper, GivesTheResultOfSettingItToItsMaker) {
    CountingCallback callback;
    int result = 99;
    const TimerHelper timer(&callback, anHourMs, false, result);
    EXPECT_EQ(result, 0);
    testing::internal::CaptureStderr();
    const TimerHelper refused(&callback, 0, false, result);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(result, -1);
}

TEST(TimerHelper, ForgetsItsCallbackWhenInvalidated) {
    CountingCallback callback;
    int result = 99;
    TimerHelper timer(&callback, anHourMs, false, result);
    timer.onTimer();
    EXPECT_EQ(callback.calls(), 1);
    timer.invalidate();
    timer.onTimer();
    EXPECT_EQ(callback.calls(), 1);
}

TEST(TimerHelper, InvalidatingWaitsForARunningCallback) {
    Gate begun;
    Gate gate;
    auto callback = std::make_unique<CountingCallback>([&](TimerHelper*) {
        begun.open();
        gate.wait();
    });
    TimerHelper* slot = nullptr;
    TimerHelper::scheduleTimer(slot, callback.get(), 1, true);
    begun.wait();
    Background owner([&] {
        TimerHelper::invalidateTimer(slot);
        callback.reset();
    });
    owner.waitUntilAsleep();
    EXPECT_FALSE(owner.ended());
    gate.open();
    owner.join();
    EXPECT_EQ(slot, nullptr);
}

TEST(TimerHelper, ACallbackMayScheduleAnotherTimer) {
    TimerHelper* secondSlot = nullptr;
    CountingCallback second;
    CountingCallback first([&](TimerHelper*) { TimerHelper::scheduleTimer(secondSlot, &second, 1, false); });
    TimerHelper* firstSlot = nullptr;
    TimerHelper::scheduleTimer(firstSlot, &first, 1, false);
    second.waitForCalls(1);
    TimerHelper::invalidateTimer(firstSlot);
    TimerHelper::invalidateTimer(secondSlot);
}

TEST(TimerHelper, WhileAnInvalidationWaitsNoOtherSlotCanBeUsed) {
    Gate begun;
    Gate gate;
    CountingCallback blocking([&](TimerHelper* /*timer*/) {
        begun.open();
        gate.wait();
    });
    CountingCallback idle;
    TimerHelper* slot = nullptr;
    TimerHelper* other = nullptr;
    TimerHelper::scheduleTimer(slot, &blocking, 1, false);
    begun.wait();
    Background invalidating([&] { TimerHelper::invalidateTimer(slot); });
    invalidating.waitUntilAsleep();
    Background scheduling([&] { TimerHelper::scheduleTimer(other, &idle, anHourMs, false); });
    scheduling.waitUntilAsleep();
    EXPECT_FALSE(invalidating.ended() || scheduling.ended());
    gate.open();
    invalidating.join();
    scheduling.join();
    TimerHelper::invalidateTimer(other);
}

}  // namespace
