// Agents whose numbers mean nothing here: those that count processes on their own, and those that cannot be seen.

#include <VDIFrameworkCommon/NamedMutex.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
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
using testing::SizeIs;

constexpr std::uint32_t nobodysNumber = 4200001;

// The first process of a namespace has to stay as long as the others.
pid_t startInNamespace(void (*body)()) {
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        for (;;) {
            pause();
        }
    }
    return pid;
}

CHILD_MAIN(letsAnotherNamespaceRegister) {
    if (unshare(CLONE_NEWPID) != 0) {
        step("not allowed");
        return;
    }
    startInNamespace([] {});
    const pid_t agent = startInNamespace([] {
        VDIClientInfo::getInstance()->setClientType(VDIClientType::OrvexHuddles);
        VDIRunnerCounter::getInstance()->addRunner(static_cast<unsigned int>(getpid()));
        step("registered");
    });
    step("it is " + std::to_string(agent));
    await("never");
}

CHILD_MAIN(letsAnotherNamespaceHoldALock) {
    if (unshare(CLONE_NEWPID) != 0) {
        step("not allowed");
        return;
    }
    startInNamespace([] {});
    startInNamespace([] {
        NamedMutex mutex;
        mutex.create("door");
        mutex.lock();
        step("holds");
    });
    await("never");
}

class VdictlNamespaces : public testing::Test {
protected:
    void SetUp() override {
        if (!canBeApart()) {
            GTEST_SKIP() << "no namespace of processes can be made here";
        }
    }

    // Starts an agent that has the number 2 for itself; its number here.
    static int startAgentApart(Child& parent) {
        int here = 0;
        for (int steps = 0; steps < 2; ++steps) {
            const std::string word = parent.next();
            here = word.starts_with("it is ") ? std::stoi(word.substr(6)) : here;
        }
        return here;
    }

    static json runners() { return tool::facts({"status"})["products"][0]["runners"]; }
};

TEST_F(VdictlNamespaces, AnAgentThatCountsOnItsOwnIsFoundByItsNumberThere) {
    Child parent("letsAnotherNamespaceRegister");
    const int here = startAgentApart(parent);
    const json agents = runners();
    ASSERT_THAT(agents, SizeIs(1));
    EXPECT_EQ(agents[0]["pid"], 2);
    EXPECT_EQ(agents[0]["pidHere"], here);
    EXPECT_EQ(agents[0]["alive"], true);
    EXPECT_EQ(agents[0]["reused"], "no");
    EXPECT_THAT(tool::run({"status"}).output, HasSubstr("runner 0  2, " + std::to_string(here) + " here  running"));
    EXPECT_THAT(look(0)["findings"], IsEmpty());
}

TEST_F(VdictlNamespaces, AnEntryThatMayBeTheirsIsUnknownAndLeft) {
    Child parent("letsAnotherNamespaceRegister");
    startAgentApart(parent);
    raw::write(listName, 4, &nobodysNumber, sizeof nobodysNumber, 512);
    EXPECT_EQ(runners()[1]["alive"], nullptr);
    EXPECT_EQ(runners()[1]["reused"], "unknown");
    EXPECT_THAT(tool::run({"status"}).output, HasSubstr("4200001  unknown"));
    const json result = fix(1);
    EXPECT_THAT(findings(result, "dead-runner"), IsEmpty());
    ASSERT_THAT(findings(result, "doubtful-pid"), SizeIs(1));
    EXPECT_THAT(findings(result, "doubtful-pid")[0]["text"].get<std::string>(),
                HasSubstr("whether it runs is not known: process"));
    EXPECT_THAT(listed(), Contains(nobodysNumber));
}

// The doctor sees an agent beside itself, and none outside.
TEST_F(VdictlNamespaces, AnAgentOutsideIsLeft) {
    AgentProcess outside;
    ASSERT_TRUE(outside.says(": active"));
    const std::string tool = VDICTL;
    const std::string inside = std::string(VDI_AGENT) + " --client huddles --trace-dir /dev/shm/logs >/dev/null & " +
                               "until " + tool + " status | grep -q 'runner 1'; do sleep 0.05; done; " + tool +
                               " doctor --fix --yes --json --ignore folder-private >/dev/shm/result";
    shell(apart + "sh -c \"" + inside + "\"");
    std::ifstream file("/dev/shm/result");
    const json result = tool::parsed({std::istreambuf_iterator<char>(file), {}});
    EXPECT_THAT(findings(result, "dead-runner"), IsEmpty());
    ASSERT_THAT(findings(result, "doubtful-pid"), SizeIs(1));
    EXPECT_THAT(findings(result, "doubtful-pid")[0]["text"].get<std::string>(),
                HasSubstr("process " + std::to_string(outside.pid()) +
                          ", recorded as a runner, is not seen from here; whether it runs is not known"));
    EXPECT_THAT(listed(), Contains(static_cast<std::uint32_t>(outside.pid())));
    EXPECT_TRUE(outside.isWell());
}

TEST_F(VdictlNamespaces, WhatNobodyHasOpenIsKnownToBeDeadAlsoFromWithin) {
    raw::write(listName, 0, &nobodysNumber, sizeof nobodysNumber, 512);
    EXPECT_EQ(shell(apart + VDICTL + " doctor --fix --yes --ignore folder-private >/dev/shm/result"), 0);
    EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(VdictlNamespaces, ALockThatIsHeldThereIsLeft) {
    Child holder("letsAnotherNamespaceHoldALock");
    holder.waitFor("holds");
    EXPECT_THAT(findings(fix(), "dead-lock-owner"), IsEmpty());
    EXPECT_NE(lockWord(raw::logicalName("DEFVDI_", "door") + "_mutex"), 0) << "it still is held";
    EXPECT_THAT(tool::run({"status"}).output, HasSubstr("of those that count on their own"));
}

TEST_F(VdictlNamespaces, ALockThatIsHeldThereIsWaitedFor) {
    Child holder("letsAnotherNamespaceHoldALock");
    holder.waitFor("holds");
    const auto late = tool::run({"lock", "--timeout", "300", "door", "--", "true"});
    EXPECT_EQ(late.exitCode, 1);
    EXPECT_THAT(late.errors, HasSubstr("not free within 300 ms, held by thread 2 of those that count on their own"));
}

// A process list that shows nobody but one's own processes.
TEST(VdictlHiddenProcesses, ALockOfAThreadThatIsHiddenIsNoDeadOnes) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only the superuser can hide processes";
    }
    pthread_mutex_t held{};
    held.__data.__lock = 1;
    held.__data.__owner = gettid();
    held.__data.__kind = 0x80;
    char bytes[64] = {};
    std::memcpy(bytes, &held, sizeof held);
    const std::string name = std::to_string(users::nobody) + "DEFVDI_door_mutex";
    raw::write(name, 0, bytes, sizeof bytes, 64);
    ASSERT_EQ(chown(("/dev/shm" + raw::systemName(name)).c_str(), users::nobody, users::nobody), 0);
    const pid_t child = fork();
    if (child == 0) {
        const bool isHidden = unshare(CLONE_NEWNS) == 0 &&
                              mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0 &&
                              mount("proc", "/proc", "proc", 0, "hidepid=2") == 0 && users::become(users::nobody);
        const auto result = tool::run(doctor({"--fix", "--yes"}));
        _exit(!isHidden ? 2 : result.output.find("dead-lock-owner") == std::string::npos ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WEXITSTATUS(status) == 2) {
        GTEST_SKIP() << "processes cannot be hidden here";
    }
    EXPECT_EQ(status, 0);
}

}  // namespace
