#include <gtest/gtest.h>

#include "ProcessFixture.h"

namespace {

using multiprocess::Child;
using multiprocess::step;
using processes::folder;
using processes::hasNoChildren;
using processes::isRunning;
using processes::probe;
using processes::ProcessUtils;
using processes::record;
using processes::Report;
using processes::takeRecords;
using processes::writeFile;
using testing::Contains;
using testing::ElementsAre;

const std::string writeIdsAndStay =
    "echo $$ > " + folder + "/ids.new; mv " + folder + "/ids.new " + folder + "/ids; read line < " + folder + "/fifo";

// Applications of the test's own are the only ones.
class Application : public testing::Test {
protected:
    Application() {
        ::setenv("XDG_DATA_HOME", (folder + "/data").c_str(), 1);
        ::setenv("XDG_DATA_DIRS", (folder + "/none").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (folder + "/none").c_str(), 1);
        ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + folder + "/none").c_str(), 1);
        ::unsetenv("DISPLAY");
        ::unsetenv("WAYLAND_DISPLAY");
        std::filesystem::create_directories(folder + "/data/applications");
    }

    // Writes the desktop entry of an application.
    static void install(const std::string& bundleId, const std::string& lines) {
        writeFile(folder + "/data/applications/" + bundleId + ".desktop",
                  "[Desktop Entry]\nType=Application\nName=Test\n" + lines + '\n');
    }

    // Whether createProcess reports success.
    static bool launch(const std::string& bundleId) {
        recording::takeRecords();
        ProcessUtils::createProcess(bundleId);
        const auto records = recording::takeRecords();
        EXPECT_EQ(records.size(), 2);
        EXPECT_EQ(records.at(0), record(DPL_INFO, "createProcess", "launchAppWithBundleIdentifier: " + bundleId));
        const bool succeeded = records.at(1) == record(DPL_INFO, "createProcess", "createProcess: succeed");
        EXPECT_TRUE(succeeded || records.at(1) == record(DPL_INFO, "createProcess", "createProcess: failed"));
        return succeeded;
    }

    // Starts a program without its desktop entry.
    static bool start(const std::string& path, const std::vector<std::string>& arguments = {}) {
        recording::takeRecords();
        ProcessUtils::createProcessAtURL(path, arguments);
        return takeRecords(arguments.size() + 2).back().message == "createProcess: succeed";
    }

    // A program that stays: a script, so what the kernel executes is its interpreter.
    static std::string script(const std::string& text) {
        const std::string path = folder + "/script";
        writeFile(path, "#!/bin/sh\n" + text + '\n', 0755);
        return path;
    }

    // A process writes ids into a file of this name under another name first; all of them, once they are there.
    static std::vector<pid_t> pidsIn(const std::string& name) {
        std::vector<pid_t> pids;
        if (eventually([&] { return std::filesystem::exists(folder + '/' + name); })) {
            std::ifstream file(folder + '/' + name);
            pids.assign(std::istream_iterator<pid_t>(file), {});
        }
        return pids;
    }
};

// Ends the process of an id with the test.
class Reaped {
public:
    explicit Reaped(pid_t pid) : pid_(pid) {}
    ~Reaped() {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    Reaped(const Reaped&) = delete;
    Reaped& operator=(const Reaped&) = delete;
    pid_t pid() const { return pid_; }

private:
    pid_t pid_;
};

// A process that runs the program at a path: a child of the test.
pid_t spawn(const std::vector<std::string>& words) {
    std::vector<char*> argv;
    for (const std::string& word : words) {
        argv.push_back(const_cast<char*>(word.c_str()));
    }
    argv.push_back(nullptr);
    int executed[2];
    EXPECT_EQ(::pipe2(executed, O_CLOEXEC), 0);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(executed[1]);
    char nothing = 0;
    EXPECT_EQ(::read(executed[0], &nothing, 1), 0);
    ::close(executed[0]);
    return pid;
}

TEST_F(Application, IsLaunchedFoundAndTerminated) {
    const std::string program = probe();
    install("org.example.Probe", "Exec=" + program + " one \"two words\" %U");
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.Probe"));
    Report report("report", true);
    EXPECT_TRUE(launch("org.example.Probe"));
    ASSERT_TRUE(report.arrives());
    EXPECT_THAT(report.all("arg"), ElementsAre(program, "one", "two words"));
    EXPECT_TRUE(ProcessUtils::isProcessRunning("org.example.Probe"));
    EXPECT_TRUE(isRunning(report.pid()));
    recording::takeRecords();
    ProcessUtils::terminateProcess("org.example.Probe");
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "terminateProcess", "terminateProcess: org.example.Probe")));
    EXPECT_TRUE(eventually([&] { return !isRunning(report.pid()); }));
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.Probe"));
}

