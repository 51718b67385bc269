#include <dlfcn.h>
#include <dpllogger/DPLLogger.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "dpllogger/LogReader.h"
#include "support/Multiprocess.h"

namespace {

// Called once, by the thread that takes the lock of a log next: in the middle of a record.
std::function<void()>& inTheMiddle() {
    static std::function<void()> hook;
    return hook;
}

// Whether anybody in this process has slept.
std::atomic<bool> slept{false};

}  // namespace

extern "C" int nanosleep(const timespec* wanted, timespec* left) {
    static const auto next = reinterpret_cast<decltype(&::nanosleep)>(dlsym(RTLD_NEXT, "nanosleep"));
    slept = true;
    return next(wanted, left);
}

extern "C" int flock(int descriptor, int operation) {
    static const auto next = reinterpret_cast<decltype(&::flock)>(dlsym(RTLD_NEXT, "flock"));
    if (const auto hook = std::exchange(inTheMiddle(), nullptr)) {
        hook();
    }
    return next(descriptor, operation);
}

namespace {

using DPL::dpllogger::LogAppenderType;
using DPL::dpllogger::LogController;
using multiprocess::Child;
using testing::ElementsAre;
using testing::SizeIs;

// Runs `body` in a thread that somebody cancels first. Returns whether it went through to its end and was cancelled
// only then.
bool isDoneBeforeCancellation(const std::function<void()>& body) {
    struct Thread {
        const std::function<void()>& body;
        bool done = false;
        static void* run(void* thread) {
            auto& self = *static_cast<Thread*>(thread);
            pthread_cancel(pthread_self());
            self.body();
            self.done = true;
            pthread_testcancel();
            return nullptr;
        }
    } thread{body};
    pthread_t id{};
    EXPECT_EQ(pthread_create(&id, nullptr, Thread::run, &thread), 0);
    void* result = nullptr;
    EXPECT_EQ(pthread_join(id, &result), 0);
    return thread.done && result == PTHREAD_CANCELED;
}

TEST(LogCancellation, ARecordIsWrittenToItsEnd) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    EXPECT_TRUE(isDoneBeforeCancellation([&] {
        controller.init(folder / "sub" / "a.log");
        logreader::write(controller, DPL_INFO, "information");
        logreader::write(controller, DPL_ERROR, "error");
    }));
    EXPECT_THAT(logreader::messagesOf(folder / "sub" / "a.log"), ElementsAre("information", "error"));
    logreader::write(controller, DPL_ERROR, "the log is still usable");
    EXPECT_THAT(logreader::messagesOf(folder / "sub" / "a.log"), SizeIs(3));
}

TEST(LogCancellation, EveryOtherOperationIsDoneToo) {
    const logreader::TemporaryFolder folder;
    setenv("DPL_LOG_FILE_SIZE", "is complained of", 1);
    EXPECT_TRUE(isDoneBeforeCancellation([&] {
        LogController controller;
        controller.init(folder / "a.log");
        controller.setFileWritingAllowed(false);
        logreader::write(controller, DPL_INFO, "one");
        controller.setFileWritingAllowed(true);
        controller.flush();
        logreader::write(controller, DPL_INFO, "two");
        controller.setAppenderType(LogAppenderType::FileAndConsole);
        logreader::write(controller, DPL_INFO, "three");
        controller.setLogLevel(DPL_OFF);
    }));
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("one", "two", "three"));
}

// Makes a pipe standard error for a while; its reader is the test.
class ErrorPipe {
public:
    ErrorPipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        before_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
        reader_ = ends[0];
    }
    ~ErrorPipe() {
        dup2(before_, STDERR_FILENO);
        close(before_);
        close(reader_);
    }
    ErrorPipe(const ErrorPipe&) = delete;
    ErrorPipe& operator=(const ErrorPipe&) = delete;

    void closeReader() { close(std::exchange(reader_, -1)); }

private:
    int before_ = -1;
    int reader_ = -1;
};

bool isPending(int number) {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, number) == 1;
}

TEST(LogSignals, AConsoleThatNobodyReadsAnyMoreEndsNoProcess) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    controller.setAppenderType(LogAppenderType::FileAndConsole);
    ErrorPipe pipe;
    pipe.closeReader();
    logreader::write(controller, DPL_ERROR, "one");
    logreader::write(controller, DPL_INFO, std::string(100000, 'x'));
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), SizeIs(2));
}

TEST(LogSignals, TheHostsOwnBrokenPipeStaysAsItIs) {
    LogController controller;
    controller.setAppenderType(LogAppenderType::Console);
    ErrorPipe pipe;
    pipe.closeReader();
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    logreader::write(controller, DPL_ERROR, "one");
    EXPECT_FALSE(isPending(SIGPIPE)) << "the log's is taken back";
    raise(SIGPIPE);
    logreader::write(controller, DPL_ERROR, "two");
    EXPECT_TRUE(isPending(SIGPIPE)) << "the host's is left";
    int number = 0;
    sigwait(&set, &number);
    sigset_t now;
    pthread_sigmask(SIG_SETMASK, nullptr, &now);
    EXPECT_EQ(sigismember(&now, SIGPIPE), 1);
}

