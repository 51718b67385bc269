// The agent program at a terminal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <string>

#include "AgentProgram.h"

namespace {

using testing::StartsWith;

TEST(AgentTerminal, SpeaksToATerminal) {
    AgentProgram agent(huddles(), {.ends = AgentProgram::Ends::Terminal});
    ASSERT_TRUE(agent.says(": active"));
    EXPECT_EQ(agent.ask("ping"), "ok|ping|" + std::to_string(agent.pid()));
    EXPECT_EQ(agent.ask("escape|o'b c@d.ef"), "ok|escape|o\\27b\\20c@d.ef");
    EXPECT_EQ(agent.ask("sing"), "error|unknown message|sing");
    agent.write("pang\x7F\x7F\x7Fing\n");
    EXPECT_THAT(agent.answer(), StartsWith("ok|ping|")) << "the terminal lets its user edit";
    agent.write("ping\x04\x04");
    EXPECT_TRUE(agent.says("ok|ping|")) << "the user's end of the input, in the middle of a line";
    agent.write("\x03");
    EXPECT_TRUE(agent.says(": left, runners: none")) << "the user's interrupt";
    EXPECT_EQ(agent.end(), 0);
}

TEST(AgentTerminal, TakesNoLineThatTheTerminalCut) {
    AgentProgram agent(huddles(), {.ends = AgentProgram::Ends::Terminal});
    ASSERT_TRUE(agent.says(": active"));
    const std::string longest(4094 - std::string("escape|").size(), 'x');
    EXPECT_EQ(agent.ask("escape|" + longest), "ok|escape|" + longest);
    for (const std::size_t more : {1U, 2U, 3U, 2000U}) {
        EXPECT_EQ(agent.ask("escape|" + longest + std::string(more, 'y')), "error|malformed|line too long") << more;
    }
    EXPECT_THAT(agent.ask("ping"), StartsWith("ok|ping|"));
    agent.makeTerminalRaw();
    const std::string longer(3000, 'z');
    agent.write("escape|" + longer);
    agent.write(longer + '\n');
    EXPECT_EQ(agent.answer(), "ok|escape|" + longer + longer) << "no lines, so none is cut";
}

TEST(AgentTerminal, ReadsNothingWhileItIsInTheBackground) {
    AgentProgram agent(huddles(), {.ends = AgentProgram::Ends::Terminal, .inBackground = true});
    agent.write("ping\n");
    ASSERT_TRUE(agent.says(": active"));
    AgentProgram other(huddles());
    ASSERT_TRUE(other.says(": standing by"));
    agent.bringToForeground();
    EXPECT_EQ(agent.answer(), "ok|ping|" + std::to_string(agent.pid()));
    agent.write("\x03");
    EXPECT_TRUE(agent.says(": left"));
    EXPECT_EQ(agent.end(), 0);
}

TEST(AgentTerminal, LeavesFromTheBackground) {
    AgentProgram agent(huddles(), {.ends = AgentProgram::Ends::Terminal, .inBackground = true});
    agent.write("ping\n");
    ASSERT_TRUE(agent.says(": active"));
    agent.kill(SIGTERM);
    EXPECT_TRUE(agent.says(": left, runners: none"));
    EXPECT_EQ(agent.end(), 0);
}

TEST(AgentTerminal, QuitsFromATerminal) {
    AgentProgram agent(huddles(), {.ends = AgentProgram::Ends::Terminal});
    EXPECT_EQ(agent.ask("quit"), "ok|quit");
    EXPECT_TRUE(agent.says(": left, runners: none"));
    EXPECT_EQ(agent.end(), 0);
}

TEST(AgentTerminal, LeavesWhenItsTerminalIsGone) {
    AgentProgram agent(huddles(), {.ends = AgentProgram::Ends::Terminal});
    ASSERT_TRUE(agent.says(": active"));
    agent.hangUp();
    EXPECT_EQ(agent.end(), 0);
    AgentProgram show({"--client", "huddles", "--show"});
    EXPECT_TRUE(show.says("OrvexHuddles: active none; runners none"));
    EXPECT_EQ(show.end(), 0);
}

}  // namespace
