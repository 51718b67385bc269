#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <future>
#include <optional>

#include "ProcessFixture.h"
#include "SystemCalls.h"
#include "support/Sanitizers.h"
#include "support/Threads.h"

namespace {

using multiprocess::Child;
using multiprocess::step;
using processes::contents;
using processes::folder;
using processes::hasNoChildren;
using processes::probe;
using processes::ProcessUtils;
using processes::record;
using processes::Report;
using processes::takeRecords;
using processes::writeFile;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

const auto succeeded = record(DPL_INFO, "createProcessAtURL_block_invoke", "createProcess: succeed");
const auto failed = record(DPL_INFO, "createProcessAtURL_block_invoke", "createProcess: failed");

// The last record of a launch without arguments: the outcome.
recording::Record launch(const std::string& path) {
    ProcessUtils::createProcessAtURL(path, {});
    return takeRecords(2).at(1);
}

TEST(ProcessLaunch, WritesItsRecordsInOrder) {
    const std::string program = probe();
    const Report report;
    ProcessUtils::createProcessAtURL(program, {"first", "", "third one"});
    EXPECT_THAT(takeRecords(5),
                ElementsAre(record(DPL_INFO, "createProcessAtURL", "createProcessAtURL: " + program),
                            record(DPL_INFO, "createProcessAtURL", "add argument: first"),
                            record(DPL_INFO, "createProcessAtURL", "add argument: "),
                            record(DPL_INFO, "createProcessAtURL", "add argument: third one"), succeeded));
}

TEST(ProcessLaunch, PassesTheArgumentsAsTheyAre) {
    const std::string program = probe();
    Report report;
    ProcessUtils::createProcessAtURL(program, {"-x", "", "two words", "$HOME;`'\"\\", "%s%n", "\xC3\xA4\xFF"});
    ASSERT_TRUE(report.arrives());
    EXPECT_THAT(report.all("arg"), ElementsAre(program, "-x", "", "two words", "$HOME;`'\"\\", "%s%n", "\xC3\xA4\xFF"));
}

TEST(ProcessLaunch, PassesManyArguments) {
    const std::string program = probe();
    Report report;
    ProcessUtils::createProcessAtURL(program, std::vector<std::string>(5000, "argument"));
    ASSERT_TRUE(report.arrives());
    EXPECT_EQ(report.all("arg").size(), 5001);
}

TEST(ProcessLaunch, InheritsTheEnvironmentAndAddsNothing) {
    ::setenv("INHERITED", "of the launcher", 1);
    const std::string program = probe();
    Report report;
    ProcessUtils::createProcessAtURL(program, {});
    ASSERT_TRUE(report.arrives());
    std::vector<std::string> expected;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        expected.emplace_back(*variable);
    }
    EXPECT_THAT(report.all("env"), testing::ElementsAreArray(expected));
    EXPECT_THAT(report.all("env"), Contains("INHERITED=of the launcher"));
}

TEST(ProcessLaunch, ClosesAllDescriptorsButTheStandardOnes) {
    const std::string program = probe();
    const int low = ::dup(0);
    ASSERT_EQ(::dup2(0, 500), 500);
    Report report;
    ProcessUtils::createProcessAtURL(program, {});
    ASSERT_TRUE(report.arrives());
    EXPECT_THAT(report.all("fd"), testing::UnorderedElementsAre("0", "1", "2"));
    EXPECT_EQ(::fcntl(low, F_GETFD), 0) << "they stay open here, and inheritable";
    EXPECT_EQ(::fcntl(500, F_GETFD), 0);
}

TEST(ProcessLaunch, ClosesThemOneByOneWhereTheKernelCannotCloseARange) {
    const std::string program = probe();
    ASSERT_EQ(::dup2(0, 500), 500);
    Report report;
    std::thread([&] {
        ASSERT_TRUE(systemcalls::forbid(SYS_close_range, ENOSYS));
        ProcessUtils::createProcessAtURL(program, {});
    }).join();
    ASSERT_TRUE(report.arrives());
    EXPECT_THAT(report.all("fd"), testing::UnorderedElementsAre("0", "1", "2"));
}

