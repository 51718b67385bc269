// The agent program's options, and where it writes.

#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "AgentProgram.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;
using VDIFrameworkCommon::VDIRunnerCounter;

TEST(AgentOptions, TellsWhatItTakes) {
    AgentProgram help({"--help"});
    EXPECT_TRUE(help.says("--client")) << "among the options";
    EXPECT_TRUE(help.says("validate|KIND|TEXT")) << "among the messages";
    EXPECT_THAT(help.errors().rest(), IsEmpty());
    EXPECT_EQ(help.end(), 0);
    AgentProgram version({"--version"});
    EXPECT_THAT(version.output().rest(), ElementsAre("vdi-agent " VDI_AGENT_VERSION));
    EXPECT_THAT(version.errors().rest(), IsEmpty());
    EXPECT_EQ(version.end(), 0);
}

TEST(AgentOptions, RefusesBadOptionsWithAMessage) {
    const std::pair<std::vector<std::string>, std::string> bad[] = {
        {{"--client", "nobody"}, "--client: 'nobody' is none of parlet, crews, huddles, unknown"},
        {{"--client", "2"}, "--client: '2' is none of parlet, crews, huddles, unknown"},
        {{"--client"}, "--client: 1 required PRODUCT missing"},
        {{"--client-version", "1.x"}, "--client-version: '1.x' is not a version such as 12.9.1.3"},
        {{"--client-version", "1.2.3.4.5"}, "--client-version: '1.2.3.4.5' is not a version such as 12.9.1.3"},
        {{"--log-level", "loud"}, "--log-level: 'loud' is none of error, warn, info, debug, trace"},
        {{"--trace-dir", ""}, "--trace-dir: the folder's name is empty"},
        {{"--no-such-option"}, "The following argument was not expected: --no-such-option"},
        {{"unexpected"}, "The following argument was not expected: unexpected"}};
    for (const auto& [options, message] : bad) {
        AgentProgram agent(options);
        EXPECT_THAT(agent.errors().rest(), ElementsAre(message, "Run with --help for more information."));
        EXPECT_THAT(agent.output().rest(), IsEmpty()) << message;
        EXPECT_EQ(agent.end(), 2) << message;
    }
}

TEST(AgentOptions, TakesEveryProductInAnyCase) {
    const std::pair<std::string, std::string> products[] = {
        {"unknown", "Unknown"}, {"Parlet", "Parlet"}, {"CREWS", "OrvexCrews"}, {"huddles", "OrvexHuddles"}};
    for (const auto& [option, name] : products) {
        AgentProgram show({"--show", "--client", option});
        EXPECT_THAT(show.output().rest(), ElementsAre(name + ": active none; runners none"));
        EXPECT_THAT(show.errors().rest(), IsEmpty());
        EXPECT_EQ(show.end(), 0);
    }
}

TEST(AgentOptions, StateChangesGoToStandardOutput) {
    AgentProgram agent(huddles());
    const std::string about = "vdi-agent " + std::to_string(agent.pid()) + " (OrvexHuddles): ";
    ASSERT_TRUE(agent.says(": active"));
    agent.kill(SIGTERM);
    EXPECT_THAT(agent.output().rest(), ElementsAre(about + "left, runners: none"));
    EXPECT_THAT(agent.errors().rest(), IsEmpty());
    EXPECT_EQ(agent.end(), 0);
}

TEST(AgentOptions, ErrorsGoToStandardError) {
    VDIClientInfo::getInstance()->setClientType(VDIClientType::OrvexHuddles);
    for (unsigned int pid = 1; pid <= 50; ++pid) {
        VDIRunnerCounter::getInstance()->addRunner(pid);
    }
    AgentProgram agent(huddles());
    EXPECT_THAT(agent.errors().rest(),
                ElementsAre("vdi-agent " + std::to_string(agent.pid()) +
                            " (OrvexHuddles): cannot register: the shared list is full or cannot be opened; see the "
                            "log"));
    EXPECT_THAT(agent.output().rest(), Not(Contains(HasSubstr("registered"))));
    EXPECT_EQ(agent.end(), 1);
}

TEST(AgentOptions, LogsWhereItIsTold) {
    AgentProgram agent(huddles());
    ASSERT_TRUE(agent.says(": active"));
    EXPECT_EQ(agent.ask("quit"), "ok|quit");
    EXPECT_EQ(agent.end(), 0);
    EXPECT_TRUE(std::filesystem::exists("/dev/shm/logs/parlet.log"));
}

}  // namespace
