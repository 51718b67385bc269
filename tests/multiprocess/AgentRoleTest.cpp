// Several agent programs at once, and what happens to the others when one goes.

#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "AgentProgram.h"

namespace {

using testing::StartsWith;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;
using VDIFrameworkCommon::VDIRunnerCounter;

TEST(AgentRole, AStandbyTakesOverWhenTheActiveOneLeaves) {
    AgentProgram first(huddles());
    ASSERT_TRUE(first.says(": active"));
    AgentProgram second(huddles());
    ASSERT_TRUE(second.says(": standing by, active is " + std::to_string(first.pid())));
    first.kill(SIGINT);
    EXPECT_TRUE(first.says(": left"));
    EXPECT_EQ(first.end(), 0);
    EXPECT_TRUE(second.says(": active"));
}

TEST(AgentRole, RegistersAgainWhenItsEntryIsLost) {
    AgentProgram agent(huddles());
    ASSERT_TRUE(agent.says(": active"));
    VDIClientInfo::getInstance()->setClientType(VDIClientType::OrvexHuddles);
    VDIRunnerCounter().removeRunner(static_cast<unsigned int>(agent.pid()));
    EXPECT_TRUE(agent.says(": registered again, runners: " + std::to_string(agent.pid())));
}

TEST(AgentRole, ProductsThatShareARecordWakeEachOther) {
    AgentProgram first({"--client", "parlet", "--trace-dir", "/dev/shm/logs"});
    ASSERT_TRUE(first.says(": active"));
    AgentProgram second({"--client", "unknown", "--trace-dir", "/dev/shm/logs"});
    ASSERT_TRUE(second.says(": standing by, active is " + std::to_string(first.pid())));
    first.kill(SIGTERM);
    EXPECT_TRUE(second.says(": active"));
}

TEST(AgentRole, AStandbyTakesOverWhenTheActiveOneIsKilled) {
    AgentProgram first(huddles());
    ASSERT_TRUE(first.says(": active"));
    AgentProgram second(huddles());
    AgentProgram third(huddles());
    ASSERT_TRUE(second.says(": standing by"));
    ASSERT_TRUE(third.says(": standing by"));
    first.kill(SIGKILL);
    // Either may win; both say where they are in the end.
    EXPECT_TRUE(second.says(" died without leaving"));
    EXPECT_TRUE(third.says(" died without leaving"));
    std::string active;
    while (active != std::to_string(second.pid()) && active != std::to_string(third.pid())) {
        const std::string answer = second.ask("who");
        ASSERT_THAT(answer, StartsWith("ok|who|OrvexHuddles|"));
        active = answer.substr(20, answer.find('|', 20) - 20);
    }
}

TEST(AgentRole, ProductsDoNotMeet) {
    AgentProgram first(huddles());
    ASSERT_TRUE(first.says(": active"));
    AgentProgram other({"--client", "crews", "--trace-dir", "/dev/shm/logs"});
    EXPECT_TRUE(other.says(": active"));
}

TEST(AgentRole, ManyLeaveAtOnce) {
    std::vector<std::unique_ptr<AgentProgram>> agents;
    for (int i = 0; i < 12; ++i) {
        agents.push_back(std::make_unique<AgentProgram>(huddles()));
    }
    for (const auto& agent : agents) {
        ASSERT_TRUE(agent->says("registered"));
    }
    for (const auto& agent : agents) {
        agent->kill(SIGTERM);
    }
    for (const auto& agent : agents) {
        EXPECT_TRUE(agent->says(": left"));
        EXPECT_EQ(agent->end(), 0);
    }
}

TEST(AgentRole, OutlivesTheReaderOfItsOutput) {
    int closed[2];
    ASSERT_EQ(pipe2(closed, O_CLOEXEC), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(closed[1], STDOUT_FILENO);
        close(closed[0]);
        close(STDIN_FILENO);
        execl(VDI_AGENT, "vdi-agent", "--trace-dir", "/dev/shm/logs", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(closed[0]);
    close(closed[1]);
    AgentProgram other({"--client", "unknown", "--trace-dir", "/dev/shm/logs"});
    ASSERT_TRUE(other.says("registered"));
    while (other.ask("who").find(std::to_string(pid)) == std::string::npos) {
    }
    kill(pid, SIGTERM);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