TEST(LogSignals, AFileAsLargeAsItMayBeEndsNoProcessAndTheLossIsTold) {
    const logreader::TemporaryFolder folder;
    const auto log = folder / "a.log";
    LogController controller;
    controller.init(log);
    logreader::write(controller, DPL_ERROR, "first");
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{std::filesystem::file_size(log) + 10, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    logreader::write(controller, DPL_ERROR, "cut short");
    EXPECT_THAT(logreader::messagesOf(log), ElementsAre("first")) << "the part that was written is taken back";
    setrlimit(RLIMIT_FSIZE, &before);
    logreader::write(controller, DPL_ERROR, "last");
    EXPECT_THAT(logreader::messagesOf(log),
                ElementsAre("first", "1 records lost: 1 not written (File too large)", "last"));
}

CHILD_MAIN(exitsWithinARecord) {
    static LogController controller;
    controller.init(arguments.at(0));
    logreader::write(controller, DPL_ERROR, "before");
    inTheMiddle() = [] { std::exit(7); };
    logreader::write(controller, DPL_ERROR, "never ends");
}

TEST(LogExit, WithinARecordEndsTheProcess) {
    const logreader::TemporaryFolder folder;
    Child child("exitsWithinARecord", {folder / "a.log"});
    EXPECT_EQ(child.join(), 7) << child.errors();
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("before"));
}

CHILD_MAIN(anotherThreadExits) {
    static LogController controller;
    controller.init(arguments.at(0));
    logreader::write(controller, DPL_INFO, "waits");
    inTheMiddle() = [] {
        std::thread([] { std::exit(7); }).detach();
        while (!slept) {  // as who exits does, to wait for this record
            std::this_thread::yield();
        }
    };
    logreader::write(controller, DPL_ERROR, "is finished");
    pause();
}

TEST(LogExit, WaitsForTheRecordOfAnotherThread) {
    const logreader::TemporaryFolder folder;
    Child child("anotherThreadExits", {folder / "a.log"});
    EXPECT_EQ(child.join(), 7) << child.errors();
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("waits", "is finished"));
}

// For a handler, which has no other way to it.
LogController* interrupted = nullptr;

// Raises a signal in the middle of the next record.
void interruptNextRecord(LogController& controller, void (*handler)(int)) {
    interrupted = &controller;
    std::signal(SIGUSR1, handler);
    inTheMiddle() = [] { raise(SIGUSR1); };
}

TEST(LogSignals, AHandlerThatLogsWithinARecordWaitsForNobody) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    interruptNextRecord(controller, [](int) {
        logreader::write(*interrupted, DPL_ERROR, "within");
        logreader::write(*interrupted, DPL_INFO, "within");
        interrupted->setLogLevel(DPL_OFF);
        interrupted->setAppenderType(LogAppenderType::None);
        interrupted->setFileWritingAllowed(false);
        interrupted->init("elsewhere");
        interrupted->flush();
    });
    logreader::write(controller, DPL_ERROR, "one");
    logreader::write(controller, DPL_ERROR, "two");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"),
                ElementsAre("one", "2 records lost: 2 not written (Resource deadlock avoided)", "two"));
}

TEST(LogSignals, AHandlerMayUseAnotherControllerWithinARecord) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    LogController other;
    controller.init(folder / "a.log");
    other.init(folder / "other.log");
    interruptNextRecord(other, [](int) { logreader::write(*interrupted, DPL_ERROR, "within"); });
    logreader::write(controller, DPL_ERROR, "one");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("one"));
    EXPECT_THAT(logreader::messagesOf(folder / "other.log"), ElementsAre("within"));
}

std::atomic<int> statusOfChild{-1};

TEST(LogSignals, AHandlerThatForksWithinARecordGetsItsChild) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_INFO, "one");
    interruptNextRecord(controller, [](int) {
        const pid_t child = fork();
        if (child == 0) {
            logreader::write(*interrupted, DPL_ERROR, "the child's");
            _exit(7);
        }
        int status = -1;
        waitpid(child, &status, 0);
        statusOfChild = status;
    });
    logreader::write(controller, DPL_ERROR, "two");
    EXPECT_EQ(WEXITSTATUS(statusOfChild), 7);
    logreader::write(controller, DPL_ERROR, "three");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("one", "two", "three"));
}

std::atomic<int> interruptions{0};

TEST(LogSignals, InterruptionsCutNoRecordShort) {
    const logreader::TemporaryFolder folder;
    struct sigaction action {};
    action.sa_handler = [](int) { ++interruptions; };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 200}, {0, 200}};
    setitimer(ITIMER_REAL, &often, nullptr);
    LogController controller;
    controller.init(folder / "a.log");
    constexpr int least = 2000;
    int count = 0;
    for (; count < least || interruptions < 50; ++count) {
        logreader::write(controller, count % 2 == 0 ? DPL_ERROR : DPL_INFO, std::to_string(count));
    }
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    controller.flush();
    const auto messages = logreader::messagesOf(folder / "a.log");
    ASSERT_EQ(messages.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(messages[static_cast<std::size_t>(i)], std::to_string(i));
    }
}

}  // namespace