TEST(ProcessLaunch, StartsTheProgramWithFreshSignals) {
    const std::string program = probe();
    Report report;
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGCHLD, SIG_IGN);
    std::signal(SIGRTMAX, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGUSR1);
    sigaddset(&blocked, SIGRTMIN);
    ASSERT_EQ(::pthread_sigmask(SIG_SETMASK, &blocked, nullptr), 0);
    ProcessUtils::createProcessAtURL(program, {});
    ASSERT_TRUE(report.arrives());
    EXPECT_THAT(report.all("SigBlk:"), ElementsAre("0000000000000000"));
    EXPECT_THAT(report.all("SigIgn:"), ElementsAre("0000000000000000"));
    sigset_t after;
    ASSERT_EQ(::pthread_sigmask(SIG_SETMASK, nullptr, &after), 0);
    EXPECT_EQ(::sigismember(&after, SIGTERM), 1) << "the launcher keeps its own";
    EXPECT_EQ(::sigismember(&after, SIGINT), 0);
    EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_IGN);
}

TEST(ProcessLaunch, StartsANewProcessEachTime) {
    const std::string program = probe();
    Report first("first", true);
    ProcessUtils::createProcessAtURL(program, {});
    ASSERT_TRUE(first.arrives());
    Report second("second", true);
    ProcessUtils::createProcessAtURL(program, {});
    ASSERT_TRUE(second.arrives());
    EXPECT_NE(first.pid(), second.pid());
    EXPECT_TRUE(processes::isRunning(first.pid()));
    EXPECT_TRUE(processes::isRunning(second.pid()));
}

TEST(ProcessLaunch, LeavesNoChildBehind) {
    const std::string program = probe();
    Report report("report", true);
    EXPECT_EQ(launch(program), succeeded);
    ASSERT_TRUE(report.arrives());
    EXPECT_TRUE(hasNoChildren());
    EXPECT_THAT(report.all("parent"), Not(Contains(std::to_string(::getpid()))));
    struct sigaction action {};
    ASSERT_EQ(::sigaction(SIGCHLD, nullptr, &action), 0);
    EXPECT_EQ(action.sa_handler, SIG_DFL) << "no handler is installed";
}

TEST(ProcessLaunch, WorksWhereTheEndOfChildrenIsIgnored) {
    const std::string program = probe();
    std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(launch(program), succeeded);
    EXPECT_EQ(launch(folder + "/missing"), failed);
    EXPECT_TRUE(hasNoChildren());
}

TEST(ProcessLaunch, WorksWhereTheHostWaitsForAnyChild) {
    const std::string program = probe();
    std::atomic<bool> done{false};
    std::thread host([&] {
        while (!done) {
            ::waitpid(-1, nullptr, 0);
        }
    });
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(launch(program), succeeded);
        EXPECT_EQ(launch(folder + "/missing"), failed);
    }
    done = true;
    host.join();
}

// A launch's thread closes what it needed after the record of the completion.
recording::Record launchAndSettle(const std::string& program) {
    const auto threadsBefore = threads::count();
    const auto completion = launch(program);
    EXPECT_TRUE(eventually([&] { return threads::count() == threadsBefore; }));
    return completion;
}

TEST(ProcessLaunch, LeaksNoDescriptor) {
    const std::string program = probe();
    launchAndSettle(program);  // whatever the system log keeps open
    const auto before = limits::openDescriptors();
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(launch(program), succeeded);
        ASSERT_EQ(launch(folder + "/missing"), failed);
    }
    EXPECT_TRUE(eventually([&] { return limits::openDescriptors() == before; }));
    EXPECT_TRUE(hasNoChildren());
}

TEST(ProcessLaunch, FailsForWhatCannotBeExecuted) {
    writeFile(folder + "/text", "no program");
    writeFile(folder + "/broken", "#!/missing/interpreter\n", 0755);
    writeFile(folder + "/plain/file", "", 0755);
    const std::string paths[] = {"",
                                 "/missing/program",
                                 folder + "/text",
                                 folder + "/broken",
                                 folder + "/plain",
                                 folder + "/plain/file",  // may be executed, but is no program
                                 folder + "/plain/file/below",
                                 "relative/missing"};
    for (const std::string& path : paths) {
        EXPECT_EQ(launch(path), failed) << path;
    }
}

std::atomic<int> forkHandlers{0};

TEST(ProcessLaunch, CallsNoForkHandlersOfTheHost) {
    if (sanitizers::thread) {
        GTEST_SKIP() << "the thread sanitizer must see each fork";
    }
    ASSERT_EQ(::pthread_atfork([] { ++forkHandlers; }, [] { ++forkHandlers; }, [] { ++forkHandlers; }), 0);
    EXPECT_EQ(launch(probe()), succeeded);
    EXPECT_EQ(launch(folder + "/missing"), failed);
    EXPECT_EQ(forkHandlers, 0);
}

