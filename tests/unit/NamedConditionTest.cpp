#include <VDIFrameworkCommon/NamedCondition.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <string>
#include <thread>
#include <type_traits>

#include "support/Background.h"
#include "support/ExpectedRecords.h"
#include "support/Limits.h"
#include "support/RawObject.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::NamedCondition;
using VDIFrameworkCommon::NamedMutex;
using VDIFrameworkCommon::t_HANDLE;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;

static_assert(!std::is_copy_constructible_v<NamedCondition> && !std::is_move_constructible_v<NamedCondition>);

// The logical name of the event of a condition.
std::string eventOf(const std::string& name) {
    return raw::logicalName("DEFVDI_", name + "_event");
}

// A created condition with its mutex, which the test's thread holds.
class NamedConditionTest : public testing::Test {
protected:
    NamedConditionTest() {
        EXPECT_TRUE(mutex.create("C"));
        EXPECT_TRUE(condition.create("C"));
        EXPECT_TRUE(mutex.lock());
    }

    bool held() {
        int result = 0;
        std::thread([&] { result = pthread_mutex_trylock(mutex.getHandler()); }).join();
        return result == EBUSY;
    }

    // Waits until another thread waits for the condition.
    void waitForWaiter() {
        const raw::Mapping<t_HANDLE> event(eventOf("C"));
        waitUntil([&] {
            pthread_mutex_lock(&event->mutex);
            const int waiters = event->waiterCount;
            pthread_mutex_unlock(&event->mutex);
            return waiters == 1;
        });
    }

    NamedMutex mutex;
    NamedCondition condition;
};

TEST_F(NamedConditionTest, TimedWaitPollsAndTakesTheMutexAgain) {
    EXPECT_FALSE(condition.timed_wait(mutex, 0));
    EXPECT_TRUE(held());
}

TEST_F(NamedConditionTest, NotificationIsKeptForOneWait) {
    condition.notify();
    condition.notify();
    EXPECT_TRUE(condition.timed_wait(mutex, 0));
    EXPECT_TRUE(held());
    EXPECT_FALSE(condition.timed_wait(mutex, 0));
}

TEST_F(NamedConditionTest, WaitReturnsAtOnceAfterANotification) {
    condition.notify();
    EXPECT_TRUE(condition.wait(mutex)) << "the result of taking the mutex";
    EXPECT_TRUE(held());
}

TEST_F(NamedConditionTest, WaitGivesTheMutexBackMeanwhile) {
    bool notified = false;
    Background waiting([&] {
        mutex.lock();
        EXPECT_TRUE(condition.wait(mutex));
        EXPECT_TRUE(notified);
        mutex.unlock();
    });
    mutex.unlock();
    waitForWaiter();
    mutex.lock();
    notified = true;
    condition.notify();
    mutex.unlock();
    waiting.join();
    EXPECT_FALSE(held());
}

TEST_F(NamedConditionTest, TimedWaitWithoutLimitHasAllBitsSet) {
    Background waiting([&] {
        mutex.lock();
        EXPECT_TRUE(condition.timed_wait(mutex, 0xFFFFFFFF));
        mutex.unlock();
    });
    mutex.unlock();
    waitForWaiter();
    condition.notify();
    waiting.join();
}

TEST_F(NamedConditionTest, TimesBeyondTheEventsRangeEndAtOnce) {
    EXPECT_FALSE(condition.timed_wait(mutex, 0x80000000));
    EXPECT_TRUE(held());
}

TEST_F(NamedConditionTest, ReleaseTwiceIsHarmless) {
    condition.release();
    condition.release();
    condition.notify();
    EXPECT_TRUE(condition.wait(mutex)) << "without an event a wait ends at once";
    EXPECT_FALSE(condition.timed_wait(mutex, 0xFFFFFFFF));
    EXPECT_TRUE(held());
}

TEST_F(NamedConditionTest, EventOutlivesTheCondition) {
    {
        NamedCondition other;
        ASSERT_TRUE(other.create("C"));
        other.notify();
    }
    EXPECT_TRUE(condition.timed_wait(mutex, 0));
}

TEST(NamedCondition, HasNoEventBeforeItIsCreated) {
    NamedMutex mutex;
    ASSERT_TRUE(mutex.create("C"));
    NamedCondition condition;
    condition.notify();
    EXPECT_FALSE(condition.timed_wait(mutex, 0));
    condition.release();
    EXPECT_THAT(recording::takeRecords(), IsEmpty());
}

TEST(NamedCondition, IsNotSignalledWhenMade) {
    NamedCondition condition;
    ASSERT_TRUE(condition.create("C"));
    const raw::Mapping<t_HANDLE> event(eventOf("C"));
    EXPECT_EQ(std::string(event->name), eventOf("C"));
    EXPECT_EQ(event->signaled, 0);
    condition.notify();
    EXPECT_EQ(event->signaled, 1);
}

TEST(NamedCondition, ProductsAreKeptApart) {
    VDIClientInfo::getInstance()->setClientType(VDIClientType::OrvexHuddles);
    NamedCondition condition;
    ASSERT_TRUE(condition.create("C"));
    EXPECT_THAT(raw::systemNames(), ElementsAre(raw::systemName(raw::logicalName("HDVDI_", "C_event"))));
}

TEST(NamedCondition, NameCountsUpTo1024Characters) {
    const std::string prefix = raw::logicalName("DEFVDI_", "");
    const std::string longest(1024 - prefix.size(), 'n');
    NamedCondition cut;
    ASSERT_TRUE(cut.create(std::string(2000, 'n').c_str()));
    EXPECT_THAT(raw::systemNames(), ElementsAre(raw::systemName(prefix + longest + "_event")));
    NamedCondition whole;
    ASSERT_TRUE(whole.create(longest.c_str()));
    EXPECT_EQ(raw::systemNames().size(), 1U);
    NamedCondition shorter;
    ASSERT_TRUE(shorter.create(longest.c_str() + 1));
    EXPECT_THAT(raw::systemNames(), Contains(raw::systemName(eventOf(longest.substr(1)))));
}

TEST(NamedCondition, NullNameIsNone) {
    NamedCondition condition;
    EXPECT_FALSE(condition.create(nullptr));
    EXPECT_THAT(raw::systemNames(), IsEmpty());
    EXPECT_THAT(recording::takeRecords(), IsEmpty());
}

TEST(NamedCondition, FailsWithItsEvent) {
    NamedCondition condition;
    {
        const limits::NoDescriptors obstacle;
        EXPECT_FALSE(condition.create("C"));
    }
    const recording::ExpectedRecord record("SharedMemory", "src/Common/src/Macosx/MacosxEvent.cpp");
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_ERROR, "CreateEventA",
                                   "Failure on shm_open for event, event name = " + eventOf("C") + " error code:24")));
    condition.release();
}

TEST(NamedCondition, WaitTellsWhetherTheMutexWasTaken) {
    NamedMutex none;
    NamedCondition condition;
    ASSERT_TRUE(condition.create("C"));
    condition.notify();
    EXPECT_FALSE(condition.wait(none));
    condition.notify();
    EXPECT_TRUE(condition.timed_wait(none, 0)) << "tells of the wait, not of the mutex";
}

}  // namespace
