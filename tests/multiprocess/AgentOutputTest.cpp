// The agent program's lines where they find no reader.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <thread>

#include "AgentProgram.h"
#include "support/Eventually.h"
#include "support/FileSystem.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

void awaitLeaving(AgentProgram& agent) {
    agent.kill(SIGTERM);
    EXPECT_EQ(agent.end(), 0);
    AgentProgram show({"--client", "huddles", "--show"});
    EXPECT_TRUE(show.says("OrvexHuddles: active none; runners none"));
    EXPECT_EQ(show.end(), 0);
}

// Whether the text ends with the line, which nothing is before.
bool isLast(const std::string& line, const std::string& text) {
    const std::string end = '\n' + line + '\n';
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST(AgentOutput, LinesThatAreLostAreToldOfOnce) {
    AgentProgram agent(huddles());
    ASSERT_TRUE(agent.says(": active"));
    agent.output().close();
    agent.write("ping\nsing\nping\n");
    const std::string told = agent.errors().next();
    EXPECT_THAT(told, EndsWith("(OrvexHuddles): lines to standard output are lost: Broken pipe"));
    awaitLeaving(agent);
    EXPECT_THAT(agent.errors().rest(), IsEmpty());
}

TEST(AgentOutput, AFullDiskLosesLines) {
    AgentProgram agent(huddles(), {.output = "/dev/full"});
    EXPECT_THAT(agent.errors().next(), EndsWith(": lines to standard output are lost: No space left on device"));
    awaitLeaving(agent);
    EXPECT_THAT(agent.errors().rest(), IsEmpty());
}

TEST(AgentOutput, ALineThatIsCutIsNotContinuedByTheNext) {
    const filesystem::TemporaryDirectory top;
    const filesystem::SmallDisk disk(top.path());
    if (!disk.isMounted()) {
        GTEST_SKIP() << "only the superuser can mount a disk";
    }
    const std::string output = disk / "output";
    filesystem::write(output, "\n");
    disk.fill();
    AgentProgram agent(huddles(), {.output = output.c_str()});
    // The file has room for a page: for one of these, and a part of the next.
    const std::string answer = "ok|escape|" + std::string(3000, 'x');
    agent.write("escape|" + std::string(3000, 'x') + "\nescape|" + std::string(3000, 'x') + '\n');
    EXPECT_THAT(agent.errors().next(), EndsWith(": lines to standard output are lost: No space left on device"));
    ASSERT_EQ(unlink((disk / "filler").c_str()), 0);
    agent.write("escape|the last one\n");
    EXPECT_TRUE(eventually([&] { return isLast("ok|escape|the last one", filesystem::read(output)); }));
    EXPECT_THAT(filesystem::read(output), HasSubstr('\n' + answer + "\nok|escape|xxx"));
    awaitLeaving(agent);
}

TEST(AgentOutput, ShowFailsWhenItCannotShow) {
    AgentProgram show({"--client", "huddles", "--show"}, {.output = "/dev/full"});
    EXPECT_THAT(show.errors().rest(),
                ElementsAre(EndsWith(": lines to standard output are lost: No space left on device")));
    EXPECT_EQ(show.end(), 1);
}

// Has nobody read the answers to the messages, and ends the agent.
void expectLeavingUnread(AgentProgram::Ends ends, const std::string& messages) {
    AgentProgram agent(huddles(), {.ends = ends});
    ASSERT_TRUE(agent.says(": active"));
    std::thread writer([&] { agent.write(messages); });
    agent.waitUntilItsOutputIsFull();
    writer.join();
    awaitLeaving(agent);
    EXPECT_THAT(agent.errors().rest(), ElementsAre(EndsWith(": lines to standard output are lost: nobody reads them")));
}

// Both fit into a pipe and the agent's own buffer; the answers do not fit into a pipe.
TEST(AgentOutput, AnAgentLeavesThoughNobodyReadsItsAnswers) {
    std::string many;
    for (int i = 0; i < 10'000; ++i) {
        many += "ping\n";
    }
    const std::string one = "escape|" + std::string(80'000, 'x') + '\n';
    for (const auto ends : {AgentProgram::Ends::Pipes, AgentProgram::Ends::PipesThatDoNotBlock}) {
        expectLeavingUnread(ends, many);
        expectLeavingUnread(ends, one);
    }
}

}  // namespace
