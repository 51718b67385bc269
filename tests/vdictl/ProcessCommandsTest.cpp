// vdictl running, launch, terminate and wait-exit, with real processes and desktop entries of the test's own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "multiprocess/ProcessFixture.h"
#include "multiprocess/SystemCalls.h"
#include "vdictl/ToolProgram.h"

namespace {

using processes::folder;
using processes::isRunning;
using processes::probe;
using processes::Report;
using processes::writeFile;
using testing::ElementsAre;
using testing::HasSubstr;
using tool::facts;
using tool::Program;
using tool::run;

CHILD_MAIN(stays) {
    multiprocess::step("there");
    multiprocess::await("go");
}

/// A process that stays until it is told to go or killed.
class Sleeper : public multiprocess::Child {
public:
    Sleeper() : Child("stays") { waitFor("there"); }
    std::string id() const { return std::to_string(pid()); }
    void go() {
        tell("go");
        EXPECT_EQ(join(), 0);
    }
};

// One that is not used: that of a child which was reaped.
std::string idOfNobody() {
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(0);
    }
    waitpid(pid, nullptr, 0);
    return std::to_string(pid);
}

void useOwnApplications() {
    ::setenv("XDG_DATA_HOME", (folder + "/data").c_str(), 1);
    ::setenv("XDG_DATA_DIRS", (folder + "/none").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (folder + "/none").c_str(), 1);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + folder + "/none").c_str(), 1);
    ::unsetenv("DISPLAY");
    ::unsetenv("WAYLAND_DISPLAY");
    std::filesystem::create_directories(folder + "/data/applications");
}

void installApplication(const std::string& id, const std::string& program) {
    writeFile(folder + "/data/applications/" + id + ".desktop",
              "[Desktop Entry]\nType=Application\nName=Test\nExec=" + program + "\n");
}

TEST(VdictlRunning, TellsOfProcesses) {
    Sleeper sleeper;
    const auto yes = run({"running", sleeper.id()});
    EXPECT_EQ(yes.output, "running\n");
    EXPECT_EQ(yes.exitCode, 0);
    const nlohmann::json expected{{"pid", sleeper.pid()}, {"running", true}};
    EXPECT_EQ(facts({"running", sleeper.id()}), expected);
    const auto no = run({"running", idOfNobody()});
    EXPECT_EQ(no.output, "not running\n");
    EXPECT_EQ(no.exitCode, 1);
    EXPECT_EQ(run({"running", "0"}).exitCode, 1);
}

TEST(VdictlRunning, TellsOfApplications) {
    useOwnApplications();
    const std::string program = probe();
    installApplication("test.App", program);
    EXPECT_EQ(facts({"running", "test.App"}, 1), (nlohmann::json{{"id", "test.App"}, {"running", false}}));
    Report report("report", true);
    ASSERT_EQ(run({"launch", program}).exitCode, 0);
    ASSERT_TRUE(report.arrives());
    EXPECT_EQ(facts({"running", "test.App"})["running"], true);
    EXPECT_EQ(run({"running", "test.Other"}).exitCode, 1);
}

TEST(VdictlLaunch, StartsAProgramWithArguments) {
    const std::string program = probe();
    Report report;
    const auto result = run({"launch", program, "--", "-x", "two words", "--json", ""});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.output + result.errors, "");
    ASSERT_TRUE(report.arrives());
    EXPECT_THAT(report.all("arg"), ElementsAre(program, "-x", "two words", "--json", ""));
}

