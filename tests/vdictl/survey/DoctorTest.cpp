// Each finding, made for real, and repaired while living agents run and log untouched.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <VDIFrameworkCommon/NamedMutex.h>
#include <VDIFrameworkCommon/VirtualChannelLogger.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "support/Multiprocess.h"
#include "support/RawObject.h"
#include "support/Users.h"
#include "vdictl/ToolProgram.h"
#include "vdictl/survey/AgentProcess.h"
#include "vdictl/survey/Doctoring.h"

namespace {

using namespace doctoring;
using namespace VDIFrameworkCommon;
using multiprocess::await;
using multiprocess::Child;
using multiprocess::step;
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

CHILD_MAIN(waitsForTheEvent) {
    t_HANDLE* const event = openEvent();
    step("open");
    step(WaitForSingleObject(event, INFINITE) == 0 ? "got it" : "woke up");
}

CHILD_MAIN(holdsTheLockOfTheEvent) {
    pthread_mutex_lock(&openEvent()->mutex);
    step("holds");
    await("never");
}

CHILD_MAIN(waitsForTheLockOfTheEvent) {
    // Mapped without the library, which would make the lock anew.
    const raw::Mapping<t_HANDLE> event(doorName + "_event");
    step("open");
    pthread_mutex_lock(&event->mutex);
    step("has it");
    pthread_mutex_unlock(&event->mutex);
}

CHILD_MAIN(holdsANamedMutex) {
    NamedMutex mutex;
    mutex.create("door");
    mutex.lock();
    step("holds");
    await("never");
}

// What the agents have logged; 0 before the first record.
std::uintmax_t logSize() {
    std::error_code none;
    const auto size = std::filesystem::file_size("/dev/shm/logs/" + LogFileName, none);
    return none ? 0 : size;
}

TEST(VdictlDoctor, NothingIsHealthy) {
    const auto result = tool::run(doctor());
    EXPECT_EQ(result.output, "healthy\n");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(raw::systemNames(), IsEmpty());
}

TEST(VdictlDoctor, LivingAgentsAreHealthy) {
    AgentProcess first;
    ASSERT_TRUE(first.says(": active"));
    AgentProcess second;
    ASSERT_TRUE(second.says(": standing by"));
    const json result = tool::facts(doctor({"--ignore", "waiter-count", "--ignore", "leftover-waiter"}));
    EXPECT_EQ(result["healthy"], true);
    EXPECT_THAT(result["findings"], SizeIs(0));
}

TEST(VdictlDoctor, ADeadRunnerIsTakenOutAndLivingAgentsStay) {
    AgentProcess first;
    ASSERT_TRUE(first.says(": active"));
    AgentProcess second;
    ASSERT_TRUE(second.says("registered"));
    AgentProcess third;
    ASSERT_TRUE(third.says("registered"));
    const pid_t dead = second.pid();
    second.kill();
    const json found = look(1);
    const auto runners = findings(found, "dead-runner");
    ASSERT_THAT(runners, SizeIs(1));
    EXPECT_EQ(runners[0]["logicalName"], listName);
    EXPECT_EQ(runners[0]["repair"], "take " + std::to_string(dead) + " out of the list");
    EXPECT_EQ(runners[0]["outcome"], nullptr);
    EXPECT_EQ(listed().size(), 3U) << "looking changes nothing";
    const auto logged = logSize();
    tool::run(doctor({"--fix", "--yes"}));
    EXPECT_EQ(listed(), pidsOf({&first, &third}));
    EXPECT_TRUE(first.isWell());
    EXPECT_TRUE(third.isWell());
    EXPECT_TRUE(eventually([&] { return logSize() > logged; })) << "they go on logging";
}

TEST(VdictlDoctor, ADeadActiveAgentIsForgotten) {
    AgentProcess agent;
    ASSERT_TRUE(agent.says(": active"));
    agent.kill();
    ASSERT_THAT(findings(look(1), "dead-active-agent"), SizeIs(1));
    const json fixed = fix();
    EXPECT_EQ(findings(fixed, "dead-active-agent").at(0)["outcome"], "repaired");
    EXPECT_EQ(findings(fixed, "dead-runner").at(0)["outcome"], "repaired");
    EXPECT_EQ(fixed["healthy"], true);
    EXPECT_EQ(raw::read(activeName), std::vector<unsigned char>(512));
    EXPECT_THAT(listed(), IsEmpty());
    AgentProcess next;
    EXPECT_TRUE(next.says(": active"));
}

TEST(VdictlDoctor, RepairsOnlyWhenItIsConfirmed) {
    const std::uint32_t dead = 4200001;
    raw::write(listName, 0, &dead, sizeof dead, 512);
    const auto result = tool::run(doctor({"--fix"}));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, HasSubstr("repair: take 4200001 out of the list"));
    EXPECT_THAT(result.errors, HasSubstr("add --yes"));
    EXPECT_EQ(listed(), std::vector<std::uint32_t>{dead});
}