TEST_F(Application, IsLaunchedWithFreshSignalsAndStandardDescriptorsOnly) {
    install("org.example.Probe", "Exec=" + probe());
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGQUIT, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    ASSERT_EQ(::pthread_sigmask(SIG_SETMASK, &blocked, nullptr), 0);
    ASSERT_EQ(::dup2(0, 500), 500);
    Report report;
    EXPECT_TRUE(launch("org.example.Probe"));
    ASSERT_TRUE(report.arrives());
    EXPECT_THAT(report.all("SigBlk:"), ElementsAre("0000000000000000"));
    EXPECT_THAT(report.all("SigIgn:"), ElementsAre("0000000000000000"));
    EXPECT_THAT(report.all("fd"), testing::UnorderedElementsAre("0", "1", "2"));
}

TEST_F(Application, LeavesNoChildBehind) {
    install("org.example.Probe", "Exec=" + probe());
    Report report;
    EXPECT_TRUE(launch("org.example.Probe"));
    ASSERT_TRUE(report.arrives());
    EXPECT_TRUE(hasNoChildren());
    EXPECT_THAT(report.all("parent"), testing::Not(Contains(std::to_string(::getpid()))));
}

TEST_F(Application, IsAnyProcessThatExecutesItsProgram) {
    const std::string program = probe();
    std::filesystem::create_symlink(program, folder + "/link");
    install("org.example.Probe", "Exec=" + program + " argument");
    install("org.example.Link", "Exec=" + folder + "/link");
    Report report("report", true);
    ASSERT_TRUE(start(program, {"other", "arguments"}));
    ASSERT_TRUE(report.arrives());
    EXPECT_TRUE(ProcessUtils::isProcessRunning("org.example.Probe"));
    EXPECT_TRUE(ProcessUtils::isProcessRunning("org.example.Link"));
}

TEST_F(Application, IsFoundOnThePath) {
    probe("bin/own-probe");
    ::setenv("PATH", (folder + "/bin:" + ::getenv("PATH")).c_str(), 1);
    install("org.example.Probe", "Exec=own-probe");
    Report report("report", true);
    ASSERT_TRUE(start(folder + "/bin/own-probe"));
    ASSERT_TRUE(report.arrives());
    EXPECT_TRUE(ProcessUtils::isProcessRunning("org.example.Probe"));
}

TEST_F(Application, IsNoCopyOfItsProgram) {
    install("org.example.Probe", "Exec=" + probe());
    Report report("report", true);
    ASSERT_TRUE(start(probe("copy")));
    ASSERT_TRUE(report.arrives());
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.Probe"));
    ProcessUtils::terminateProcess("org.example.Probe");
    EXPECT_TRUE(isRunning(report.pid()));
}

TEST_F(Application, IsNoZombie) {
    const std::string program = probe();
    install("org.example.Probe", "Exec=" + program);
    Report report("report", true);
    const Reaped process(spawn({program}));
    ASSERT_TRUE(report.arrives());
    EXPECT_TRUE(ProcessUtils::isProcessRunning("org.example.Probe"));
    ::kill(process.pid(), SIGKILL);
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(process.pid()), &info, WEXITED | WNOWAIT), 0);
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.Probe"));
}

TEST_F(Application, IsNoProcessOfAnotherUser) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only root can start a process of another user";
    }
    const std::string program = probe();
    install("org.example.Probe", "Exec=" + program);
    Report report("report", true);
    const Reaped process(::fork());
    if (process.pid() == 0) {
        if (users::become(users::nobody)) {
            ::execl(program.c_str(), program.c_str(), nullptr);
        }
        ::_exit(127);
    }
    ASSERT_TRUE(report.arrives());
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.Probe"));
    ProcessUtils::terminateProcess("org.example.Probe");
    EXPECT_TRUE(isRunning(process.pid()));
}

TEST_F(Application, TerminatesAllOfItsProcesses) {
    const std::string program = probe();
    install("org.example.Probe", "Exec=" + program);
    Report first("first", true);
    ASSERT_TRUE(launch("org.example.Probe"));
    ASSERT_TRUE(first.arrives());
    Report second("second", true);
    ASSERT_TRUE(start(program));
    ASSERT_TRUE(second.arrives());
    Report other("other", true);
    ASSERT_TRUE(start(probe("other-program")));
    ASSERT_TRUE(other.arrives());
    ProcessUtils::terminateProcess("org.example.Probe");
    EXPECT_TRUE(eventually([&] { return !isRunning(first.pid()) && !isRunning(second.pid()); }));
    EXPECT_TRUE(isRunning(other.pid()));
}

CHILD_MAIN(terminatesItsApplication) {
    writeFile(arguments.at(0), "up");
    eventually([&] { return std::filesystem::exists(arguments.at(0) + ".go"); });
    ProcessUtils::terminateProcess("org.example.Self");
    writeFile(arguments.at(0), "survived");
}

