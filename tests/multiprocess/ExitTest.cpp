// The end of a process, which finds its threads, its static destructors and its forked children still logging.

#include <VDIFrameworkCommon/ActiveVirtualChannelAgentRecorder.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <VDIFrameworkCommon/VirtualChannelLogger.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>

#include "SystemCalls.h"
#include "support/Background.h"
#include "support/Multiprocess.h"
#include "support/RecordingLogger.h"
#include "support/Sanitizers.h"

namespace {

using multiprocess::Child;
using multiprocess::step;
using VDIFrameworkCommon::ActiveVirtualChannelAgentRecorder;
using VDIFrameworkCommon::VDIRunnerCounter;

bool hasRecord(const std::string& message) {
    for (const auto& record : recording::takeRecords()) {
        if (record.message == message) {
            return true;
        }
    }
    return false;
}

// Set by the child that wants it: what a destructor of the program does while the process exits.
void (*atStaticDestruction)() = nullptr;

struct Late {
    Late() = default;
    Late(const Late&) = delete;
    Late& operator=(const Late&) = delete;
    ~Late() {
        if (atStaticDestruction != nullptr) {
            atStaticDestruction();
        }
    }
};
const Late late;

CHILD_MAIN(logsFromAStaticDestructor) {
    atStaticDestruction = [] {
        recording::takeRecords();
        VDIRunnerCounter().addRunner(0);
        VDIRunnerCounter::getInstance()->removeRunner(0);
        step(hasRecord("Invalid pid: 0") ? "logged" : "not logged");
    };
}

TEST(Exit, StaticDestructorsOfTheProgramStillLog) {
    Child child("logsFromAStaticDestructor");
    child.waitFor("logged");
    EXPECT_EQ(child.join(), 0);
}

CHILD_MAIN(logsFromAnExitHandler) {
    std::atexit([] {
        recording::takeRecords();
        VDIRunnerCounter().addRunner(0);
        step(hasRecord("Invalid pid: 0") ? "logged" : "not logged");
    });
}

TEST(Exit, ExitHandlersOfTheProgramStillLog) {
    Child child("logsFromAnExitHandler");
    child.waitFor("logged");
    EXPECT_EQ(child.join(), 0);
}

CHILD_MAIN(usesTheLibraryAfterItsEnd) {
    VDIRunnerCounter::getInstance()->addRunner(5);
    recording::atUnload([] {
        step("controllers: " + std::to_string(recording::liveControllers()));
        recording::takeRecords();
        recording::takeCalls();
        VDIRunnerCounter().addRunner(0);
        VDIRunnerCounter::getInstance()->addRunner(0);
        VirtualChannelLogger_init("somewhere");
        VirtualChannelLogger_setLogLevel(DPL_DEBUG);
        VirtualChannelLogger_setAppenderType({});
        VirtualChannelLogger_setFileWritingAllowed(true);
        VirtualChannelLogger_flushBufferIfAllowed();
        VirtualChannelLogger_flush();
        const bool silent = recording::takeRecords().empty() && recording::takeCalls().empty();
        step(VirtualChannelLogger_getInstance() == nullptr && silent ? "dropped" : "not dropped");
        step(VDIRunnerCounter::getInstance()->hasRunner() ? "works" : "does not work");
    });
}

TEST(Exit, AfterTheReleaseRecordsAreDropped) {
    Child child("usesTheLibraryAfterItsEnd");
    child.waitFor("controllers: 0");
    child.waitFor("dropped");
    child.waitFor("works");
    EXPECT_EQ(child.join(), 0);
    EXPECT_EQ(child.output(), "") << "the facade's lines belong to an initialisation that takes place";
}

CHILD_MAIN(keepsACopyOfTheController) {
    static const auto copy = VirtualChannelLogger_getInstance();
    recording::atUnload([] { step("controllers: " + std::to_string(recording::liveControllers())); });
}

TEST(Exit, TheControllerGoesWithItsLastCopy) {
    Child child("keepsACopyOfTheController");
    child.waitFor("controllers: 0");
    EXPECT_EQ(child.join(), 0);
}

std::atomic<int> busyThreads{0};

void logForEver() {
    std::thread([] {
        ActiveVirtualChannelAgentRecorder recorder;
        ++busyThreads;
        for (;;) {
            VDIRunnerCounter::getInstance()->addRunner(0);
            recorder.getActiveVirtualChannelAgentPid();
            VirtualChannelLogger_flushBufferIfAllowed();
        }
    }).detach();
}

CHILD_MAIN(exitsWhileThreadsLog) {
    recording::setKeeping(false);
    for (int i = 0; i < 3; ++i) {
        logForEver();
    }
    while (busyThreads < 3) {
        std::this_thread::yield();
    }
}

TEST(Exit, ThreadsThatOutliveMainMayLogToTheVeryEnd) {
    const int runs = sanitizers::address || sanitizers::thread ? 10 : 50;
    for (int i = 0; i < runs; ++i) {
        // The leak check stops every thread at exit and gives up when threads keep coming and going; it is not the
        // test's.
        Child child("exitsWhileThreadsLog", {}, {{"ASAN_OPTIONS", "detect_leaks=0"}});
        ASSERT_EQ(child.join(), 0) << child.errors();
    }
}

TEST(Exit, ThreadsMayLogToTheVeryEndWhereTheKernelHasNoBarrierForAProcess) {
    ASSERT_TRUE(systemcalls::forbid(SYS_membarrier, ENOSYS));
    const int runs = sanitizers::address || sanitizers::thread ? 2 : 10;
    for (int i = 0; i < runs; ++i) {
        Child child("exitsWhileThreadsLog", {}, {{"ASAN_OPTIONS", "detect_leaks=0"}});
        ASSERT_EQ(child.join(), 0) << child.errors();
    }
}

// A thread of the program that is caught in the middle of a record and never comes back.
void blockInARecord() {
    static std::atomic<bool> inside{false};
    recording::setObserver([](const recording::Record& /*record*/) {
        recording::setObserver(nullptr);
        inside = true;
        waitUntil([] { return false; });
    });
    std::thread([] { VDIRunnerCounter().addRunner(0); }).detach();
    waitUntil([] { return inside.load(); });
}

CHILD_MAIN(exitsWhileAThreadIsStuckInARecord) {
    blockInARecord();
    recording::atUnload([] { step("controllers: " + std::to_string(recording::liveControllers())); });
}

TEST(Exit, AThreadThatIsStuckInARecordKeepsTheControllerAndNotTheProcess) {
    Child child("exitsWhileAThreadIsStuckInARecord", {}, {{"ASAN_OPTIONS", "detect_leaks=0"}});
    child.waitFor("controllers: 1");
    EXPECT_EQ(child.join(), 0);
}

CHILD_MAIN(exitsWithinARecord) {
    recording::setObserver([](const recording::Record& /*record*/) {
        recording::setObserver(nullptr);
        std::exit(3);
    });
    VDIRunnerCounter().addRunner(0);
}

TEST(Exit, MayBeginWithinARecord) {
    Child child("exitsWithinARecord", {}, {{"ASAN_OPTIONS", "detect_leaks=0"}});
    EXPECT_EQ(child.join(), 3) << child.errors();
}

CHILD_MAIN(forksWhileAThreadIsStuckInARecord) {
    blockInARecord();
    const pid_t pid = fork();
    if (pid == 0) {
        recording::atUnload([] { step("controllers: " + std::to_string(recording::liveControllers())); });
        std::exit(7);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    step("child: " + std::to_string(WEXITSTATUS(status)));
}

TEST(Exit, AForkedChildDoesNotWaitForTheRecordsOfItsParentsThreads) {
    Child child("forksWhileAThreadIsStuckInARecord", {}, {{"ASAN_OPTIONS", "detect_leaks=0"}});
    child.waitFor("controllers: 0");
    child.waitFor("child: 7");
    EXPECT_EQ(child.join(), 0);
}

struct LoggingThreadLocal {
    LoggingThreadLocal() = default;
    LoggingThreadLocal(const LoggingThreadLocal&) = delete;
    LoggingThreadLocal& operator=(const LoggingThreadLocal&) = delete;
    ~LoggingThreadLocal() { VDIRunnerCounter().addRunner(0); }
};

TEST(Exit, ThreadLocalDestructorsOfTheProgramStillLog) {
    std::thread([] {
        // Made before the thread's first record, so destroyed after all that the library keeps for the thread.
        static thread_local const LoggingThreadLocal last;
        static_cast<void>(&last);
        VDIRunnerCounter().addRunner(1);
        recording::takeRecords();
    }).join();
    EXPECT_TRUE(hasRecord("Invalid pid: 0"));
}

CHILD_MAIN(forksAndLogs) {
    VDIRunnerCounter counter;
    counter.addRunner(0);
    recording::takeRecords();
    const pid_t pid = fork();
    if (pid == 0) {
        counter.addRunner(0);
        step(hasRecord("Invalid pid: 0") ? "logged" : "not logged");
        std::exit(7);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    step("child: " + std::to_string(WEXITSTATUS(status)));
}

TEST(Exit, AForkedChildLogsAndEnds) {
    Child child("forksAndLogs");
    child.waitFor("logged");
    child.waitFor("child: 7");
    EXPECT_EQ(child.join(), 0);
}

}  // namespace