TEST(VdictlDoctor, YesWithoutFixIsWrongUsage) {
    EXPECT_EQ(tool::run({"doctor", "--yes"}).exitCode, 2);
    EXPECT_EQ(tool::run({"doctor", "--ignore", "nothing"}).exitCode, 2);
}

// A new process under a given id, which the system allows to root only; -1 where it does not.
pid_t startAs(pid_t pid) {
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&pid);
    arguments.set_tid_size = 1;
    const long child = syscall(SYS_clone3, &arguments, sizeof arguments);
    if (child == 0) {
        execlp("sleep", "sleep", "1000", static_cast<char*>(nullptr));
        _exit(127);
    }
    return static_cast<pid_t>(child);
}

// How long ago an object was changed, in milliseconds.
std::int64_t age(const std::string& name) {
    std::timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::timespec then = raw::status(name).st_mtim;
    return (now.tv_sec - then.tv_sec) * 1000 + (now.tv_nsec - then.tv_nsec) / 1'000'000;
}

TEST(VdictlDoctor, APidThatIsAnothersNowIsTakenOut) {
    AgentProcess living;
    ASSERT_TRUE(living.says(": active"));
    AgentProcess agent;
    ASSERT_TRUE(agent.says("registered"));
    const pid_t pid = agent.pid();
    agent.kill();
    ASSERT_TRUE(eventually([&] { return age(guardName) > 300; }));
    const pid_t other = startAs(pid);
    if (other < 0) {
        GTEST_SKIP() << "no process can be started under a given id here";
    }
    const auto reused = findings(look(1), "reused-pid");
    EXPECT_THAT(reused, SizeIs(1));
    tool::run(doctor({"--fix", "--yes"}));
    EXPECT_EQ(listed(), pidsOf({&living}));
    EXPECT_TRUE(living.isWell());
    EXPECT_EQ(kill(other, 0), 0) << "the process itself is left alone";
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
}

TEST(VdictlDoctor, AProcessThatMayBeTheRecordedOneIsLeft) {
    const std::uint32_t self = static_cast<std::uint32_t>(getpid());
    raw::write(activeName, 0, &self, sizeof self, 512);
    const json result = fix(1);
    const auto doubtful = findings(result, "doubtful-pid");
    ASSERT_THAT(doubtful, SizeIs(1));
    EXPECT_EQ(doubtful[0]["repair"], nullptr);
    EXPECT_EQ(raw::read(activeName)[0], self & 0xFFU);
}