// The process that asks is one of its application's. The others, though listed behind it by the system, end too.
TEST_F(Application, TerminatesItselfLast) {
    const std::string program = processes::copyOf("/proc/self/exe", "self");
    install("org.example.Self", "Exec=" + program);
    const std::string state = folder + "/state";
    const Reaped asking(spawn({program, "--child=terminatesItsApplication", state}));
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(state); }));
    std::vector<pid_t> others;
    for (int i = 0; i < 3; ++i) {
        const std::string otherState = state + std::to_string(i);
        others.push_back(spawn({program, "--child=terminatesItsApplication", otherState}));
        ASSERT_TRUE(eventually([&] { return std::filesystem::exists(otherState); }));
    }
    writeFile(state + ".go", "");
    int status = 0;
    ASSERT_EQ(::waitpid(asking.pid(), &status, 0), asking.pid());
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    for (const pid_t other : others) {
        ASSERT_EQ(::waitpid(other, &status, 0), other);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    }
    EXPECT_EQ(processes::contents(state), "up");
}

TEST_F(Application, OfAScriptIsWhatWasLaunchedFromItsEntry) {
    const std::string path =
        script("sleep 1000 & echo $$ $! > " + folder + "/ids.new; mv " + folder + "/ids.new " + folder + "/ids; wait");
    install("org.example.Script", "Exec=" + path);
    ASSERT_TRUE(start(path));
    const auto byHand = pidsIn("ids");
    ASSERT_EQ(byHand.size(), 2);
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.Script")) << "a shell like any other";
    std::filesystem::remove(folder + "/ids");

    ASSERT_TRUE(launch("org.example.Script"));
    const auto launched = pidsIn("ids");
    ASSERT_EQ(launched.size(), 2);
    EXPECT_TRUE(ProcessUtils::isProcessRunning("org.example.Script"));
    ProcessUtils::terminateProcess("org.example.Script");
    EXPECT_TRUE(eventually([&] { return !isRunning(launched[0]); }));
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.Script"));
    // A process that the application started only inherits its environment.
    EXPECT_TRUE(isRunning(launched[1]));
    EXPECT_TRUE(isRunning(byHand[0]));
    for (const pid_t pid : {byHand[0], byHand[1], launched[1]}) {
        ::kill(pid, SIGKILL);
    }
}

TEST_F(Application, LaunchedFromAnotherEntryIsAnotherOne) {
    const std::string path = script(writeIdsAndStay);
    ASSERT_EQ(::mkfifo((folder + "/fifo").c_str(), 0600), 0);
    install("org.example.One", "Exec=" + path);
    install("org.example.Other", "Exec=" + path);
    ASSERT_TRUE(launch("org.example.One"));
    const auto ids = pidsIn("ids");
    ASSERT_EQ(ids.size(), 1);
    EXPECT_TRUE(ProcessUtils::isProcessRunning("org.example.One"));
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.Other"));
    ProcessUtils::terminateProcess("org.example.One");
    EXPECT_TRUE(eventually([&] { return !isRunning(ids[0]); }));
}

// Such commands say what to run in their arguments. Their programs belong to everybody.
TEST_F(Application, OfAWrapperIsNoOtherProcessOfTheWrapper) {
    std::filesystem::copy_file(std::filesystem::canonical("/bin/sh"), folder + "/sh");
    std::filesystem::create_symlink(folder + "/sh", folder + "/runner");
    probe("python3.11");
    install("org.example.Shell", "Exec=" + folder + "/sh -c \"sleep 1000\"");
    install("org.example.Runner", "Exec=" + folder + "/runner -c \"sleep 1000\"");
    install("org.example.Python", "Exec=" + folder + "/python3.11 -m application");
    Report report("report", true);
    ASSERT_TRUE(start(folder + "/python3.11"));
    ASSERT_TRUE(report.arrives());
    ASSERT_EQ(::mkfifo((folder + "/fifo").c_str(), 0600), 0);
    ASSERT_TRUE(start(folder + "/sh", {"-c", writeIdsAndStay}));
    const auto shell = pidsIn("ids");
    ASSERT_EQ(shell.size(), 1);
    for (const std::string bundleId : {"org.example.Shell", "org.example.Runner", "org.example.Python"}) {
        EXPECT_FALSE(ProcessUtils::isProcessRunning(bundleId)) << bundleId;
        ProcessUtils::terminateProcess(bundleId);
    }
    EXPECT_TRUE(isRunning(shell[0]));
    EXPECT_TRUE(isRunning(report.pid()));
    ::kill(shell[0], SIGKILL);
}

