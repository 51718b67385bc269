// Repairs race with agents that start: none of these loses its place.

#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "Terminal.h"
#include "doctor/AgentRecord.h"
#include "doctor/Finding.h"
#include "support/RawObject.h"
#include "support/Sanitizers.h"
#include "vdictl/survey/AgentProcess.h"

namespace {

using namespace vdictl;
using testing::Contains;

// No process has such a number.
constexpr std::uint32_t dead[] = {4200001, 4200002, 4200003};

const std::string listName = raw::logicalName("HDVDI_", "TavixHuddleVDIRunnerCounter");
using List = raw::Mapping<std::uint32_t[50]>;

constexpr int rounds = sanitizers::address || sanitizers::thread ? 100 : 1000;

void repairAll() {
    const Owner owner;
    for (const Finding& finding : diagnose(takeSurvey(Look::WithMappings, owner), owner)) {
        if (finding.kind == "dead-runner" || finding.kind == "dead-active-agent") {
            finding.repair();
        }
    }
}

std::vector<std::uint32_t> listed() {
    const List list(listName);
    return {std::begin(*list), std::find(std::begin(*list), std::end(*list), 0U)};
}

// An agent as the library makes it: it registers once and does not look whether it stays registered. It uses nothing
// that a process forked from this one may not use.
pid_t startAgent() {
    const pid_t pid = fork();
    if (pid == 0) {
        VDIFrameworkCommon::VDIClientInfo::getInstance()->setClientType(
            VDIFrameworkCommon::VDIClientType::OrvexHuddles);
        VDIFrameworkCommon::VDIRunnerCounter().addRunner(static_cast<unsigned int>(getpid()));
        raise(SIGSTOP);
        _exit(0);
    }
    return pid;
}

/// How repairs and an agent that starts met.
struct Race {
    int status = 0;               ///< the agent's
    bool isFirst = false;         ///< the agent had registered before any repair
    bool isBetween = false;       ///< it registered in the middle of repairs
    bool hasBroughtBack = false;  ///< it wrote an older list back, with what was taken out
};

// Takes dead entries out, as a repair does once it knows what is dead, and puts them in again until the agent has
// registered.
Race repairWhileStarting(pid_t agent) {
    const List list(listName);
    const auto isRegistered = [&] { return isListed(*list, static_cast<std::uint32_t>(agent)); };
    Race race;
    race.isFirst = isRegistered();
    while (waitpid(agent, &race.status, WUNTRACED | WNOHANG) == 0) {
        const bool wasRegistered = isRegistered();
        for (const std::uint32_t pid : dead) {
            removeRunner(*list, pid);
            race.hasBroughtBack |= isListed(*list, pid);
            addRunner(*list, pid);
        }
        race.isBetween |= !wasRegistered && isRegistered();
    }
    return race;
}

void listDead() {
    const List list(listName);
    for (const std::uint32_t pid : dead) {
        addRunner(*list, pid);
    }
}

TEST(VdictlDoctorRace, AnAgentThatRegistersDuringARepairStaysRegistered) {
    const std::uint32_t none = 0;
    raw::write(listName, 0, &none, sizeof none, 512);
    int first = 0;
    int between = 0;
    int broughtBack = 0;
    for (int round = 0; round < rounds; ++round) {
        listDead();
        const pid_t agent = startAgent();
        const Race race = repairWhileStarting(agent);
        first += race.isFirst ? 1 : 0;
        between += race.isBetween ? 1 : 0;
        broughtBack += race.hasBroughtBack ? 1 : 0;
        ASSERT_TRUE(WIFSTOPPED(race.status)) << race.status;
        repairAll();
        ASSERT_THAT(listed(), testing::ElementsAre(static_cast<std::uint32_t>(agent))) << "round " << round;
        kill(agent, SIGKILL);
        waitpid(agent, nullptr, 0);
        repairAll();
        ASSERT_THAT(listed(), testing::IsEmpty()) << "round " << round;
    }
    RecordProperty("AgentFirst", first);
    RecordProperty("InTheMiddle", between);
    RecordProperty("OlderListBack", broughtBack);
    EXPECT_GT(between, 0) << "it was no race";
}

// Each agent is killed in the middle of what it does, and repaired after while the next one starts.
TEST(VdictlDoctorRace, AgentProgramsStartUnderRepairs) {
    std::uint32_t last = 0;
    for (int round = 0; round < rounds / 10; ++round) {
        std::atomic<bool> started{false};
        AgentProcess agent;
        std::thread repairs([&] {
            while (!started) {
                repairAll();
            }
        });
        const bool isActive = agent.says(": active");
        started = true;
        repairs.join();
        ASSERT_TRUE(isActive) << "round " << round;
        repairAll();
        const auto pids = listed();
        ASSERT_THAT(pids, Contains(static_cast<std::uint32_t>(agent.pid()))) << "round " << round;
        ASSERT_THAT(pids, testing::Not(Contains(last))) << "round " << round;
        last = static_cast<std::uint32_t>(agent.pid());
    }
}

}  // namespace
