// What repairs must not touch: those who cannot be seen, those who are in the middle of something, and those who live.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <VDIFrameworkCommon/NamedMutex.h>
#include <VDIFrameworkCommon/VirtualChannelLogger.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "support/Multiprocess.h"
#include "support/RawObject.h"
#include "support/Users.h"
#include "vdictl/survey/Doctoring.h"

namespace {

using namespace doctoring;
using namespace VDIFrameworkCommon;
using multiprocess::await;
using multiprocess::Child;
using multiprocess::step;
using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

CHILD_MAIN(waits) {
    t_HANDLE* const event = openEvent();
    step("open");
    step(WaitForSingleObject(event, INFINITE) == 0 ? "got it" : "woke up");
}

CHILD_MAIN(holdsTheEvent) {
    pthread_mutex_lock(&openEvent()->mutex);
    step("holds");
    await("never");
}

CHILD_MAIN(holdsFiveEvents) {
    for (int i = 0; i < 5; ++i) {
        t_HANDLE* const event = openEvent(doorName + std::to_string(i));
        pthread_mutex_lock(&event->mutex);
        event->waiterCount = 3;
    }
    step("holds");
    await("never");
}

// The first half of taking a lock, as a process that is killed in the middle of it leaves it.
CHILD_MAIN(diesWhileItTakesALock) {
    NamedMutex mutex;
    mutex.create("door");
    const raw::Mapping<pthread_mutex_t> record(raw::logicalName("DEFVDI_", "door") + "_mutex");
    __atomic_store_n(&record->__data.__lock, 1, __ATOMIC_SEQ_CST);
    step("takes");
    await("never");
}

const std::string mutexName = raw::logicalName("DEFVDI_", "door") + "_mutex";

// The doctor's own namespace has numbers for none of the others.
TEST(VdictlDoctorCare, AWaiterThatTheDoctorCannotSeeIsLeft) {
    if (!canBeApart()) {
        GTEST_SKIP() << "no namespace of processes can be made here";
    }
    Child living("waits");
    living.waitFor("open");
    t_HANDLE* const event = openEvent();
    ASSERT_TRUE(wait(*event, 1));
    EXPECT_NE(shell(apart + VDICTL + " doctor --fix --yes --json --ignore folder-private >/dev/shm/result"), 0);
    std::ifstream file("/dev/shm/result");
    const json result = tool::parsed({std::istreambuf_iterator<char>(file), {}});
    ASSERT_THAT(findings(result, "waiter-count"), SizeIs(1));
    EXPECT_EQ(findings(result, "waiter-count").at(0)["outcome"], "refused");
    EXPECT_EQ(findings(result, "leftover-waiter").at(0)["outcome"], "refused");
    EXPECT_EQ(event->waiterCount, 1);
    SetEvent(event);
    living.waitFor("got it");
}

TEST(VdictlDoctorCare, AWaiterWhoseObjectSomebodyHasOpenIsCounted) {
    t_HANDLE* const event = openEvent();
    event->waiterCount = 1;
    raw::write(doorName + "_event0", 0, "", 0, 48);
    const int fd = shm_open(raw::systemName(doorName + "_event0").c_str(), O_RDWR, 0);
    EXPECT_EQ(findings(fix(1), "waiter-count").at(0)["outcome"], "refused");
    EXPECT_EQ(event->waiterCount, 1);
    close(fd);
    EXPECT_EQ(findings(fix(), "waiter-count").at(0)["outcome"], "repaired");
    EXPECT_EQ(event->waiterCount, 0);
}

TEST(VdictlDoctorCare, ALockOfAProcessThatDiedWhileItTookItIsFreedWhenNobodyUsesIt) {
    Child agent("diesWhileItTakesALock");
    agent.waitFor("takes");
    const auto used = findings(fix(1), "ownerless-lock");
    ASSERT_THAT(used, SizeIs(1));
    EXPECT_EQ(used[0]["repair"], nullptr) << "its user may go on";
    EXPECT_THAT(used[0]["advice"].get<std::string>(), HasSubstr("restart"));
    EXPECT_NE(lockWord(mutexName), 0);
    agent.kill();
    EXPECT_EQ(findings(fix(), "ownerless-lock").at(0)["outcome"], "repaired");
    EXPECT_EQ(lockWord(mutexName), 0);
}

TEST(VdictlDoctorCare, ALockWithoutOwnerInAnOpenObjectIsLeft) {
    {
        Child agent("diesWhileItTakesALock");
        agent.waitFor("takes");
    }
    const int fd = shm_open(raw::systemName(mutexName).c_str(), O_RDWR, 0);
    EXPECT_EQ(findings(fix(1), "ownerless-lock").at(0)["outcome"], "refused");
    EXPECT_NE(lockWord(mutexName), 0);
    close(fd);
}

// With the lock of an event in its hands it would leave all who use the event waiting.
TEST(VdictlDoctorCare, ASignalEndsARepairOnlyWhenItIsDone) {
    Child agent("holdsFiveEvents");
    agent.waitFor("holds");
    tool::Program doctoring(doctor({"--fix", "--yes"}));
    std::string line;
    do {
        line = doctoring.line();
    } while (!line.empty() && line.find("refused: ") != 0);
    doctoring.signal(SIGTERM);
    EXPECT_EQ(doctoring.end(), 128 + SIGTERM);
    std::istringstream rest(doctoring.rest());
    std::string last;
    int more = 0;  // the one that was under way, and what a slow machine began before the signal came
    while (std::getline(rest, line)) {
        last = line;
        more += line.find("refused: ") == 0 ? 1 : 0;
    }
    EXPECT_LT(more, 4) << "not all are begun";
    EXPECT_EQ(last, "5 findings are left: look again without --fix");
}

TEST(VdictlDoctorCare, WhatMayNotBeLookedIntoIsNotHealthy) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only the superuser can become somebody who may not";
    }
    const pid_t child = fork();
    if (child == 0) {
        const bool changed = users::become(users::nobody);
        const auto result = tool::run(doctor({"--user", "0"}));
        const bool isRight =
            changed && result.exitCode == 3 &&
            result.errors == "vdictl: objects of user 0: may not be looked into; run as this user or as root\n";
        _exit(isRight ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(VdictlDoctorCare, NothingOfANameDoesAnythingToATerminal) {
    openEvent("e\x1b[31mvil");
    raw::write("e\x1b[31mvil_event0", 0, "", 0, 48);
    const auto result = tool::run(doctor());
    EXPECT_THAT(result.output, HasSubstr("event 'e\\x1b[31mvil_event'"));
    EXPECT_THAT(result.output, Not(HasSubstr("\x1b")));
}

class VdictlDoctorQuestion : public testing::Test {
protected:
    void SetUp() override { raw::write(listName, 0, &dead, sizeof dead, 512); }

    static tool::Result answer(const std::string& typed, const tool::Words& more) {
        tool::Words words = doctor({"--fix"});
        words.insert(words.end(), more.begin(), more.end());
        return tool::run(tool::Start{words, {}, {}, false, typed});
    }

    static constexpr std::uint32_t dead = 4200001;
};

TEST_F(VdictlDoctorQuestion, ShowsWhatItWillDoAndWaitsForTheAnswer) {
    const auto no = answer("n\n", {});
    EXPECT_EQ(no.exitCode, 1);
    EXPECT_THAT(no.output, HasSubstr("repair: take 4200001 out of the list"));
    EXPECT_EQ(no.errors, "Repair 1 of 1 findings? [y/N] ");
    EXPECT_EQ(listed(), std::vector<std::uint32_t>{dead});
    const auto yes = answer("y\n", {});
    EXPECT_EQ(yes.exitCode, 0);
    EXPECT_THAT(yes.output, HasSubstr("repaired: " + raw::systemName(listName) + ", take 4200001 out of the list\n"));
    EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(VdictlDoctorQuestion, ShowsItBeforeAlsoWhereFactsComeAsJson) {
    const auto no = answer("\n", {"--json"});
    EXPECT_EQ(no.exitCode, 1);
    EXPECT_THAT(no.errors, HasSubstr("repair: take 4200001 out of the list\nRepair 1 of 1 findings? [y/N] "));
    EXPECT_EQ(tool::parsed(no.output)["findings"][0]["outcome"], nullptr);
    const auto yes = answer("yes\n", {"--json"});
    EXPECT_EQ(yes.exitCode, 0);
    EXPECT_EQ(tool::parsed(yes.output)["findings"][0]["outcome"], "repaired");
}

TEST_F(VdictlDoctorQuestion, GoldenTextAndJson) {
    const std::string object = raw::systemName(listName);
    const auto text = tool::run(doctor());
    EXPECT_EQ(text.output, "dead-runner  " + object + "  " + listName +
                               "\n"
                               "    process 4200001, recorded as a runner, does not run\n"
                               "    repair: take 4200001 out of the list\n");
    const json expected{{"healthy", false},
                        {"findings",
                         {{{"kind", "dead-runner"},
                           {"object", object},
                           {"logicalName", listName},
                           {"text", "process 4200001, recorded as a runner, does not run"},
                           {"advice", nullptr},
                           {"repair", "take 4200001 out of the list"},
                           {"outcome", nullptr},
                           {"reason", nullptr}}}}};
    EXPECT_EQ(look(1), expected);
}

std::uintmax_t logSize() {
    std::error_code none;
    const auto size = std::filesystem::file_size("/dev/shm/logs/" + LogFileName, none);
    return none ? 0 : size;
}

json of(const std::vector<json>& found, const std::string& logicalName) {
    for (const json& finding : found) {
        if (finding["logicalName"] == logicalName) {
            return finding["outcome"];
        }
    }
    return "not found";
}

// Everything that can be repaired, at once, in the middle of agents of two products that run and log.
TEST(VdictlDoctorCare, LivingAgentsGoOnUnderEveryRepair) {
    AgentProcess first;
    ASSERT_TRUE(first.says(": active"));
    AgentProcess killed;
    ASSERT_TRUE(killed.says("registered"));
    AgentProcess second;
    ASSERT_TRUE(second.says("registered"));
    AgentProcess other("crews");
    ASSERT_TRUE(other.says(": active"));
    killed.kill();
    other.kill();
    const std::string crewsList = raw::logicalName("CRVDI_", "TavixCrewsVDIRunnerCounter");
    const std::string crewsActive = raw::logicalName("CRVDI_", "TavixCrewsActiveVirtualChannelAgentRecorder");
    Child living("waits");
    living.waitFor("open");
    t_HANDLE* const event = openEvent();
    ASSERT_TRUE(wait(*event, 1));
    Child deadWaiter("waits");
    deadWaiter.waitFor("open");
    ASSERT_TRUE(wait(*event, 2));
    deadWaiter.kill();
    Child deadHolder("holdsTheEvent");
    deadHolder.waitFor("holds");
    deadHolder.kill();
    ASSERT_EQ(chmod(("/dev/shm" + raw::systemName(listName)).c_str(), 0644), 0);
    const std::string unused = raw::logicalName("DEFVDI_", "TavixUniversalVDIRunnerCounter");
    raw::write(unused, 0, "\0\0\0\0", 4, 100);
    if (users::canChange()) {
        ASSERT_EQ(chown(("/dev/shm" + raw::systemName(unused)).c_str(), users::nobody, users::nobody), 0);
    }
    const auto logged = logSize();

    tool::Words words = doctor({"--fix", "--yes", "--json"});
    const json result = tool::parsed(tool::run(words).output);

    EXPECT_EQ(of(findings(result, "dead-runner"), listName), "repaired");
    EXPECT_EQ(of(findings(result, "dead-runner"), crewsList), "repaired");
    EXPECT_EQ(of(findings(result, "dead-active-agent"), crewsActive), "repaired");
    EXPECT_EQ(of(findings(result, "dead-lock-owner"), doorName + "_event"), "repaired");
    EXPECT_EQ(of(findings(result, "waiter-count"), doorName + "_event"), "repaired");
    EXPECT_EQ(of(findings(result, "leftover-waiter"), doorName + "_event1"), "repaired");
    EXPECT_EQ(of(findings(result, "wrong-mode"), listName), "repaired");
    EXPECT_EQ(of(findings(result, "wrong-size"), unused), "repaired");
    EXPECT_EQ(of(findings(result, "wrong-owner"), unused), users::canChange() ? json("repaired") : json("not found"));
    EXPECT_EQ(listed(), pidsOf({&first, &second}));
    EXPECT_EQ(event->waiterCount, 1);
    EXPECT_TRUE(first.isWell());
    EXPECT_TRUE(second.isWell());
    EXPECT_TRUE(eventually([&] { return logSize() > logged; })) << "they go on logging";
    SetEvent(event);
    living.waitFor("got it");
}

}  // namespace
