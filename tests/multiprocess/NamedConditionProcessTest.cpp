#include <VDIFrameworkCommon/NamedCondition.h>
#include <VDIFrameworkCommon/NamedMutex.h>
#include <gtest/gtest.h>

#include <string>

#include "support/Multiprocess.h"
#include "support/RawObject.h"

namespace {

using multiprocess::await;
using multiprocess::Child;
using multiprocess::step;
using VDIFrameworkCommon::NamedCondition;
using VDIFrameworkCommon::NamedMutex;

CHILD_MAIN(waitsForTheCondition) {
    NamedMutex mutex;
    NamedCondition condition;
    if (!mutex.create("m") || !condition.create("c")) {
        return;
    }
    step("created");
    await("go");
    mutex.lock();
    step("locked");
    step(condition.timed_wait(mutex, 60'000) ? "notified" : "not notified");
    mutex.unlock();
}

class NamedConditionProcess : public testing::Test {
protected:
    NamedConditionProcess() {
        EXPECT_TRUE(mutex.create("m"));
        EXPECT_TRUE(condition.create("c"));
    }

    NamedMutex mutex;
    NamedCondition condition;
};

// The number of waiters, as every process reads it.
int waiters() {
    return raw::read(raw::logicalName("DEFVDI_", "c") + "_event").at(168);
}

TEST_F(NamedConditionProcess, ANotificationWakesAWaiterElsewhere) {
    Child child("waitsForTheCondition");
    child.waitFor("created");
    child.tell("go");
    child.waitFor("locked");
    while (waiters() == 0) {
    }
    EXPECT_TRUE(mutex.lock()) << "the waiter has given it back";
    condition.notify();
    mutex.unlock();
    child.waitFor("notified");
    EXPECT_EQ(child.join(), 0);
}

TEST_F(NamedConditionProcess, ANotificationBeforeTheWaitIsNotLost) {
    Child child("waitsForTheCondition");
    child.waitFor("created");
    condition.notify();
    child.tell("go");
    child.waitFor("locked");
    child.waitFor("notified");
    EXPECT_EQ(child.join(), 0);
}

}  // namespace