TEST(ProcessLaunch, FailsForAPathThatIsNoText) {
    for (const std::string& name : {std::string("bad\xFF"), std::string("overlong\xC0\xAF"), std::string("cut\xE2\x82"),
                                    std::string("surrogate\xED\xA0\x80"), std::string("above\xF4\x90\x80\x80")}) {
        EXPECT_EQ(launch(probe(name)), failed) << "there is such a file";
    }
    const std::string program = probe("name");
    EXPECT_EQ(launch(program + std::string("\0rest", 5)), failed);
}

TEST(ProcessLaunch, LaunchesProgramsWithNamesOfAllLengthsOfCharacters) {
    EXPECT_EQ(launch(probe("\xC3\xA4 \xE2\x82\xAC \xEF\xBF\xBD \xED\x9F\xBF \xF0\x90\x80\x80 \xF4\x8F\xBF\xBF")),
              succeeded);
}

TEST(ProcessLaunch, FailsForAnArgumentThatCannotBePassed) {
    const std::string program = probe();
    ProcessUtils::createProcessAtURL(program, {std::string("a\0b", 3)});
    EXPECT_EQ(takeRecords(3).at(2), failed);
    ProcessUtils::createProcessAtURL(program, {std::string(1U << 20U, 'x')});
    EXPECT_EQ(takeRecords(3).at(2), failed) << "longer than the system passes";
}

TEST(ProcessLaunch, FailsWithoutDescriptors) {
    const std::string program = probe();
    EXPECT_EQ(launchAndSettle(program), succeeded);
    {
        const limits::NoDescriptors none;
        EXPECT_EQ(launch(program), failed);
    }
    EXPECT_EQ(launch(program), succeeded);
}

TEST(ProcessLaunch, FailsWithoutProcesses) {
    const std::string program = probe();
    std::thread([&] {
        ASSERT_TRUE(systemcalls::forbid(SYS_clone, EAGAIN));
        ProcessUtils::createProcessAtURL(program, {});
    }).join();
    EXPECT_EQ(takeRecords(2).at(1), failed);
    EXPECT_TRUE(hasNoChildren());
}

// The outcome is then reported before the call returns.
TEST(ProcessLaunch, WorksWithoutThreads) {
    const std::string program = probe();
    pthread_attr_t enormous;
    ASSERT_EQ(::pthread_attr_init(&enormous), 0);
    ASSERT_EQ(::pthread_attr_setstacksize(&enormous, std::size_t{1} << 50U), 0);
    ASSERT_EQ(::pthread_setattr_default_np(&enormous), 0);
    EXPECT_THROW(std::thread([] {}), std::system_error);
    ProcessUtils::createProcessAtURL(program, {});
    EXPECT_EQ(recording::takeRecords().at(1), succeeded);
    ProcessUtils::createProcessAtURL(folder + "/missing", {});
    EXPECT_EQ(recording::takeRecords().at(1), failed);
}

TEST(ProcessLaunch, LaunchesTheProgramOfAnApplicationFolder) {
    const std::string program = probe("Own.app/Contents/Linux/Own");
    probe("Own.app/Contents/MacOS/Own");
    Report own("own");
    EXPECT_EQ(launch(folder + "/Own.app"), succeeded);
    ASSERT_TRUE(own.arrives());
    EXPECT_THAT(own.all("arg"), ElementsAre(program));

    const std::string portable = probe("Portable.app/Contents/MacOS/Portable");
    Report other("other");
    EXPECT_EQ(launch(folder + "/Portable.app/"), succeeded);
    ASSERT_TRUE(other.arrives());
    EXPECT_THAT(other.all("arg"), ElementsAre(portable));
}

TEST(ProcessLaunch, LaunchesAnApplicationFolderInTheWorkingDirectory) {
    probe("Near.app/Contents/Linux/Near");
    ASSERT_EQ(::chdir(folder.c_str()), 0);
    EXPECT_EQ(launch("Near.app"), succeeded);
    EXPECT_EQ(launch("./Near.app//"), succeeded);
}