TEST(VdictlDoctor, ALockOfADeadOwnerIsFreedForThoseThatWait) {
    Child holder("holdsTheLockOfTheEvent");
    holder.waitFor("holds");
    Child waiter("waitsForTheLockOfTheEvent");
    waiter.waitFor("open");
    const raw::Mapping<t_HANDLE> event(doorName + "_event");
    ASSERT_TRUE(eventually([&] { return __atomic_load_n(&event->mutex.__data.__lock, __ATOMIC_SEQ_CST) == 2; }));
    EXPECT_THAT(findings(look(0), "dead-lock-owner"), IsEmpty()) << "its owner lives";
    holder.kill();
    ASSERT_THAT(findings(look(1), "dead-lock-owner"), SizeIs(1));
    EXPECT_EQ(findings(fix(), "dead-lock-owner").at(0)["outcome"], "repaired");
    waiter.waitFor("has it");
    EXPECT_EQ(waiter.join(), 0);
}

TEST(VdictlDoctor, ALockOfADeadOwnerIsFreedAlsoUnderAnUnknownName) {
    Child holder("holdsANamedMutex");
    holder.waitFor("holds");
    holder.kill();
    const auto found = findings(look(1), "dead-lock-owner");
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0]["logicalName"], nullptr);
    EXPECT_EQ(fix()["healthy"], true);
}

TEST(VdictlDoctor, AKilledWaiterIsForgottenAndItsObjectRemoved) {
    Child living("waitsForTheEvent");
    living.waitFor("open");
    t_HANDLE* const event = openEvent();
    ASSERT_TRUE(wait(*event, 1));
    Child dead("waitsForTheEvent");
    dead.waitFor("open");
    ASSERT_TRUE(wait(*event, 2));
    EXPECT_EQ(look(0)["healthy"], true);
    dead.kill();
    const json found = look(1);
    ASSERT_THAT(findings(found, "waiter-count"), SizeIs(1));
    ASSERT_THAT(findings(found, "leftover-waiter"), SizeIs(1));
    EXPECT_EQ(findings(found, "leftover-waiter").at(0)["logicalName"], doorName + "_event1");
    EXPECT_EQ(fix()["healthy"], true);
    EXPECT_EQ(event->waiterCount, 1);
    EXPECT_FALSE(raw::exists(doorName + "_event1"));
    SetEvent(event);
    living.waitFor("got it");
}

// Signals go to the numbers below the count: it must not fall to or below that of a living waiter.
TEST(VdictlDoctor, ALivingWaiterWithAHigherNumberIsNotLost) {
    Child dead("waitsForTheEvent");
    dead.waitFor("open");
    t_HANDLE* const event = openEvent();
    ASSERT_TRUE(wait(*event, 1));
    Child living("waitsForTheEvent");
    living.waitFor("open");
    ASSERT_TRUE(wait(*event, 2));
    dead.kill();
    const json result = fix(1);
    ASSERT_THAT(findings(result, "waiter-count"), SizeIs(1));
    EXPECT_EQ(findings(result, "waiter-count").at(0)["repair"], nullptr);
    EXPECT_EQ(findings(result, "leftover-waiter").at(0)["outcome"], "repaired");
    EXPECT_EQ(event->waiterCount, 2);
    SetEvent(event);
    living.waitFor("got it");
}

TEST(VdictlDoctor, AWaiterOfNoKnownEventIsRemovedOnlyWhenNobodyHasIt) {
    raw::write("gone_event0", 0, "", 0, 48);
    {
        const int fd = shm_open(raw::systemName("gone_event0").c_str(), O_RDWR, 0);
        EXPECT_EQ(findings(fix(1), "leftover-waiter").at(0)["outcome"], "refused");
        close(fd);
    }
    EXPECT_EQ(fix()["healthy"], true);
    EXPECT_THAT(raw::systemNames(), IsEmpty());
}

TEST(VdictlDoctor, AWrongSizeIsSetRightWhenNobodyUsesTheObject) {
    const std::uint32_t none = 0;
    raw::write(listName, 0, &none, sizeof none, 100);
    raw::write(activeName, 0, &none, sizeof none, 600);
    ASSERT_THAT(findings(look(1), "wrong-size"), SizeIs(2));
    EXPECT_EQ(fix()["healthy"], true);
    EXPECT_EQ(raw::status(listName).st_size, 512);
    EXPECT_EQ(raw::status(activeName).st_size, 512);
}

