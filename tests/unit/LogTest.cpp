#include <VDIFrameworkCommon/NamedMutex.h>
#include <VDIFrameworkCommon/SHMStorageMacosx.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <VDIFrameworkCommon/VirtualChannelLogger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <locale>
#include <string>
#include <thread>
#include <vector>

#include "support/AllocationCounter.h"
#include "support/Multiprocess.h"
#include "support/RecordingLogger.h"

namespace {

using multiprocess::Child;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using VDIFrameworkCommon::SHMStorageMacosx;
using VDIFrameworkCommon::VDIRunnerCounter;

TEST(Log, AsksForAHandleForEachSourceFileThatLogsAtLoadAndForNoneLater) {
    const auto atStart = recording::requestedLoggers();
    EXPECT_THAT(atStart, UnorderedElementsAre("ActiveAgentRecorder", "VDIRunnerCounter", "SHMStorageBase", "SHMStorage",
                                              "SharedMemory", "SharedMemory", "MessageUtils", "VDIFrameworkCommon",
                                              "VDIFrameworkCommon", "VDIFrameworkCommon"));
    VDIRunnerCounter().addRunner(1);
    std::thread([] { VDIRunnerCounter().addRunner(2); }).join();
    EXPECT_EQ(recording::requestedLoggers(), atStart);
}

TEST(Log, ASteadyFlowOfRecordsAllocatesNothing) {
    SHMStorageMacosx storage("a storage whose name is longer than any short-string buffer");
    recording::setKeeping(false);
    char bytes[4] = {};
    storage.writeData(bytes, 4);
    storage.readData(bytes, 4);
    const long before = allocations();
    for (int i = 0; i < 100; ++i) {
        storage.writeData(bytes, 4);
        storage.readData(bytes, 4);
    }
    EXPECT_EQ(allocations() - before, 0);
}

struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(Log, NumbersIgnoreTheLocale) {
    const std::locale grouped = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    VDIRunnerCounter counter;
    recording::takeRecords();
    counter.addRunner(4000000000U);
    std::locale::global(grouped);
    std::vector<std::string> messages;
    for (const auto& record : recording::takeRecords()) {
        messages.push_back(record.message);
    }
    EXPECT_THAT(messages, testing::Contains("Add pid: 4000000000"));
}

TEST(Log, CarriesTheLineOfTheCall) {
    VDIRunnerCounter counter;
    recording::takeRecords();
    counter.addRunner(0);
    counter.addRunner(0);
    const auto records = recording::takeRecords();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_GT(records[0].line, 1);
    EXPECT_EQ(records[0].line, records[1].line);
}

TEST(Log, TextsMayHoldAnyBytes) {
    const std::string name("n\0\xff|", 4);
    SHMStorageMacosx storage(name);
    char byte = 0;
    recording::takeRecords();
    storage.readData(&byte, 0);
    EXPECT_EQ(recording::takeRecords().back().message, "ReadData from SHMStorageBase: " + name);
}

TEST(Log, RecordsOfSeveralThreadsDoNotMix) {
    SHMStorageMacosx storage("s");
    storage.init();
    recording::takeRecords();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            char byte = 0;
            for (int j = 0; j < 500; ++j) {
                storage.readData(&byte, 1);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const auto records = recording::takeRecords();
    EXPECT_EQ(records.size(), 2000U);
    for (const auto& record : records) {
        ASSERT_EQ(record.message, "ReadData from SHMStorageBase: s");
    }
}

// A controller that logs through the library itself while it takes a record.
VDIRunnerCounter* nestedCounter = nullptr;

void logAgain(const recording::Record& record) {
    if (record.message == "Invalid pid: 0") {
        recording::setObserver(nullptr);
        nestedCounter->addRunner(0);
        nestedCounter->removeRunner(5);
    }
}

TEST(Log, ARecordWithinARecordKeepsBothTexts) {
    VDIRunnerCounter counter;
    nestedCounter = &counter;
    recording::takeRecords();
    recording::setObserver(logAgain);
    counter.addRunner(0);
    std::vector<std::string> messages;
    for (const auto& record : recording::takeRecords()) {
        if (record.logger == "VDIRunnerCounter") {
            messages.push_back(record.message);
        }
    }
    EXPECT_THAT(messages, testing::ElementsAre("Invalid pid: 0", "Remove pid: 5", "Invalid pid: 0"));
}

void throwSomething(const recording::Record& /*record*/) {
    throw 1;
}

TEST(Log, AControllerThatThrowsDoesNotReachTheCaller) {
    VDIRunnerCounter counter;
    recording::setObserver(throwSomething);
    EXPECT_NO_THROW(counter.addRunner(3));
    recording::setObserver(nullptr);
    EXPECT_THAT(counter.getAllRunners(), testing::ElementsAre(3));
}

CHILD_MAIN(logsWithoutHandles) {
    VDIRunnerCounter counter;
    counter.addRunner(0);
    counter.addRunner(5);
    for (const auto& record : recording::takeRecords()) {
        if (record.logger != "SHMStorage") {
            multiprocess::step(record.logger);
        }
    }
    multiprocess::step(counter.hasRunner() ? "works" : "does not work");
}

TEST(Log, ARecordWithoutAHandleIsDropped) {
    Child child("logsWithoutHandles", {}, {{"RECORDING_NULL_LOGGERS", "VDIRunnerCounter,SHMStorageBase"}});
    child.waitFor("works");
    EXPECT_EQ(child.join(), 0);
}

CHILD_MAIN(composesWithoutHandles) {
    VDIRunnerCounter counter;
    counter.removeRunner(4000000000U);
    const long before = allocations();
    for (int i = 0; i < 100; ++i) {
        counter.removeRunner(4000000000U);
    }
    multiprocess::step(std::to_string(allocations() - before));
}

TEST(Log, NothingIsAllocatedForADroppedRecord) {
    Child child("composesWithoutHandles", {},
                {{"RECORDING_NULL_LOGGERS", "VDIRunnerCounter,SHMStorageBase,SHMStorage"}});
    child.waitFor("0");
    EXPECT_EQ(child.join(), 0);
}

}  // namespace