TEST(ProcessLaunch, FailsForFoldersWithoutTheirProgram) {
    probe("Named.app/Contents/Linux/Other");
    probe("Folder/Contents/Linux/Folder");
    probe(".app/Contents/Linux/x");
    std::filesystem::create_directories(folder + "/Nested.app/Contents/Linux/Nested");
    for (const std::string name : {"/Named.app", "/Folder", "/.app", "/Nested.app", "/Missing.app"}) {
        EXPECT_EQ(launch(folder + name), failed) << name;
    }
}

TEST(ProcessLaunch, LaunchesAFileWhoseNameLooksLikeAnApplicationFolder) {
    EXPECT_EQ(launch(probe("file.app")), succeeded);
}

std::promise<void> mayComplete;
std::atomic<std::thread::id> completionThread;

void holdCompletion(const recording::Record& next) {
    if (next.function == "createProcessAtURL_block_invoke") {
        mayComplete.get_future().wait();
        completionThread = std::this_thread::get_id();
    }
}

TEST(ProcessLaunch, ReturnsBeforeItsCompletionWhichRunsOnAnotherThread) {
    const std::string program = probe();
    recording::setObserver(holdCompletion);
    ProcessUtils::createProcessAtURL(program, {});
    mayComplete.set_value();
    EXPECT_EQ(takeRecords(2).at(1), succeeded);
    EXPECT_NE(completionThread.load(), std::thread::id());
    EXPECT_NE(completionThread.load(), std::this_thread::get_id());
    recording::setObserver(nullptr);
}

CHILD_MAIN(launchesAndEnds) {
    ProcessUtils::createProcessAtURL(arguments.at(0), {});
    std::exit(0);
}

TEST(ProcessLaunch, OutlivesALauncherThatEndsAtOnce) {
    const std::string program = probe();
    // The thread sanitizer lets a process wait for a second before it ends.
    const int launchers = sanitizers::thread ? 5 : 50;
    for (int i = 0; i < launchers; ++i) {
        Report report("report" + std::to_string(i));
        Child child("launchesAndEnds", {program});
        EXPECT_EQ(child.join(), 0) << child.errors();
        EXPECT_TRUE(report.arrives());
    }
}

TEST(ProcessLaunch, LaunchesFromManyThreads) {
    const std::string program = probe();
    const Report report;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 10; ++n) {
                ProcessUtils::createProcessAtURL(program, {});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const auto records = takeRecords(160);
    EXPECT_EQ(std::count(records.begin(), records.end(), succeeded), 80);
    EXPECT_TRUE(hasNoChildren());
}

/// A system log of the test's own, in the place of the machine's.
class SystemLog {
public:
    SystemLog() {
        const std::string devices = folder + "/devices";
        std::filesystem::create_directories(devices);
        writeFile(devices + "/null", "");
        if (::mount("/dev/null", (devices + "/null").c_str(), "none", MS_BIND, nullptr) != 0 ||
            ::mount(devices.c_str(), "/dev", "none", MS_BIND, nullptr) != 0) {
            return;
        }
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        socket_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        isOpen_ = ::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~SystemLog() { ::close(socket_); }
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    bool isOpen() const { return isOpen_; }

    /// The next message.
    std::string take() const {
        const timeval limit{.tv_sec = 60, .tv_usec = 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        char buffer[1024];
        const ssize_t got = ::recv(socket_, buffer, sizeof buffer, 0);
        return {buffer, buffer + std::max<ssize_t>(got, 0)};
    }

private:
    int socket_ = -1;
    bool isOpen_ = false;
};

TEST(ProcessLaunch, TellsTheSystemLogTheOutcome) {
    const SystemLog log;
    if (!log.isOpen()) {
        GTEST_SKIP() << "no system log of its own can be made here";
    }
    ProcessUtils::createProcessAtURL("/bin/true", {});
    EXPECT_THAT(log.take(), testing::EndsWith(": launch app succeed"));
    ProcessUtils::createProcessAtURL("/missing/%s%n", {});
    EXPECT_THAT(log.take(), testing::EndsWith(": Failed to run the app: No such file or directory"));
    ProcessUtils::createProcessAtURL("/", {});
    EXPECT_THAT(log.take(), testing::EndsWith(": Failed to run the app: Permission denied"));
    // By bundle identifier the system log is told nothing.
    ProcessUtils::createProcess("org.example.unknown");
    ProcessUtils::createProcessAtURL("/bin/true", {});
    EXPECT_THAT(log.take(), testing::EndsWith(": launch app succeed"));
}

}  // namespace
