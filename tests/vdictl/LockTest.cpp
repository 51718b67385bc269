// vdictl lock: a command runs alone, and the lock is free afterwards, whatever comes.

#include <VDIFrameworkCommon/NamedMutex.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/Background.h"
#include "support/FileSystem.h"
#include "support/Multiprocess.h"
#include "support/RawObject.h"
#include "support/Users.h"
#include "vdictl/ToolProgram.h"

namespace {

using multiprocess::Child;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using tool::Program;
using tool::run;
using VDIFrameworkCommon::NamedMutex;

const std::string logicalName = raw::logicalName("DEFVDI_", "job") + "_mutex";
const std::string description = "mutex 'job' (/dev/shm" + raw::systemName(logicalName) + ")";

tool::Words underLock(const tool::Words& command) {
    tool::Words words{"lock", "job", "--"};
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

tool::Words script(const std::string& text) {
    return underLock({"sh", "-c", text});
}

// Says that it runs, and stays until a file appears.
const std::string staysUntilTold = "echo in; until [ -e /dev/shm/go ]; do sleep 0.01; done; ";

void letGo() {
    std::ofstream("/dev/shm/go") << "go";
}

bool isFree() {
    const raw::Mapping<pthread_mutex_t> mutex(logicalName);
    const bool taken = pthread_mutex_trylock(&*mutex) == 0;
    if (taken) {
        pthread_mutex_unlock(&*mutex);
    }
    return taken;
}

CHILD_MAIN(holdsTheLock) {
    NamedMutex mutex;
    mutex.create("job");
    mutex.lock();
    multiprocess::step("holds");
    multiprocess::await("go");
    mutex.unlock();
}

TEST(VdictlLock, PassesOnWhatTheCommandEndsWith) {
    EXPECT_EQ(run(underLock({"true"})).exitCode, 0);
    EXPECT_EQ(run(script("exit 42")).exitCode, 42);
    EXPECT_EQ(run(script("kill -KILL $$")).exitCode, 128 + SIGKILL);
    EXPECT_EQ(run(script("kill -TERM $$")).exitCode, 128 + SIGTERM);
    EXPECT_TRUE(isFree());
}

TEST(VdictlLock, PassesTheCommandsOwnOptionsAndStreams) {
    const auto result =
        run({underLock({"sh", "-c", "cat; echo \"$@\"; echo oops >&2", "--", "--json", "--", "-h"}), "in\n", {}});
    EXPECT_EQ(result.output, "in\n--json -- -h\n");
    EXPECT_EQ(result.errors, "oops\n");
}

TEST(VdictlLock, SaysThatThereIsNoSuchCommand) {
    const auto missing = run(underLock({"/no/such/command"}));
    EXPECT_EQ(missing.exitCode, 127);
    EXPECT_EQ(missing.errors, "vdictl: command '/no/such/command': execvp: No such file or directory (ENOENT)\n");
    const auto folder = run(underLock({"/dev/shm"}));
    EXPECT_EQ(folder.exitCode, 126);
    EXPECT_EQ(folder.errors, "vdictl: command '/dev/shm': execvp: Permission denied (EACCES)\n");
    EXPECT_TRUE(isFree());
}

TEST(VdictlLock, HoldsTheMutexWhileTheCommandRuns) {
    Program holder(script(staysUntilTold + "exit 5"));
    EXPECT_EQ(holder.line(), "in");
    EXPECT_FALSE(isFree());
    letGo();
    EXPECT_EQ(holder.end(), 5);
    EXPECT_TRUE(isFree());
}

TEST(VdictlLock, LetsOneCommandRunAtATime) {
    // None finds the mutex there: they also make it together.
    filesystem::write("/dev/shm/count", "0");
    std::vector<std::unique_ptr<Program>> programs;
    for (int i = 0; i < 12; ++i) {
        programs.push_back(
            std::make_unique<Program>(script("n=$(cat /dev/shm/count); sleep 0.02; echo $((n + 1)) > /dev/shm/count")));
    }
    for (const auto& program : programs) {
        EXPECT_EQ(program->end(), 0) << program->errors();
    }
    EXPECT_EQ(filesystem::read("/dev/shm/count"), "12\n");
}

TEST(VdictlLock, LeavesTheLockWithWhoHoldsIt) {
    Child holder("holdsTheLock");
    holder.waitFor("holds");
    const auto result = run({"lock", "--timeout", "50", "job", "--", "echo", "ran"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    const std::string pid = std::to_string(holder.pid());
    EXPECT_THAT(result.errors, HasSubstr(description + ": not free within 50 ms, held by process " + pid + " ("));
    Program waiting(underLock({"echo", "ran"}));
    holder.tell("go");
    EXPECT_EQ(waiting.end(), 0);
    EXPECT_EQ(waiting.rest(), "ran\n");
}

TEST(VdictlLock, TakesTurnsWithAgents) {
    Program holder(script(staysUntilTold));
    EXPECT_EQ(holder.line(), "in");
    const raw::Mapping<pthread_mutex_t> mutex(logicalName);
    Background agent([&] {
        pthread_mutex_lock(&*mutex);
        pthread_mutex_unlock(&*mutex);
    });
    agent.waitUntilAsleep();
    EXPECT_FALSE(agent.ended());
    letGo();
    EXPECT_EQ(holder.end(), 0);
    agent.join();
}

TEST(VdictlLock, DoesNotWaitForADeadHolder) {
    Child holder("holdsTheLock");
    holder.waitFor("holds");
    const std::string pid = std::to_string(holder.pid());
    Program waiting(underLock({"echo", "ran"}));
    holder.kill();
    EXPECT_EQ(waiting.end(), 3);
    EXPECT_EQ(waiting.rest(), "");
    EXPECT_EQ(waiting.errors(), "vdictl: " + description + ": held by thread " + pid +
                                    ", which is dead: it would never come free; 'vdictl doctor' tells more and can "
                                    "repair it\n");
}

class VdictlLockSignal : public testing::TestWithParam<int> {};

TEST_P(VdictlLockSignal, IsForwardedAndTheLockIsFreeAfterwards) {
    const std::string number = std::to_string(GetParam());
    Program holder(script("trap 'echo got; exit 7' " + number + "; echo in; while :; do sleep 0.01; done"));
    EXPECT_EQ(holder.line(), "in");
    EXPECT_FALSE(isFree());
    holder.signal(GetParam());
    EXPECT_EQ(holder.line(), "got");
    EXPECT_EQ(holder.end(), 7);
    EXPECT_TRUE(isFree());
}

TEST_P(VdictlLockSignal, ThatEndsTheCommandIsTold) {
    Program holder(script("echo in; exec sleep 600"));
    EXPECT_EQ(holder.line(), "in");
    holder.signal(GetParam());
    EXPECT_EQ(holder.end(), 128 + GetParam());
    EXPECT_TRUE(isFree());
}

TEST_P(VdictlLockSignal, EndsTheWaitForTheLock) {
    Child holder("holdsTheLock");
    holder.waitFor("holds");
    Program waiting(underLock({"echo", "ran"}));
    // It has opened the lock, and so takes signals as it should.
    waitUntil([&] {
        std::ifstream maps("/proc/" + std::to_string(waiting.pid()) + "/maps");
        const std::string text{std::istreambuf_iterator<char>(maps), {}};
        return text.find("/dev/shm" + raw::systemName(logicalName)) != std::string::npos;
    });
    waiting.signal(GetParam());
    EXPECT_EQ(waiting.end(), 128 + GetParam());
    EXPECT_EQ(waiting.rest(), "");
    holder.tell("go");
    EXPECT_EQ(holder.join(), 0);
    EXPECT_TRUE(isFree());
}
INSTANTIATE_TEST_SUITE_P(Each, VdictlLockSignal, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST(VdictlLock, OutlastsACommandThatIgnoresSignals) {
    Program holder(script("trap '' TERM; " + staysUntilTold + "exit 3"));
    EXPECT_EQ(holder.line(), "in");
    holder.signal(SIGTERM);
    EXPECT_FALSE(isFree());
    letGo();
    EXPECT_EQ(holder.end(), 3);
    EXPECT_TRUE(isFree());
}

TEST(VdictlLock, TellsTheCommandToEndWhenItIsKilled) {
    Program holder(script("trap 'echo told; exit' TERM; echo in; while :; do sleep 0.01; done"));
    EXPECT_EQ(holder.line(), "in");
    holder.signal(SIGKILL);
    EXPECT_EQ(holder.line(), "told");
}

TEST(VdictlLock, LeavesALockThatWasMadeAnewToItsNewHolder) {
    Program first(script(staysUntilTold + "exit 4"));
    EXPECT_EQ(first.line(), "in");
    Child agent("holdsTheLock");
    agent.waitFor("holds");
    letGo();
    EXPECT_EQ(first.end(), 4);
    EXPECT_EQ(first.errors(), "vdictl: " + description +
                                  ": another process made it anew while the command ran, which may not have been "
                                  "alone\n");
    EXPECT_FALSE(isFree()) << "the agent has it";
    agent.tell("go");
    EXPECT_EQ(agent.join(), 0);
    EXPECT_TRUE(isFree());
}

TEST(VdictlLock, MakesTheObjectThatAgentsMake) {
    EXPECT_EQ(run(underLock({"true"})).exitCode, 0);
    EXPECT_THAT(raw::systemNames(), UnorderedElementsAre(raw::systemName(logicalName)));
    const auto made = raw::read(logicalName);
    EXPECT_EQ(raw::status(logicalName).st_mode & 07777U, 0600U);
    ASSERT_TRUE(NamedMutex().create("job"));
    EXPECT_EQ(made, raw::read(logicalName));
}

TEST(VdictlLock, RefusesWhatIsNoMutex) {
    raw::write(logicalName, 0, "\0", 1, 64);
    const auto blank = run(underLock({"true"}));
    EXPECT_EQ(blank.exitCode, 3);
    EXPECT_EQ(blank.errors, "vdictl: " + description +
                                ": this is no mutex, or one that was never initialised; 'vdictl doctor' tells more "
                                "and can repair it\n");
    const std::string noise(64, '\xEE');
    raw::write(logicalName, 0, noise.data(), noise.size(), 64);
    EXPECT_EQ(run(underLock({"true"})).exitCode, 3);
    const std::string shortName = raw::logicalName("DEFVDI_", "short") + "_mutex";
    raw::write(shortName, 0, "abc", 3, 3);
    EXPECT_EQ(run({"lock", "short", "--", "true"}).exitCode, 3);
    EXPECT_EQ(raw::read(shortName).size(), 3);
}

TEST(VdictlLock, WaitsForAMutexThatIsBeingMade) {
    raw::write(logicalName, 0, "\0", 1, 64);
    Program waiting(underLock({"echo", "ran"}));
    ASSERT_TRUE(NamedMutex().create("job"));
    EXPECT_EQ(waiting.end(), 0) << waiting.errors();
    EXPECT_EQ(waiting.rest(), "ran\n");
}

TEST(VdictlLock, KeepsProductsAndUsersApart) {
    EXPECT_EQ(run({"lock", "--client", "crews", "job", "--", "true"}).exitCode, 0);
    const std::string crews = raw::logicalName("CRVDI_", "job") + "_mutex";
    EXPECT_THAT(raw::systemNames(), UnorderedElementsAre(raw::systemName(crews)));
    if (users::canChange()) {
        const auto asNobody = run({"lock", "--user", "nobody", "job", "--", "id", "-u"});
        EXPECT_EQ(asNobody.output, "0\n") << "the command runs as who asked";
        EXPECT_EQ(asNobody.exitCode, 0) << asNobody.errors;
        EXPECT_EQ(raw::status(std::to_string(users::nobody) + "DEFVDI_job_mutex").st_uid, users::nobody);
    }
}

TEST(VdictlLock, StartsTheCommandAsItWasStartedItself) {
    std::signal(SIGCHLD, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    Program program(underLock({"grep", "SigBlk", "/proc/self/status"}));
    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(program.line(), "SigBlk:\t0000000000000200");
    EXPECT_EQ(program.end(), 0);
    for (int fd = STDERR_FILENO + 1; fd < 1024; ++fd) {
        close(fd);  // what the test itself was started with
    }
    EXPECT_EQ(run(script("exec ls /proc/self/fd")).output, "0\n1\n2\n3\n") << "3 is ls's own";
}

TEST(VdictlLock, RefusesWhatItDoesNotUnderstand) {
    for (const tool::Words& words : {tool::Words{"lock"},
                                     {"lock", "job"},
                                     {"lock", "job", "--"},
                                     {"lock", "--timeout", "x", "job", "--", "true"}}) {
        EXPECT_EQ(run(words).exitCode, 2) << words.back();
    }
    EXPECT_THAT(raw::systemNames(), IsEmpty());
}

}  // namespace