TEST(VdictlLaunch, StartsAnApplication) {
    useOwnApplications();
    installApplication("test.App", probe() + " of the entry");
    Report report;
    const auto result = run({"launch", "test.App"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    ASSERT_TRUE(report.arrives());
    EXPECT_EQ(report.all("arg").size(), 4);
}

TEST(VdictlLaunch, SaysWhyItCannot) {
    useOwnApplications();
    const auto missing = run({"launch", "/no/such/program"});
    EXPECT_EQ(missing.exitCode, 3);
    EXPECT_EQ(missing.errors,
              "vdictl: program '/no/such/program': launch: No such file or directory (ENOENT); give the path of a "
              "program, or of a folder NAME.app\n");
    writeFile(folder + "/text", "#!/no/such/interpreter\n", 0755);
    const auto refused = run({"launch", folder + "/text"});
    EXPECT_EQ(refused.exitCode, 3);
    EXPECT_THAT(refused.errors, HasSubstr("the system's log says why"));
    const auto unknown = run({"launch", "test.Unknown"});
    EXPECT_EQ(unknown.exitCode, 3);
    EXPECT_THAT(unknown.errors, HasSubstr("application 'test.Unknown': launch: there is no such application"));
    const auto arguments = run({"launch", "test.Unknown", "argument"});
    EXPECT_EQ(arguments.exitCode, 2);
    EXPECT_THAT(arguments.errors, HasSubstr("only a program at a path takes arguments"));
}

TEST(VdictlTerminate, EndsEveryProcessOfAnApplication) {
    useOwnApplications();
    const std::string program = probe();
    installApplication("test.App", program);
    Report first("first", true);
    ASSERT_EQ(run({"launch", program}).exitCode, 0);
    ASSERT_TRUE(first.arrives());
    Report second("second", true);
    ASSERT_EQ(run({"launch", program}).exitCode, 0);
    ASSERT_TRUE(second.arrives());
    const auto result = run({"terminate", "test.App"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_FALSE(isRunning(first.pid()));
    EXPECT_FALSE(isRunning(second.pid()));
}

TEST(VdictlTerminate, SaysThatNothingRuns) {
    useOwnApplications();
    installApplication("test.App", probe());
    for (const char* const id : {"test.App", "test.Unknown"}) {
        const auto result = run({"terminate", id});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(result.errors, HasSubstr(std::string("application '") + id + "': not running"));
    }
}

TEST(VdictlWaitExit, HasALineForEachProcessAsItEnds) {
    Sleeper first;
    Sleeper second;
    Sleeper third;
    Program waiting({"wait-exit", first.id(), second.id(), third.id(), first.id(), "0"});
    EXPECT_EQ(waiting.line(), "0 not running") << "the last one: the others are watched now";
    const std::string names[] = {first.id(), second.id(), third.id()};
    second.kill();
    EXPECT_EQ(waiting.line(), names[1] + " ended");
    third.go();
    EXPECT_EQ(waiting.line(), names[2] + " ended");
    first.kill();
    EXPECT_EQ(waiting.line(), names[0] + " ended");
    EXPECT_EQ(waiting.end(), 0);
    EXPECT_EQ(waiting.rest(), "");
}

TEST(VdictlWaitExit, TellsOfThoseThatDoNotRun) {
    const std::string nobody = idOfNobody();
    const auto result = run({"wait-exit", nobody, "0"});
    EXPECT_EQ(result.output, nobody + " not running\n0 not running\n");
    EXPECT_EQ(result.exitCode, 0);
}

TEST(VdictlWaitExit, PrintsFactsALineEach) {
    Sleeper sleeper;
    const auto pid = sleeper.pid();
    Program waiting({"wait-exit", "--json", sleeper.id(), "0"});
    EXPECT_EQ(tool::parsed(waiting.line()), (nlohmann::json{{"pid", 0}, {"state", "not running"}}));
    sleeper.kill();
    EXPECT_EQ(tool::parsed(waiting.line()), (nlohmann::json{{"pid", pid}, {"state", "ended"}}));
    EXPECT_EQ(waiting.end(), 0);
}

TEST(VdictlWaitExit, GivesUpInTime) {
    Sleeper sleeper;
    const auto result = run({"wait-exit", "--timeout", "50", sleeper.id()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "vdictl: process " + sleeper.id() + ": still running after 50 ms\n");
}

TEST(VdictlWaitExit, LooksForThemWhereTheSystemHasNoDescriptorsOfProcesses) {
    Sleeper sleeper;
    const std::string id = sleeper.id();
    ASSERT_TRUE(systemcalls::forbid(SYS_pidfd_open, ENOSYS));
    Program waiting({"wait-exit", id, "0"});
    EXPECT_EQ(waiting.line(), "0 not running");
    sleeper.kill();
    EXPECT_EQ(waiting.line(), id + " ended");
    EXPECT_EQ(waiting.end(), 0);
    Sleeper stays;
    const auto late = run({"wait-exit", "--timeout", "50", stays.id()});
    EXPECT_EQ(late.exitCode, 1);
    EXPECT_EQ(late.errors, "vdictl: process " + stays.id() + ": still running after 50 ms\n");
}

// What looks for them may not have begun by then.
TEST(VdictlWaitExit, GivesUpAtOnceWhereTheSystemHasNoDescriptorsOfProcesses) {
    Sleeper stays;
    ASSERT_TRUE(systemcalls::forbid(SYS_pidfd_open, ENOSYS));
    for (int i = 0; i < 20 && !testing::Test::HasFailure(); ++i) {
        EXPECT_EQ(run({"wait-exit", "--timeout", "0", stays.id()}).exitCode, 1);
    }
}

// Each is told as it ends, in whichever way it is watched.
TEST(VdictlWaitExit, TellsOfOneWhileItLooksForAnother) {
    Sleeper lookedFor;
    Sleeper sleeper;
    const tool::Words ids{lookedFor.id(), sleeper.id(), "0"};
    ASSERT_TRUE(systemcalls::forbidFor(SYS_pidfd_open, lookedFor.pid(), EPERM));
    Program waiting({"wait-exit", ids[0], ids[1], ids[2]});
    EXPECT_EQ(waiting.line(), "0 not running");
    sleeper.kill();
    EXPECT_EQ(waiting.line(), ids[1] + " ended");
    lookedFor.kill();
    EXPECT_EQ(waiting.line(), ids[0] + " ended");
    EXPECT_EQ(waiting.end(), 0);
}

TEST(VdictlWaitExit, WaitsForMoreProcessesThanItHasDescriptorsAtFirst) {
    const limits::SoftLimit few(RLIMIT_NOFILE, 24);
    tool::Words words{"wait-exit"};
    std::vector<pid_t> pids;
    for (int i = 0; i < 40; ++i) {
        const pid_t pid = fork();
        if (pid == 0) {
            for (;;) {
                pause();
            }
        }
        pids.push_back(pid);
        words.push_back(std::to_string(pid));
    }
    words.emplace_back("0");
    Program waiting(words);
    EXPECT_EQ(waiting.line(), "0 not running");
    for (const pid_t pid : pids) {
        ::kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        EXPECT_EQ(waiting.line(), std::to_string(pid) + " ended");
    }
    EXPECT_EQ(waiting.end(), 0);
}

TEST(VdictlWaitExit, RefusesWhatIsNoProcess) {
    EXPECT_EQ(run({"wait-exit"}).exitCode, 2);
    EXPECT_EQ(run({"wait-exit", "x"}).exitCode, 2);
    EXPECT_EQ(run({"wait-exit", "--timeout", "-5", "1"}).exitCode, 2);
}

}  // namespace
