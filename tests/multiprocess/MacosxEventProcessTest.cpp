// Events between real processes, some of which are killed.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "support/Background.h"
#include "support/Multiprocess.h"
#include "support/RawObject.h"

namespace {

using namespace VDIFrameworkCommon;
using multiprocess::Child;

t_HANDLE* create(const std::string& name) {
    return CreateEventA(nullptr, false, false, name.c_str());
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

// waits NAME MILLISECONDS: tells the result.
CHILD_MAIN(waits) {
    t_HANDLE* const event = create(arguments.at(0));
    multiprocess::step("created");
    multiprocess::step(std::to_string(WaitForSingleObject(event, std::stoi(arguments.at(1)))));
}

CHILD_MAIN(sets) {
    SetEvent(create(arguments.at(0)));
    multiprocess::step("set");
}

CHILD_MAIN(holdsTheMutex) {
    t_HANDLE* const event = create(arguments.at(0));
    pthread_mutex_lock(&event->mutex);
    multiprocess::step("locked");
    multiprocess::await("nothing");
}

// Creating an event frees its mutex: nobody may be inside an operation meanwhile. So each child is let create the
// event, and then go to sleep, before anything else happens.
std::unique_ptr<Child> created(const std::string& name, const std::string& milliseconds) {
    auto child = std::make_unique<Child>("waits", std::vector{name, milliseconds});
    child->waitFor("created");
    return child;
}

std::unique_ptr<Child> waiter(t_HANDLE* event, int number, const std::string& name = "A",
                              const std::string& milliseconds = "-1") {
    auto child = created(name, milliseconds);
    waitForWaiters(event, number);
    return child;
}

void signalWaiter(const std::string& objectName) {
    pthread_cond_signal(&*raw::Mapping<pthread_cond_t>(objectName));
}

TEST(MacosxEventProcess, SetWakesAWaiterElsewhere) {
    t_HANDLE* const event = create("A");
    const auto child = waiter(event, 1);
    EXPECT_EQ(SetEvent(event), 1);
    child->waitFor("0");
    EXPECT_EQ(WaitForSingleObject(event, 0), 64) << "consumed there";
    EXPECT_EQ(event->waiterCount, 0);
}

TEST(MacosxEventProcess, SetWakesATimedWaiterElsewhere) {
    t_HANDLE* const event = create("A");
    const auto child = waiter(event, 1, "A", "2147483647");
    SetEvent(event);
    child->waitFor("0");
}

TEST(MacosxEventProcess, SetElsewhereWakesAWaiterHere) {
    t_HANDLE* const event = create("A");
    int result = -1;
    Background waiting([&] { result = WaitForSingleObject(event, INFINITE); });
    waitForWaiters(event, 1);
    Child("sets", {"A"}).waitFor("set");
    waiting.join();
    EXPECT_EQ(result, 0);
}

TEST(MacosxEventProcess, SetBeforeTheWaitIsNotLost) {
    {
        Child child("sets", {"A"});
        child.waitFor("set");
        EXPECT_EQ(child.join(), 0);
    }
    created("A", "-1")->waitFor("0");
    created("A", "0")->waitFor("64");
}

TEST(MacosxEventProcess, OneSetGivesOneOfManyProcessesTheSignal) {
    t_HANDLE* const event = create("A");
    std::vector<std::unique_ptr<Child>> children;
    for (int i = 1; i <= 4; ++i) {
        children.push_back(waiter(event, i));
    }
    SetEvent(event);
    std::vector<std::string> results;
    for (const auto& child : children) {
        results.push_back(child->next());
    }
    EXPECT_EQ(std::count(results.begin(), results.end(), "0"), 1);
    EXPECT_EQ(std::count(results.begin(), results.end(), "96"), 3);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
    EXPECT_EQ(raw::systemNames(), std::set{raw::systemName("A_event")});
}

TEST(MacosxEventProcess, KilledWaiterDoesNotStopLaterUsers) {
    t_HANDLE* const event = create("A");
    const auto dead = waiter(event, 1);
    dead->kill();

    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(SetEvent(event), 1);
        EXPECT_EQ(WaitForSingleObject(event, 0), 0);
        const auto live = waiter(event, 2);
        EXPECT_EQ(SetEvent(event), 1);
        live->waitFor("0");
    }
    EXPECT_EQ(event->waiterCount, 1) << "the dead one stays registered";
    EXPECT_EQ(CloseHandle(event), 0);
}

TEST(MacosxEventProcess, WaiterMakesTheConditionOfADeadOneAnew) {
    t_HANDLE* const event = create("A");
    const auto first = waiter(event, 1);
    const auto dead = waiter(event, 2);
    dead->kill();
    // A signal that the dead one never takes, as of a setter that died before it removed the object. The next signal on
    // this condition would wait for the dead one to take the first.
    signalWaiter("A_event1");
    // The first leaves, woken without a signal, and the dead one's number is free for the next waiter.
    signalWaiter("A_event0");
    first->waitFor("96");
    waitForWaiters(event, 1);

    const auto heir = waiter(event, 2);
    EXPECT_EQ(raw::systemNames(), (std::set{raw::systemName("A_event"), raw::systemName("A_event1")}));
    EXPECT_EQ(SetEvent(event), 1);
    heir->waitFor("0");
}

TEST(MacosxEventProcess, NumberOfAWaiterIsUsedAgainWhileAnotherStillWaits) {
    t_HANDLE* const event = create("A");
    const auto first = waiter(event, 1);
    const auto second = waiter(event, 2);
    signalWaiter("A_event0");
    first->waitFor("96");
    const auto third = waiter(event, 2);
    EXPECT_EQ(raw::systemNames(), (std::set{raw::systemName("A_event"), raw::systemName("A_event1")}))
        << "the second and the third share an object";
}

TEST(MacosxEventProcess, CreateHealsTheMutexOfADeadHolder) {
    t_HANDLE* const event = create("A");
    SetEvent(event);
    Child holder("holdsTheMutex", {"A"});
    holder.waitFor("locked");
    holder.kill();
    EXPECT_EQ(pthread_mutex_trylock(&event->mutex), EBUSY);

    t_HANDLE* const healed = create("A");
    EXPECT_EQ(WaitForSingleObject(healed, 0), 0) << "the state is kept";
    EXPECT_EQ(SetEvent(event), 1) << "older handles are healed too";
    created("A", "-1")->waitFor("0");
}

TEST(MacosxEventProcess, LongNamesMeetToo) {
    const std::string name(150, 'n');
    t_HANDLE* const event = create(name);
    const auto child = waiter(event, 1, name);
    SetEvent(event);
    child->waitFor("0");

    SetEvent(event);
    created(name, "0")->waitFor("64");  // its create took the signal back
}

}  // namespace
