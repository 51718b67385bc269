// Two threads that ask for an object at the same time while there is none yet: one makes it, the other gets the same.

#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <VDIFrameworkCommon/VirtualChannelLogger.h>
#include <gtest/gtest.h>

#include <atomic>

#include "support/AllocationCounter.h"
#include "support/Background.h"
#include "support/Gate.h"

namespace {

using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIRunnerCounter;

Gate gate;
std::atomic<bool> isMaking{false};
thread_local bool waitsAtItsNextAllocation = false;

void waitIfAsked() {
    if (waitsAtItsNextAllocation) {
        waitsAtItsNextAllocation = false;
        isMaking = true;
        gate.wait();
    }
}

template <typename Object>
void expectOneObject(Object (*getInstance)()) {
    Object found[2] = {};
    setAllocationHook(waitIfAsked);
    Background first([&] {
        VirtualChannelLogger_getInstance();  // what the library keeps for this thread is there then
        waitsAtItsNextAllocation = true;
        found[0] = getInstance();
    });
    waitUntil([] { return isMaking.load(); });
    Background second([&] { found[1] = getInstance(); });
    second.waitUntilAsleep();
    EXPECT_FALSE(second.ended()) << "it waits for the first";
    gate.open();
    first.join();
    second.join();
    EXPECT_NE(found[0], nullptr);
    EXPECT_EQ(found[0], found[1]);
    EXPECT_EQ(found[0], getInstance());
}

TEST(FirstUse, OfTheClientsIdentity) {
    expectOneObject(&VDIClientInfo::getInstance);
}

TEST(FirstUse, OfTheRunnerCounter) {
    expectOneObject(&VDIRunnerCounter::getInstance);
}

}  // namespace
