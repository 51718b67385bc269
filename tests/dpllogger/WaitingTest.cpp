#include <dpllogger/DPLLogger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "dpllogger/LogReader.h"
#include "support/Eventually.h"
#include "support/Multiprocess.h"
#include "support/Sanitizers.h"

namespace {

using DPL::dpllogger::LogAppenderType;
using DPL::dpllogger::LogController;
using multiprocess::Child;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// Waits until the log has `count` records.
void awaitRecords(const std::filesystem::path& log, std::size_t count) {
    ASSERT_TRUE(eventually([&] { return logreader::readLog(log).size() >= count; })) << "no record came";
}

std::ptrdiff_t threadCount() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST(LogWaiting, ErrorsAreInTheFileBeforeLogReturnsWithWhatCameBefore) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_INFO, "one");
    logreader::write(controller, DPL_WARN, "two");
    EXPECT_THAT(logreader::contents(folder / "a.log"), IsEmpty()) << "these wait";
    logreader::write(controller, DPL_ERROR, "three");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("one", "two", "three"));
    logreader::write(controller, DPL_FATAL, "four");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), SizeIs(4));
}

CHILD_MAIN(logsAndStays) {
    LogController controller;
    controller.init(arguments.at(0));
    logreader::write(controller, DPL_INFO, "information");
    logreader::write(controller, DPL_ERROR, "error");
    multiprocess::step("logged");
    multiprocess::await("never");
}

TEST(LogWaiting, ErrorsSurviveAKill) {
    const logreader::TemporaryFolder folder;
    Child child("logsAndStays", {folder / "a.log"});
    child.waitFor("logged");
    child.kill();
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("information", "error"));
}

TEST(LogWaiting, FlushWritesEverything) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_INFO, "one");
    controller.flush();
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("one"));
    controller.flush();
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("one"));
}

TEST(LogWaiting, AFullBufferIsWritten) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_INFO, std::string(65536, 'x'));
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), SizeIs(1));
}

TEST(LogWaiting, ARecordIsWrittenAfterASecondAtMost) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    for (std::size_t i = 1; i <= 3; ++i) {
        logreader::write(controller, DPL_INFO, "waits");
        awaitRecords(folder / "a.log", i);
    }
}

TEST(LogWaiting, NoThreadIsThereBeforeARecordWaitsAndAfterASecondOfSilence) {
    const logreader::TemporaryFolder folder;
    std::thread([] {}).join();  // a sanitizer's own thread comes with the first one
    const auto before = threadCount();
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_ERROR, "does not wait");
    EXPECT_EQ(threadCount(), before);
    logreader::write(controller, DPL_INFO, "waits");
    EXPECT_EQ(threadCount(), before + 1);
    ASSERT_TRUE(eventually([&] { return threadCount() == before; }));
    logreader::write(controller, DPL_INFO, "starts another thread");
    awaitRecords(folder / "a.log", 3);
}

// Records of every phase of the process's end, each from a place where hosts clean up.
LogController* sharedController = nullptr;

struct LogsWhenDestroyed {
    ~LogsWhenDestroyed() { logreader::write(*sharedController, DPL_INFO, "static destructor"); }
};

CHILD_MAIN(logsAtExit) {
    sharedController = new LogController;
    sharedController->init(arguments.at(0));
    static const LogsWhenDestroyed logsWhenDestroyed;
    std::atexit([] { logreader::write(*sharedController, DPL_INFO, "atexit handler"); });
    logreader::write(*sharedController, DPL_INFO, "main");
}

TEST(LogWaiting, NormalExitWritesEverythingThoughNobodyDestroysTheController) {
    const logreader::TemporaryFolder folder;
    Child child("logsAtExit", {folder / "a.log"});
    ASSERT_EQ(child.join(), 0);
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("main", "atexit handler", "static destructor"));
}

bool logsLast = false;

CHILD_MAIN(logsAfterTheLibraryHasFinished) {
    sharedController = new LogController;
    sharedController->init(arguments.at(0));
    logreader::write(*sharedController, DPL_INFO, "main");
    logsLast = true;
}

// Runs after the destructors of every static object, the logging library's among them.
__attribute__((destructor)) void logLast() {
    if (logsLast) {
        logreader::write(*sharedController, DPL_INFO, "after all destructors");
    }
}

TEST(LogWaiting, RecordsAreTakenToTheVeryEnd) {
    const logreader::TemporaryFolder folder;
    Child child("logsAfterTheLibraryHasFinished", {folder / "a.log"});
    ASSERT_EQ(child.join(), 0);
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("main", "after all destructors"));
}

CHILD_MAIN(leavesMainByItsThread) {
    sharedController = new LogController;
    sharedController->init(arguments.at(0));
    logreader::write(*sharedController, DPL_INFO, "waits");
    pthread_exit(nullptr);
}

TEST(LogWaiting, TheFlushingThreadKeepsNoProcessAlive) {
    if (sanitizers::thread || sanitizers::address) {
        GTEST_SKIP() << "the sanitizer's own thread keeps it alive, or its first thread cannot end alone";
    }
    const logreader::TemporaryFolder folder;
    Child child("leavesMainByItsThread", {folder / "a.log"});
    EXPECT_EQ(child.join(), 0);
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), SizeIs(testing::Ge(1U)));
}

TEST(LogWaiting, DestroyingTheControllerWritesEverything) {
    const logreader::TemporaryFolder folder;
    {
        LogController controller;
        controller.init(folder / "a.log");
        logreader::write(controller, DPL_INFO, "one");
    }
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("one"));
}

