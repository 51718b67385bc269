#include <dpllogger/DPLLogger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <thread>

#include "dpllogger/LogReader.h"
#include "support/Eventually.h"
#include "support/Multiprocess.h"
#include "support/Sanitizers.h"

// The logging library starts a thread in the child of a process that has threads, which the thread sanitizer takes for
// an error unless told otherwise.
extern "C" const char* __tsan_default_options() {
    return "die_after_fork=0";
}

namespace {

using DPL::dpllogger::LogController;
using testing::Contains;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

// Waits until no other thread of this process runs. The allocator of a sanitizer stays locked in a child if a thread,
// one that only just starts too, was using it as the process forked.
void letOtherThreadsWait() {
    ASSERT_TRUE(eventually([] {
        for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
            const std::string stat = logreader::contents(thread.path() / "stat");
            const char state = stat.at(stat.rfind(')') + 2);
            if (thread.path().filename() != std::to_string(gettid()) && state != 'S') {
                return false;
            }
        }
        return true;
    }));
}

// Runs `body` in a forked child that ends without exit handlers; true if it ended in order.
bool inFork(const std::function<void()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        body();
        _exit(0);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

TEST(LogFork, TheChildDoesNotRepeatItsParentsRecords) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_INFO, "parent");
    letOtherThreadsWait();
    ASSERT_TRUE(inFork([&] {
        logreader::write(controller, DPL_INFO, "child");
        controller.flush();
    }));
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), Contains("child"));
    controller.flush();
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), UnorderedElementsAre("child", "parent"));
}

TEST(LogFork, TheChildsRecordsCarryItsOwnIds) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_ERROR, "parent");
    ASSERT_TRUE(inFork([&] { logreader::write(controller, DPL_ERROR, std::to_string(getpid())); }));
    const auto lines = logreader::readLog(folder / "a.log");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(std::to_string(lines[1].pid), lines[1].message);
    EXPECT_EQ(lines[1].tid, lines[1].pid);
    EXPECT_NE(lines[1].pid, lines[0].pid);
}

TEST(LogFork, TheChildsRecordsAreWrittenAfterASecondToo) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_INFO, "parent");
    letOtherThreadsWait();
    ASSERT_TRUE(inFork([&] {
        logreader::write(controller, DPL_INFO, "child");
        if (!eventually([&] { return logreader::contents(folder / "a.log").find("child") != std::string::npos; })) {
            _exit(1);
        }
    }));
    controller.flush();
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), UnorderedElementsAre("child", "parent"));
}

CHILD_MAIN(forksAndBothExit) {
    auto* const controller = new LogController;
    controller->init(arguments.at(0));
    logreader::write(*controller, DPL_INFO, "parent");
    letOtherThreadsWait();
    const pid_t child = fork();
    if (child == 0) {
        logreader::write(*controller, DPL_INFO, "child");
        std::exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    std::exit(status);
}

TEST(LogFork, BothWriteTheirRecordsAtExit) {
    const logreader::TemporaryFolder folder;
    multiprocess::Child child("forksAndBothExit", {folder / "a.log"});
    ASSERT_EQ(child.join(), 0) << child.errors();
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), UnorderedElementsAre("child", "parent"));
}

TEST(LogFork, RecordsThatWaitForInitStayTheParents) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    logreader::write(controller, DPL_INFO, "parent");
    ASSERT_TRUE(inFork([&] {
        controller.init(folder / "a.log");
        logreader::write(controller, DPL_ERROR, "child");
    }));
    controller.init(folder / "a.log");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("child", "parent"));
}

TEST(LogFork, WorksWhileOtherThreadsLog) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    // However long the forks take, not so many records that the oldest file is removed.
    constexpr int recordsToAFork = 5000;
    std::atomic<int> forked{0};
    std::atomic<bool> stop{false};
    std::atomic<int> logged{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                if (logged >= (forked + 1) * recordsToAFork) {
                    std::this_thread::yield();
                    continue;
                }
                const int number = logged++;
                logreader::write(controller, number % 3 == 0 ? DPL_ERROR : DPL_INFO, "parent");
            }
        });
    }
    constexpr int forks = 30;
    for (; forked < forks; ++forked) {
        ASSERT_TRUE(inFork([&] {
            logreader::write(controller, DPL_INFO, "child");
            logreader::write(controller, DPL_ERROR, "child");
        }));
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    controller.flush();
    const auto messages = logreader::messagesOf(folder / "a.log");
    EXPECT_EQ(std::count(messages.begin(), messages.end(), "child"), 2 * forks);
    EXPECT_EQ(std::count(messages.begin(), messages.end(), "parent"), logged);
}

TEST(LogFork, TheChildGetsLoggersThoughTheParentsThreadsWereMakingSome) {
    if (sanitizers::address) {
        GTEST_SKIP() << "the sanitizer's allocator stays locked in a child if a thread of its parent was using it";
    }
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&stop, i] {
            for (int number = 0; !stop; ++number) {
                DPLLogger_getLogger((std::to_string(i) + ' ' + std::to_string(number % 1000)).c_str());
            }
        });
    }
    bool allEndedWell = true;
    for (int i = 0; i < 100 && allEndedWell; ++i) {
        allEndedWell = inFork([i] {
            alarm(60);
            const std::string name = "child's " + std::to_string(i);
            if (DPLLogger_getLogger("0 0") == nullptr || DPLLogger_getName(DPLLogger_getLogger(name.c_str())) != name) {
                _exit(1);
            }
        });
    }
    EXPECT_TRUE(allEndedWell);
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// The C library lets nobody else convert a time meanwhile, in a child for ever if it was forked just then.
TEST(LogFork, TheChildLogsThoughAThreadOfItsParentWasConvertingATime) {
    if (sanitizers::address) {
        GTEST_SKIP() << "the sanitizer's allocator stays locked in a child if a thread of its parent was using it";
    }
    const logreader::TemporaryFolder folder;
    setenv("TZ", "XXX-5:30", 1);
    LogController controller;
    controller.init(folder / "a.log");
    std::atomic<bool> stop{false};
    std::thread converter([&stop] {
        std::tm parts{};
        while (!stop) {
            const std::time_t now = std::time(nullptr);
            localtime_r(&now, &parts);
        }
    });
    bool allEndedWell = true;
    for (int i = 0; i < 100 && allEndedWell; ++i) {
        allEndedWell = inFork([&] {
            alarm(60);
            LogController another;  // which knows no time yet
            another.init(folder / "a.log");
            logreader::write(another, DPL_ERROR, "child");
        });
    }
    EXPECT_TRUE(allEndedWell);
    stop = true;
    converter.join();
    const auto lines = logreader::readLog(folder / "a.log");
    EXPECT_EQ(lines.size(), 100U);
    for (const auto& line : lines) {
        ASSERT_THAT(line.time, testing::EndsWith("+05:30"));
    }
}

TEST(LogFork, NoDescriptorOfTheLogIsInheritedByAProgram) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_ERROR, "open");
    const std::string command = "! ls -l /proc/self/fd | grep -q " + folder.path().string();
    EXPECT_EQ(std::system(command.c_str()), 0);
    bool found = false;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        found = found || std::filesystem::read_symlink(entry.path(), error) == folder / "a.log";
    }
    EXPECT_TRUE(found) << "the test would have seen it";
}

}  // namespace