TEST_F(Application, OfAWrapperIsWhatWasLaunchedFromItsEntry) {
    install("org.example.Wrapped", "Exec=env MARK=x " + probe());
    Report report("report", true);
    ASSERT_TRUE(launch("org.example.Wrapped"));
    ASSERT_TRUE(report.arrives());
    EXPECT_THAT(report.all("env"), Contains("MARK=x"));
    EXPECT_TRUE(ProcessUtils::isProcessRunning("org.example.Wrapped"));
    ProcessUtils::terminateProcess("org.example.Wrapped");
    EXPECT_TRUE(eventually([&] { return !isRunning(report.pid()); }));
}

TEST_F(Application, IsUnknownWithoutAValidEntry) {
    const std::string program = probe();
    Report report("report", true);
    ASSERT_TRUE(start(program));
    ASSERT_TRUE(report.arrives());
    const std::string exec = "Exec=" + program;
    install("org.example.Valid", exec);
    ASSERT_TRUE(ProcessUtils::isProcessRunning("org.example.Valid"));
    install("org.example.Hidden", exec + "\nHidden=true");
    install("org.example.NoProgram", "Exec=" + folder + "/missing");
    install("bad\xFF", exec);
    install("folder/org.example.Below", exec);
    writeFile(folder + "/data/applications/org.example.Link.desktop", "[Desktop Entry]\nType=Link\n" + exec + '\n');
    writeFile(folder + "/data/applications/.desktop", "[Desktop Entry]\nType=Application\nName=Test\n" + exec + '\n');
    for (const std::string& bundleId :
         {std::string(), std::string("org.example.Hidden"), std::string("org.example.NoProgram"),
          std::string("bad\xFF"), std::string("folder/org.example.Below"),
          std::string("../applications/org.example.Valid"), std::string("org.example.Valid.desktop"),
          std::string("org.example.Link"), std::string("org.example.Valid\0", 18),
          folder + "/data/applications/org.example.Valid", std::string(100000, 'x')}) {
        EXPECT_FALSE(ProcessUtils::isProcessRunning(bundleId)) << bundleId;
        EXPECT_FALSE(launch(bundleId)) << bundleId;
        ProcessUtils::terminateProcess(bundleId);
    }
    EXPECT_TRUE(isRunning(report.pid()));
}

TEST_F(Application, ThatOnlyTheBusCanStartFailsWithoutABus) {
    install("org.example.Activated", "DBusActivatable=true");
    EXPECT_FALSE(launch("org.example.Activated"));
    EXPECT_FALSE(ProcessUtils::isProcessRunning("org.example.Activated"));
    ProcessUtils::terminateProcess("org.example.Activated");
}

CHILD_MAIN(hasNoGio) {
    step(ProcessUtils::isProcessRunning("org.example.Probe") ? "running" : "unknown");
    ProcessUtils::terminateProcess("org.example.Probe");
    ProcessUtils::createProcess("org.example.Probe");
    step(recording::takeRecords().back().message);
}

TEST_F(Application, IsUnknownWhereNoDesktopLibraryIsInstalled) {
    const std::string program = probe();
    install("org.example.Probe", "Exec=" + program);
    Report report("report", true);
    ASSERT_TRUE(start(program));
    ASSERT_TRUE(report.arrives());
    // Found before the real one, and no library.
    writeFile(folder + "/lib/libgio-2.0.so.0", "");
    Child child("hasNoGio", {}, {{"LD_LIBRARY_PATH", folder + "/lib"}});
    child.waitFor("unknown");
    child.waitFor("createProcess: failed");
    EXPECT_EQ(child.join(), 0);
    EXPECT_TRUE(isRunning(report.pid()));
}

TEST_F(Application, LeaksNoDescriptor) {
    const std::string program = probe();
    install("org.example.Probe", "Exec=" + program);
    const Report report;
    const auto use = [&] {
        EXPECT_TRUE(launch("org.example.Probe"));
        ProcessUtils::isProcessRunning("org.example.Probe");
        ProcessUtils::terminateProcess("org.example.Probe");
    };
    use();  // what GIO keeps open
    const auto before = limits::openDescriptors();
    for (int i = 0; i < 30; ++i) {
        use();
    }
    EXPECT_EQ(limits::openDescriptors(), before);
    EXPECT_TRUE(hasNoChildren());
}

// The desktop's libraries cost more than all else at the start of a process.
TEST_F(Application, LibrariesOfTheDesktopAreNotLoadedBeforeTheyAreNeeded) {
    const auto maps = [] { return processes::contents("/proc/self/maps"); };
    ProcessUtils::isProcessRunning(static_cast<unsigned int>(::getpid()));
    EXPECT_EQ(maps().find("libgio"), std::string::npos);
    ProcessUtils::isProcessRunning("org.example.unknown");
    EXPECT_NE(maps().find("libgio"), std::string::npos);
}

}  // namespace
