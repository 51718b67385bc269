// The deadlocks that contracts allow, each in a process that a watchdog ends.

#include <VDIFrameworkCommon/ActiveVirtualChannelAgentRecorder.h>
#include <VDIFrameworkCommon/RWLock.h>
#include <VDIFrameworkCommon/ReentrantRWLock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <sstream>
#include <string>

#include "support/Background.h"
#include "support/Multiprocess.h"
#include "support/RecordingLogger.h"

namespace {

using VDIFrameworkCommon::ActiveVirtualChannelAgentRecorder;
using VDIFrameworkCommon::ReentrantRWLock;
using VDIFrameworkCommon::RWLock;

template <typename Lock>
void waitFor(const Lock& lock, const std::string& state) {
    waitUntil([&] {
        std::ostringstream stream;
        stream << lock;
        return stream.str() == state;
    });
}

// Waits for a thread that is deadlocked: the watchdog barks. Should it come through after all, the process ends well,
// which the test takes for a failure.
void join(Background& deadlocked) {
    deadlocked.waitUntilAsleep();
    alarm(1);
    deadlocked.join();
}

CHILD_MAIN(writerAsksAgain) {
    RWLock lock;
    lock.writeLock();
    Background again([&] { lock.writeLock(); });
    waitFor(lock, "rwlock -1, waiting writers 1");
    join(again);
}

CHILD_MAIN(writerAsksForReading) {
    RWLock lock;
    Background thread([&] {
        lock.writeLock();
        lock.readLock();
    });
    waitFor(lock, "rwlock -1, waiting writers 0");
    join(thread);
}

CHILD_MAIN(readerAsksForWriting) {
    RWLock lock;
    Background thread([&] {
        lock.readLock();
        lock.writeLock();
    });
    waitFor(lock, "rwlock 1, waiting writers 1");
    join(thread);
}

CHILD_MAIN(readerAsksAgainWhileAWriterWaits) {
    RWLock lock;
    lock.readLock();
    Background writing([&] { lock.writeLock(); });
    waitFor(lock, "rwlock 1, waiting writers 1");
    Background again([&] { lock.readLock(); });
    join(again);
}

CHILD_MAIN(twoReadersUpgrade) {
    ReentrantRWLock lock;
    std::atomic<int> readers{0};
    const auto upgrade = [&] {
        lock.readLock();
        ++readers;
        waitUntil([&] { return readers == 2; });
        lock.writeLock();
        lock.writeUnlock();
        lock.readUnlock();
    };
    Background first(upgrade);
    Background second(upgrade);
    waitFor(lock, "ReentrantRWLock waiting writers 2");
    join(first);
}

CHILD_MAIN(reentrantWriterAsksForReadingWhileAWriterWaits) {
    ReentrantRWLock lock;
    std::atomic<bool> holds{false};
    std::atomic<bool> read{false};
    Background writing([&] {
        lock.writeLock();
        holds = true;
        waitUntil([&] { return read.load(); });
        lock.readLock();
    });
    waitUntil([&] { return holds.load(); });
    Background other([&] { lock.writeLock(); });
    waitFor(lock, "ReentrantRWLock waiting writers 1");
    read = true;
    join(writing);
}

ActiveVirtualChannelAgentRecorder* recorder = nullptr;
std::atomic<bool> asks{false};

void askTheRecorder(const recording::Record& record) {
    if (record.function == "getActiveVirtualChannelAgentPid") {
        asks = true;
        recorder->getActiveVirtualChannelAgentPid();
    }
}

CHILD_MAIN(controllerAsksTheRecorderThatLogs) {
    ActiveVirtualChannelAgentRecorder logging;
    recorder = &logging;
    logging.setActiveVirtualChannelAgentPid(5);
    recording::setObserver(askTheRecorder);
    Background reader([&] { logging.getActiveVirtualChannelAgentPid(); });
    waitUntil([] { return asks.load(); });
    join(reader);
}

class LockDeadlock : public testing::TestWithParam<const char*> {};

TEST_P(LockDeadlock, LastsUntilTheWatchdogEndsIt) {
    multiprocess::Child child(GetParam());
    EXPECT_EQ(child.join(), 128 + SIGALRM) << child.errors();
}

INSTANTIATE_TEST_SUITE_P(RWLock, LockDeadlock,
                         testing::Values("writerAsksAgain", "writerAsksForReading", "readerAsksForWriting",
                                         "readerAsksAgainWhileAWriterWaits"),
                         [](const auto& which) { return std::string(which.param); });
INSTANTIATE_TEST_SUITE_P(ReentrantRWLock, LockDeadlock,
                         testing::Values("twoReadersUpgrade", "reentrantWriterAsksForReadingWhileAWriterWaits"),
                         [](const auto& which) { return std::string(which.param); });
INSTANTIATE_TEST_SUITE_P(ActiveAgentRecorder, LockDeadlock, testing::Values("controllerAsksTheRecorderThatLogs"),
                         [](const auto& which) { return std::string(which.param); });

}  // namespace
