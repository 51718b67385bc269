#include <VDIFrameworkCommon/ActiveVirtualChannelAgentRecorder.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "support/Multiprocess.h"
#include "support/RecordingLogger.h"
#include "support/Users.h"

namespace {

using multiprocess::await;
using multiprocess::Child;
using multiprocess::step;
using testing::ElementsAre;
using VDIFrameworkCommon::ActiveVirtualChannelAgentRecorder;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;
using VDIFrameworkCommon::VDIRunnerCounter;

unsigned int ownPid() {
    return static_cast<unsigned int>(getpid());
}
unsigned int pidOf(const Child& child) {
    return static_cast<unsigned int>(child.pid());
}

CHILD_MAIN(registers) {
    VDIRunnerCounter::getInstance()->addRunner(ownPid());
    step("registered");
    await("leave");
    VDIRunnerCounter::getInstance()->removeRunner(ownPid());
    step("left");
}

TEST(AgentRecordProcess, AgentsRegisterAndLeave) {
    VDIRunnerCounter counter;
    Child first("registers");
    first.waitFor("registered");
    Child second("registers");
    second.waitFor("registered");
    EXPECT_THAT(counter.getAllRunners(), ElementsAre(pidOf(first), pidOf(second)));
    first.tell("leave");
    first.waitFor("left");
    EXPECT_THAT(counter.getAllRunners(), ElementsAre(pidOf(second)));
    const unsigned int killed = pidOf(second);
    second.kill();
    EXPECT_THAT(counter.getAllRunners(), ElementsAre(killed)) << "nobody removes one that was killed";
}

TEST(AgentRecordProcess, FiftyAgentsFitAndTheNextDoesNot) {
    VDIRunnerCounter counter;
    std::vector<std::unique_ptr<Child>> agents;
    std::vector<unsigned int> pids;
    for (int i = 0; i < 50; ++i) {
        agents.push_back(std::make_unique<Child>("registers"));
        agents.back()->waitFor("registered");
        pids.push_back(pidOf(*agents.back()));
    }
    EXPECT_EQ(counter.getAllRunners(), pids);
    Child late("registers");
    late.waitFor("registered");
    EXPECT_EQ(counter.getAllRunners(), pids);
    agents.front()->tell("leave");
    agents.front()->waitFor("left");
    Child later("registers");
    later.waitFor("registered");
    pids.erase(pids.begin());
    pids.push_back(pidOf(later));
    EXPECT_EQ(counter.getAllRunners(), pids);
}

// becomesActive [TYPE [USER]]
CHILD_MAIN(becomesActive) {
    if (arguments.size() > 1 && !users::become(static_cast<uid_t>(std::stoul(arguments[1])))) {
        return;
    }
    if (!arguments.empty()) {
        VDIClientInfo::getInstance()->setClientType(
            static_cast<VDIClientType::VDIClientTypeEnum>(std::stoi(arguments[0])));
    }
    ActiveVirtualChannelAgentRecorder recorder;
    step(recorder.hasOtherActiveVirtualChannelAgent() ? "other" : "none");
    recorder.markCurrentVirtualChannelAgentAsActive();
    step("active");
    await("end");
}

TEST(AgentRecordProcess, ALivingActiveAgentIsFound) {
    Child active("becomesActive");
    active.waitFor("none");
    active.waitFor("active");
    ActiveVirtualChannelAgentRecorder recorder;
    EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), pidOf(active));
    EXPECT_TRUE(recorder.hasOtherActiveVirtualChannelAgent());
    Child next("becomesActive");
    next.waitFor("other");
    next.waitFor("active");
    EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), pidOf(next)) << "the last one to claim the role has it";
}

TEST(AgentRecordProcess, AKilledActiveAgentIsNoticedAndCleared) {
    Child active("becomesActive");
    active.waitFor("none");
    active.waitFor("active");
    ActiveVirtualChannelAgentRecorder recorder;
    ASSERT_TRUE(recorder.hasOtherActiveVirtualChannelAgent());
    const std::string pid = std::to_string(active.pid());
    active.kill();
    recording::takeRecords();
    EXPECT_FALSE(recorder.hasOtherActiveVirtualChannelAgent());
    std::vector<std::string> warnings;
    for (const auto& record : recording::takeRecords()) {
        if (record.level == DPL_WARN) {
            warnings.push_back(record.message);
        }
    }
    EXPECT_THAT(warnings, ElementsAre("current acrive virtual channel agent is not running: " + pid));
    EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), 0U);
    Child next("becomesActive");
    next.waitFor("none");
}

TEST(AgentRecordProcess, AZombieIsNotActive) {
    Child active("becomesActive");
    active.waitFor("none");
    active.waitFor("active");
    ActiveVirtualChannelAgentRecorder recorder;
    ASSERT_TRUE(recorder.hasOtherActiveVirtualChannelAgent());
    active.tell("end");
    siginfo_t info{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(active.pid()), &info, WEXITED | WNOWAIT), 0);
    EXPECT_FALSE(recorder.hasOtherActiveVirtualChannelAgent()) << "it has ended, though nobody has reaped it";
}

TEST(AgentRecordProcess, ProductsHaveActiveAgentsOfTheirOwn) {
    Child chat("becomesActive", {"1"});
    chat.waitFor("none");
    chat.waitFor("active");
    Child teams("becomesActive", {"2"});
    teams.waitFor("none");
    teams.waitFor("active");
    Child meetings("becomesActive", {"3"});
    meetings.waitFor("none");
    meetings.waitFor("active");
}

TEST(AgentRecordProcess, UsersHaveActiveAgentsOfTheirOwn) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only root can become another user";
    }
    Child mine("becomesActive", {"1"});
    mine.waitFor("none");
    mine.waitFor("active");
    Child theirs("becomesActive", {"1", std::to_string(users::nobody)});
    theirs.waitFor("none");
    theirs.waitFor("active");
    ActiveVirtualChannelAgentRecorder recorder;
    EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), pidOf(mine));
}

TEST(AgentRecordProcess, AnActiveProcessOfAnotherUserIsRunning) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only root can become another user";
    }
    Child theirs("registers");
    theirs.waitFor("registered");
    Child asker("becomesActive", {"1", std::to_string(users::nobody)});
    asker.waitFor("none");
    asker.waitFor("active");
    ActiveVirtualChannelAgentRecorder recorder;
    recorder.setActiveVirtualChannelAgentPid(pidOf(asker));
    EXPECT_TRUE(recorder.hasOtherActiveVirtualChannelAgent());
}

}  // namespace