TEST(VdictlDoctor, AWrongSizeOfAnObjectInUseIsLeft) {
    AgentProcess agent;
    ASSERT_TRUE(agent.says(": active"));
    ASSERT_EQ(truncate(("/dev/shm" + raw::systemName(listName)).c_str(), 600), 0);
    EXPECT_EQ(findings(fix(1), "wrong-size").at(0)["outcome"], "refused");
    EXPECT_EQ(raw::status(listName).st_size, 600);
    EXPECT_TRUE(agent.isWell());
}

TEST(VdictlDoctor, AWrongModeIsSetRightUnderLivingAgents) {
    AgentProcess agent;
    ASSERT_TRUE(agent.says(": active"));
    ASSERT_EQ(chmod(("/dev/shm" + raw::systemName(listName)).c_str(), 0666), 0);
    EXPECT_EQ(findings(fix(), "wrong-mode").at(0)["outcome"], "repaired");
    EXPECT_EQ(raw::status(listName).st_mode & 0777U, 0600U);
    EXPECT_TRUE(agent.isWell());
}

TEST(VdictlDoctor, AWrongOwnerIsSetRightByRoot) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only root can give objects away";
    }
    const std::uint32_t none = 0;
    raw::write(listName, 0, &none, sizeof none, 512);
    ASSERT_EQ(chown(("/dev/shm" + raw::systemName(listName)).c_str(), users::nobody, users::nobody), 0);
    ASSERT_THAT(findings(look(1), "wrong-owner"), SizeIs(1));
    EXPECT_EQ(fix()["healthy"], true);
    EXPECT_EQ(raw::status(listName).st_uid, geteuid());
}

TEST(VdictlDoctor, AFolderThatIsNearlyFullIsFound) {
    if (mount("tmpfs", "/dev/shm", "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "no small folder can be made here";
    }
    raw::write("filler", 0, std::string(64 * 1024, 'x').data(), 64 * 1024, 64 * 1024);
    EXPECT_THAT(findings(look(1), "folder-full"), SizeIs(1));
}

TEST(VdictlDoctor, APrivateFolderIsFound) {
    const json result = tool::facts({"doctor"}, 1);
    ASSERT_THAT(result["findings"], SizeIs(1));
    EXPECT_EQ(result["findings"][0]["kind"], "folder-private");
    EXPECT_EQ(result["findings"][0]["object"], "/dev/shm");
}

// As at log-out.
TEST(VdictlDoctor, ObjectsThatWereRemovedUnderAnAgentAreFound) {
    AgentProcess agent;
    ASSERT_TRUE(agent.says(": active"));
    for (const std::string& name : {listName, activeName, guardName}) {
        ASSERT_EQ(shm_unlink(raw::systemName(name).c_str()), 0);
    }
    const auto removed = findings(look(1), "removed-in-use");
    ASSERT_THAT(removed, SizeIs(1));
    EXPECT_THAT(removed[0]["text"].get<std::string>(), HasSubstr(std::to_string(agent.pid())));
    EXPECT_THAT(removed[0]["advice"].get<std::string>(), HasSubstr("RemoveIPC"));
}

TEST(VdictlDoctor, ADamagedLockIsFoundAndLeft) {
    raw::write(guardName, 0, std::string(64, 'x').data(), 64, 64);
    EXPECT_THAT(findings(fix(1), "damaged-lock"), SizeIs(1));
    EXPECT_EQ(raw::read(guardName), std::vector<unsigned char>(64, 'x'));
}

TEST(VdictlDoctor, AnAgentBehindTheEndOfTheListIsFound) {
    const std::uint32_t pids[] = {0, static_cast<std::uint32_t>(getpid())};
    raw::write(listName, 0, pids, sizeof pids, 512);
    EXPECT_THAT(findings(look(1), "hidden-runner"), SizeIs(1));
}

}  // namespace