TEST(LogBeforeInit, RecordsAreKeptAndWrittenAfterIt) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    logreader::write(controller, DPL_ERROR, "one");
    logreader::write(controller, DPL_INFO, "two");
    controller.flush();
    controller.init(folder / "a.log");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("one", "two"));
}

TEST(LogBeforeInit, TheOldestMakeRoomAndAreCounted) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    constexpr int count = 3000;
    for (int i = 0; i < count; ++i) {
        logreader::write(controller, DPL_INFO, std::to_string(i) + ' ' + std::string(1000, 'x'));
    }
    controller.init(folder / "a.log");
    const auto lines = logreader::readLog(folder / "a.log");
    ASSERT_GT(lines.size(), 500U);
    ASSERT_LT(lines.size(), 1100U);
    const auto lost = count - static_cast<int>(lines.size() - 1);
    EXPECT_EQ(lines[0].level, DPL_WARN);
    EXPECT_EQ(lines[0].logger, "dpllogger");
    EXPECT_EQ(lines[0].message, std::to_string(lost) + " records lost: " + std::to_string(lost) + " waited too long");
    for (std::size_t i = 1; i < lines.size(); ++i) {
        ASSERT_EQ(std::stoi(lines[i].message), lost + static_cast<int>(i) - 1) << "the newest are kept, in order";
    }
}

CHILD_MAIN(logsAndNeverInits) {
    LogController controller;
    if (arguments.at(0) == "console") {
        logreader::write(controller, DPL_INFO, "before");
        controller.setAppenderType(LogAppenderType::Console);
    }
    logreader::write(controller, DPL_ERROR, "error");
}

TEST(LogBeforeInit, WithoutInitNothingIsWrittenAnywhere) {
    Child child("logsAndNeverInits", {"nothing"});
    ASSERT_EQ(child.join(), 0);
    EXPECT_EQ(child.errors() + child.output(), "");
}

TEST(LogBeforeInit, TheConsoleNeedsNone) {
    Child child("logsAndNeverInits", {"console"});
    ASSERT_EQ(child.join(), 0);
    EXPECT_THAT(logreader::messagesOf(logreader::parseAll(child.errors())), ElementsAre("before", "error"));
}

TEST(LogFileWriting, IsAllowedAtFirst) {
    LogController controller;
    EXPECT_TRUE(controller.isFileWritingAllowed());
    controller.setFileWritingAllowed(false);
    EXPECT_FALSE(controller.isFileWritingAllowed());
    controller.setFileWritingAllowed(true);
    EXPECT_TRUE(controller.isFileWritingAllowed());
}

TEST(LogFileWriting, NothingIsTouchedWhileItIsNotAllowed) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.setFileWritingAllowed(false);
    controller.init(folder / "sub" / "a.log");
    logreader::write(controller, DPL_ERROR, "one");
    logreader::write(controller, DPL_INFO, "two");
    controller.flush();
    EXPECT_FALSE(std::filesystem::exists(folder / "sub"));
    controller.setFileWritingAllowed(true);
    controller.flush();
    EXPECT_THAT(logreader::messagesOf(folder / "sub" / "a.log"), ElementsAre("one", "two"));
}

TEST(LogFileWriting, WhatWaitedIsWrittenSoonAfterItIsAllowed) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    controller.setFileWritingAllowed(false);
    logreader::write(controller, DPL_ERROR, "one");
    controller.setFileWritingAllowed(true);
    awaitRecords(folder / "a.log", 1);
}

TEST(LogFileWriting, TheOldestMakeRoomAndAreCounted) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    controller.setFileWritingAllowed(false);
    constexpr int count = 50000;
    for (int i = 0; i < count; ++i) {
        logreader::write(controller, i % 2 == 0 ? DPL_ERROR : DPL_INFO, std::to_string(i));
    }
    controller.setFileWritingAllowed(true);
    controller.flush();
    const auto lines = logreader::readLog(folder / "a.log");
    ASSERT_GT(lines.size(), 5000U);
    const auto lost = count - static_cast<int>(lines.size() - 1);
    EXPECT_EQ(lines[0].message, std::to_string(lost) + " records lost: " + std::to_string(lost) + " waited too long");
    for (std::size_t i = 1; i < lines.size(); ++i) {
        ASSERT_EQ(lines[i].message, std::to_string(lost + static_cast<int>(i) - 1));
    }
    logreader::write(controller, DPL_ERROR, "later");
    EXPECT_EQ(logreader::messagesOf(folder / "a.log").size(), lines.size() + 1) << "a loss is reported once";
}

TEST(LogThreads, EveryRecordOfEachIsThereInItsOrder) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    constexpr int perThread = 5000;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            for (int i = 0; i < perThread; ++i) {
                const DPLLogLevel level = i % 100 == 0 ? DPL_ERROR : DPL_INFO;
                logreader::write(controller, level, std::to_string(number) + ' ' + std::to_string(i));
                if (i % 500 == 0) {
                    controller.setFileWritingAllowed(i % 1000 != 0);
                    controller.setLogLevel(DPL_INFO);
                    controller.flush();
                }
            }
            controller.setFileWritingAllowed(true);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    controller.setFileWritingAllowed(true);
    controller.flush();
    int next[4] = {};
    for (const std::string& message : logreader::messagesOf(folder / "a.log")) {
        const auto number = static_cast<std::size_t>(message[0] - '0');
        ASSERT_EQ(std::stoi(message.substr(2)), next[number]++);
    }
    EXPECT_THAT(next, Each(perThread));
}

}  // namespace
