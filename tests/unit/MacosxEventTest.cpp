#include <VDIFrameworkCommon/MacosxEvent.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "support/Background.h"
#include "support/RawObject.h"
#include "support/RecordingLogger.h"

namespace {

using namespace VDIFrameworkCommon;

t_HANDLE* create(const std::string& name, bool initialState = false) {
    return CreateEventA(nullptr, false, initialState, name.c_str());
}

// A waiter registers and goes to sleep in one hold of the event's mutex: who gets the mutex then finds it asleep.
void waitForWaiters(t_HANDLE* event, int count) {
    waitUntil([&] {
        pthread_mutex_lock(&event->mutex);
        const int now = event->waiterCount;
        pthread_mutex_unlock(&event->mutex);
        return now == count;
    });
}

std::unique_ptr<Background> waiter(t_HANDLE* event, int milliseconds, int& result) {
    return std::make_unique<Background>(
        [event, milliseconds, &result] { result = WaitForSingleObject(event, milliseconds); });
}

TEST(MacosxEvent, NewEventHasTheInitialState) {
    t_HANDLE* const signaled = create("A", true);
    EXPECT_EQ(WaitForSingleObject(signaled, 0), 0);
    EXPECT_EQ(WaitForSingleObject(signaled, 0), 64) << "the first wait consumed the signal";
    EXPECT_EQ(WaitForSingleObject(create("B", false), 0), 64);
    EXPECT_TRUE(recording::takeRecords().empty());
}

TEST(MacosxEvent, SecondCreateKeepsTheState) {
    t_HANDLE* const event = create("A");
    t_HANDLE* const second = create("A", true);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
    SetEvent(event);
    t_HANDLE* const third = create("A", false);
    EXPECT_NE(third, event);
    EXPECT_EQ(WaitForSingleObject(third, 0), 0);
    EXPECT_EQ(WaitForSingleObject(second, 0), 64);
}

TEST(MacosxEvent, EventOutlivesItsHandles) {
    t_HANDLE* const event = create("A");
    SetEvent(event);
    EXPECT_EQ(CloseHandle(event), 1);
    EXPECT_EQ(WaitForSingleObject(create("A"), 0), 0);
}

TEST(MacosxEvent, NamesTellEventsApart) {
    t_HANDLE* const a = create("A");
    t_HANDLE* const b = create("B");
    SetEvent(a);
    EXPECT_EQ(WaitForSingleObject(b, 0), 64);
    EXPECT_EQ(WaitForSingleObject(a, 0), 0);
}

TEST(MacosxEvent, EveryEventResetsItself) {
    int attributes = 0;
    t_HANDLE* const manual = CreateEventA(&attributes, true, true, "A");
    EXPECT_EQ(WaitForSingleObject(manual, 0), 0);
    EXPECT_EQ(WaitForSingleObject(manual, 0), 64);
}

TEST(MacosxEvent, SignalIsKeptForTheNextWait) {
    t_HANDLE* const event = create("A");
    EXPECT_EQ(SetEvent(event), 1);
    EXPECT_EQ(WaitForSingleObject(event, INFINITE), 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
}

TEST(MacosxEvent, SignalsDoNotAccumulate) {
    t_HANDLE* const event = create("A");
    SetEvent(event);
    SetEvent(event);
    EXPECT_EQ(WaitForSingleObject(event, 0), 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
}

TEST(MacosxEvent, ResetTakesTheSignalBackAndReturnsZero) {
    t_HANDLE* const event = create("A", true);
    EXPECT_EQ(ResetEvent(event), 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
    EXPECT_EQ(ResetEvent(event), 0);
}

TEST(MacosxEvent, WaitTakesAtLeastItsTime) {
    t_HANDLE* const event = create("A");
    const auto start = std::chrono::system_clock::now();
    EXPECT_EQ(WaitForSingleObject(event, 100), 64);
    EXPECT_GE(std::chrono::system_clock::now() - start, std::chrono::milliseconds(99));
    EXPECT_EQ(event->waiterCount, 0);
}

TEST(MacosxEvent, SetWakesAWaiterWithoutLimit) {
    t_HANDLE* const event = create("A");
    int result = -1;
    const auto waiting = waiter(event, INFINITE, result);
    waitForWaiters(event, 1);
    EXPECT_EQ(SetEvent(event), 1);
    waiting->join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(event->waiterCount, 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64) << "consumed";
}

TEST(MacosxEvent, SetThroughAnotherHandleWakesAWaiter) {
    t_HANDLE* const event = create("A");
    t_HANDLE* const other = create("A");
    int result = -1;
    const auto waiting = waiter(event, INFINITE, result);
    waitForWaiters(event, 1);
    SetEvent(other);
    waiting->join();
    EXPECT_EQ(result, 0);
}

TEST(MacosxEvent, LongestTimeIsCountedIn64Bits) {
    t_HANDLE* const event = create("A");
    int result = -1;
    const auto waiting = waiter(event, INT_MAX, result);
    waitForWaiters(event, 1);
    SetEvent(event);
    waiting->join();
    EXPECT_EQ(result, 0);
}

TEST(MacosxEvent, OneSetGivesOneWaiterTheSignal) {
    constexpr int count = 5;
    t_HANDLE* const event = create("A");
    std::vector<int> results(count, -1);
    std::vector<std::unique_ptr<Background>> waiting;
    for (int& result : results) {
        waiting.push_back(waiter(event, &result == &results[0] ? INT_MAX : INFINITE, result));
    }
    waitForWaiters(event, count);
    EXPECT_EQ(SetEvent(event), 1);
    waiting.clear();
    EXPECT_EQ(std::count(results.begin(), results.end(), 0), 1);
    EXPECT_EQ(std::count(results.begin(), results.end(), 96), count - 1);
    EXPECT_EQ(event->waiterCount, 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
}

TEST(MacosxEvent, WakeUpWithoutASignalEndsTheWait) {
    t_HANDLE* const event = create("A");
    int result = -1;
    const auto waiting = waiter(event, INFINITE, result);
    waitForWaiters(event, 1);
    pthread_cond_signal(&*raw::Mapping<pthread_cond_t>("A_event0"));
    waiting->join();
    EXPECT_EQ(result, 96);
    EXPECT_EQ(event->waiterCount, 0);
}

TEST(MacosxEvent, NegativeTimesEndAtOnce) {
    t_HANDLE* const event = create("A");
    EXPECT_EQ(WaitForSingleObject(event, -2000), 96) << "the nanoseconds are always negative";
    EXPECT_EQ(WaitForSingleObject(event, INT_MIN), 96);
    // -2 ms is a deadline in the past once the clock's microseconds exceed 2000.
    waitUntil([&] { return WaitForSingleObject(event, -2) == 64; });
    EXPECT_EQ(event->waiterCount, 0);
    SetEvent(event);
    EXPECT_EQ(WaitForSingleObject(event, -2000), 0) << "a signalled event is not waited for";
}

TEST(MacosxEvent, NullHandleFails) {
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), 96);
    EXPECT_EQ(WaitForSingleObject(nullptr, INFINITE), 96);
    EXPECT_EQ(SetEvent(nullptr), 1);
    EXPECT_EQ(ResetEvent(nullptr), 0);
    EXPECT_EQ(CloseHandle(nullptr), 0);
    EXPECT_TRUE(recording::takeRecords().empty());
}

TEST(MacosxEvent, NullNameMakesNothing) {
    EXPECT_EQ(CreateEventA(nullptr, false, true, nullptr), nullptr);
    EXPECT_TRUE(raw::systemNames().empty());
    EXPECT_TRUE(recording::takeRecords().empty());
}

TEST(MacosxEvent, EmptyNameIsAName) {
    t_HANDLE* const event = create("");
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(raw::systemNames(), std::set{raw::systemName("_event")});
}

TEST(MacosxEvent, CloseIsRefusedWhileAThreadWaits) {
    t_HANDLE* const event = create("A");
    int result = -1;
    const auto waiting = waiter(event, INFINITE, result);
    waitForWaiters(event, 1);
    EXPECT_EQ(CloseHandle(event), 0);
    SetEvent(event);
    waiting->join();
    EXPECT_EQ(result, 0) << "the mapping was kept";
    EXPECT_EQ(CloseHandle(event), 1);
}

TEST(MacosxEvent, CloseDoesNotTakeTheMutex) {
    t_HANDLE* const event = create("A");
    pthread_mutex_lock(&event->mutex);
    EXPECT_EQ(CloseHandle(event), 1);
    EXPECT_EQ(raw::status("A_event").st_size, 176) << "the object stays";
}

TEST(MacosxEvent, SecondCreateReinitialisesAHeldMutex) {
    t_HANDLE* const event = create("A");
    pthread_mutex_lock(&event->mutex);
    ASSERT_NE(create("A"), nullptr);
    EXPECT_EQ(SetEvent(event), 1);
    EXPECT_EQ(WaitForSingleObject(event, 0), 0);
}

TEST(MacosxEvent, SecondCreateKeepsTheWaiters) {
    t_HANDLE* const event = create("A");
    int result = -1;
    const auto waiting = waiter(event, INFINITE, result);
    waitForWaiters(event, 1);
    t_HANDLE* const second = create("A");
    EXPECT_EQ(second->waiterCount, 1);
    SetEvent(second);
    waiting->join();
    EXPECT_EQ(result, 0);
}

TEST(MacosxEvent, WaiterObjectsAreNumberedAndGoAway) {
    t_HANDLE* const event = create("A");
    int results[2] = {-1, -1};
    const auto first = waiter(event, INFINITE, results[0]);
    waitForWaiters(event, 1);
    const auto second = waiter(event, INFINITE, results[1]);
    waitForWaiters(event, 2);
    EXPECT_EQ(raw::systemNames(),
              (std::set{raw::systemName("A_event"), raw::systemName("A_event0"), raw::systemName("A_event1")}));
    EXPECT_EQ(raw::status("A_event1").st_size, 48);
    SetEvent(event);
    first->join();
    second->join();
    EXPECT_EQ(raw::systemNames(), std::set{raw::systemName("A_event")});
}

TEST(MacosxEvent, SetUnlinksTheObjectsOfTheWaiters) {
    t_HANDLE* const event = create("A");
    event->waiterCount = 2;
    raw::write("A_event0", 0, "", 1, 48);
    raw::write("A_event2", 0, "", 1, 48);
    EXPECT_EQ(SetEvent(event), 1);
    EXPECT_EQ(raw::systemNames(), (std::set{raw::systemName("A_event"), raw::systemName("A_event2")}));
    EXPECT_EQ(event->waiterCount, 2) << "only waiters change it";
    EXPECT_EQ(CloseHandle(event), 0);
}

TEST(MacosxEvent, NamesUpTo93CharactersKeepTheStateAtEachCreate) {
    const std::string name(93, 'n');
    SetEvent(create(name));
    t_HANDLE* const event = create(name);
    EXPECT_EQ(std::string(event->name), name + "_event");
    EXPECT_EQ(WaitForSingleObject(event, 0), 0);
}

TEST(MacosxEvent, LongerNamesSetTheStateAtEachCreate) {
    const std::string name(94, 'n');
    t_HANDLE* const event = create(name);
    EXPECT_EQ(raw::systemNames(), std::set{raw::systemName(name + "_event")});
    EXPECT_EQ(std::string(event->name), name + "_even");
    EXPECT_EQ(event->name[99], '\0');
    SetEvent(event);
    create(name);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
    create(name, true);
    event->waiterCount = 3;
    create(name, true);
    EXPECT_EQ(event->waiterCount, 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 0);
}

TEST(MacosxEvent, WaitersOfALongNameGoByWhatIsKeptOfIt) {
    const std::string name(2000, 'n');
    t_HANDLE* const event = create(name);
    int result = -1;
    const auto waiting = waiter(event, INFINITE, result);
    waitForWaiters(event, 1);
    EXPECT_EQ(raw::systemNames(),
              (std::set{raw::systemName(name + "_event"), raw::systemName(std::string(99, 'n') + "0")}));
    SetEvent(event);
    waiting->join();
    EXPECT_EQ(result, 0);
}

}  // namespace
