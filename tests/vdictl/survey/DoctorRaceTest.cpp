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

// Takes dead entries out, as a repair does once it knows what is dead, and puts them in again until the agent has
// registered. How the agent is then.
int repairWhileStarting(pid_t agent) {
    const List list(listName);
    int status = 0;
    while (waitpid(agent, &status, WUNTRACED | WNOHANG) == 0) {
        for (const std::uint32_t pid : dead) {
            removeRunner(*list, pid);
            addRunner(*list, pid);
        }
    }
    return status;
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
    for (int round = 0; round < rounds; ++round) {
        listDead();
        const pid_t agent = startAgent();
        const int status = repairWhileStarting(agent);
        ASSERT_TRUE(WIFSTOPPED(status)) << status;
        repairAll();
        ASSERT_THAT(listed(), testing::ElementsAre(static_cast<std::uint32_t>(agent))) << "round " << round;
        kill(agent, SIGKILL);
        waitpid(agent, nullptr, 0);
        repairAll();
        ASSERT_THAT(listed(), testing::IsEmpty()) << "round " << round;
    }
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
