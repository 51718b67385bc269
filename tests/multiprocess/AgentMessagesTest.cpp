// The messages that the agent program answers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "AgentProgram.h"
#include "support/Sanitizers.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(AgentMessages, AnswersMessagesInOrder) {
    AgentProgram agent(huddles());
    const std::string pid = std::to_string(agent.pid());
    ASSERT_TRUE(agent.says(": active"));
    EXPECT_EQ(agent.ask("ping"), "ok|ping|" + pid);
    EXPECT_EQ(agent.ask("who"), "ok|who|OrvexHuddles|" + pid + '|' + pid);
    EXPECT_EQ(agent.ask("validate|jid|a@b.c"), "ok|validate|jid|true");
    EXPECT_EQ(agent.ask("validate|sip|alice@"), "ok|validate|sip|false");
    EXPECT_EQ(agent.ask("validate|uuid|123e4567-e89b-12d3-a456-426614174000"), "ok|validate|uuid|true");
    EXPECT_EQ(agent.ask("validate|meeting|12345678"), "ok|validate|meeting|false");
    EXPECT_EQ(agent.ask("escape|o'b c@d.ef"), "ok|escape|o\\27b\\20c@d.ef");
    EXPECT_EQ(agent.ask("unescape|a\\20b"), "ok|unescape|a b");
    EXPECT_THAT(agent.ask("paths"), HasSubstr("|trace|"));
    EXPECT_EQ(agent.ask("ping\r"), "ok|ping|" + pid);
    EXPECT_EQ(agent.ask(std::string("unescape|a\0b", 12)), std::string("ok|unescape|a\0b", 15));
    EXPECT_EQ(agent.ask("quit"), "ok|quit");
    EXPECT_TRUE(agent.says(": left, runners: none"));
    EXPECT_EQ(agent.end(), 0);
}

TEST(AgentMessages, ValidatesEveryKindByItsOwnRules) {
    AgentProgram agent(huddles());
    const std::string kinds[] = {"jid", "sip", "uuid", "meeting"};
    const std::string valid[] = {"a b@c.d", "alice@ex", "123e4567-e89b-12d3-a456-426614174000", "123456789"};
    for (const std::string& kind : kinds) {
        for (const std::string& text : valid) {
            const bool isOfThatKind = &text - valid == &kind - kinds;
            EXPECT_EQ(agent.ask("validate|" + kind + '|' + text),
                      "ok|validate|" + kind + (isOfThatKind ? "|true" : "|false"))
                << text;
        }
    }
}

TEST(AgentMessages, TellsThePaths) {
    ASSERT_EQ(setenv("HOME", "/h", 1), 0);
    ASSERT_EQ(setenv("PARLET_INSTALL_DIR", "/i/agent", 1), 0);
    const std::string base = "/h/Library/Application Support/Tavix/Unified Communications/Parlet/DPL/";
    const std::string perUser = "ok|paths|trace|" + base + "Logs|history|" + base + "History|config|" + base +
                                "Config|credentials|" + base + "Credentials|security|" + base + "Security|";
    const std::string resources = "resources|" + std::filesystem::canonical(VDI_AGENT).parent_path().string();
    AgentProgram agent(huddles());
    EXPECT_EQ(agent.ask("paths"),
              perUser + "installation|/i|" + resources + "|bootstrap|/i/parlet-bootstrap.properties");
    ASSERT_EQ(setenv("PARLET_INSTALL_DIR", "/", 1), 0);
    AgentProgram inTheRoot(huddles());
    EXPECT_EQ(inTheRoot.ask("paths"), perUser + resources + "|bootstrap|/parlet-bootstrap.properties")
        << "an empty path has no name either";
}

TEST(AgentMessages, TellsNoPathThatWouldBreakTheMessage) {
    for (const char* const home : {"/a|b", "/a\nb"}) {
        ASSERT_EQ(setenv("HOME", home, 1), 0);
        AgentProgram agent(huddles());
        EXPECT_EQ(agent.ask("paths"), "error|a path that no message can hold|trace");
        EXPECT_THAT(agent.ask("ping"), StartsWith("ok|ping|"));
    }
}

TEST(AgentMessages, AnswersWhatItDoesNotUnderstand) {
    AgentProgram agent(huddles());
    EXPECT_EQ(agent.ask("sing"), "error|unknown message|sing");
    EXPECT_EQ(agent.ask(""), "error|malformed|no field");
    EXPECT_EQ(agent.ask("|||"), "error|malformed|no field");
    EXPECT_EQ(agent.ask("ping|x"), "error|wrong number of fields|ping");
    EXPECT_EQ(agent.ask("validate|jid"), "error|wrong number of fields|validate");
    EXPECT_EQ(agent.ask("validate|x|y"), "error|unknown kind|x");
    std::thread writer([&] { agent.write(std::string((1U << 20U) + 1, 'x') + '\n'); });
    EXPECT_EQ(agent.answer(), "error|malformed|line too long");
    writer.join();
    EXPECT_THAT(agent.ask("ping"), StartsWith("ok|ping|"));
}

TEST(AgentMessages, AnswersEveryMalformedLineOnce) {
    AgentProgram agent(huddles());
    const std::string malformed[] = {"PING",
                                     " ping",
                                     "ping ",
                                     "ping\tping",
                                     std::string("ping\0", 5),
                                     std::string("\0", 1),
                                     "\r",
                                     "|",
                                     "| |",
                                     "\xFF\xFE",
                                     "\xED\xA0\x80|\xC0\x80",
                                     "ping|1|2|3",
                                     "who|me",
                                     "validate",
                                     "validate||",
                                     "validate|jid||",
                                     "validate|jid|a|b",
                                     "validate|JID|a@b.c",
                                     "escape",
                                     "escape|a|b",
                                     "unescape|",
                                     "paths|all",
                                     "quit|now",
                                     "ok|ping|1",
                                     "error|malformed|no field",
                                     std::string(1U << 20U, '|'),
                                     std::string((1U << 20U) - 1, 'x')};
    for (const std::string& line : malformed) {
        std::thread writer([&] { agent.write(line + "\nping\n"); });
        EXPECT_THAT(agent.answer(), StartsWith("error|")) << line.substr(0, 40);
        EXPECT_THAT(agent.answer(), StartsWith("ok|ping|")) << line.substr(0, 40);
        writer.join();
    }
}

TEST(AgentMessages, AnswersALineOfTenMegabytesWithAnError) {
    AgentProgram agent(huddles());
    constexpr std::size_t size = 10'000'000;
    std::thread writer([&] { agent.write("unescape|" + std::string(size, 'x') + "\nescape|next\n"); });
    EXPECT_EQ(agent.answer(), "error|malformed|line too long");
    EXPECT_EQ(agent.answer(), "ok|escape|next") << "nothing of the long line is taken for a message";
    const std::string longest(1'000'000, 'y');
    writer.join();
    writer = std::thread([&] { agent.write("unescape|" + longest + '\n'); });
    EXPECT_TRUE(agent.answer() == "ok|unescape|" + longest) << "a long line that may be";
    writer.join();
    // The end of the input in the middle of a long line.
    writer = std::thread([&] {
        agent.write(std::string(size, 'z'));
        agent.closeInput();
    });
    EXPECT_EQ(agent.answer(), "error|malformed|line too long");
    writer.join();
}

TEST(AgentMessages, TakesItsInputByteByByte) {
    AgentProgram agent(huddles());
    const std::string answers[] = {"ok|validate|jid|true", "error|malformed|no field", "ok|escape|\xC3\xA4\\20b@c.de",
                                   "error|unknown message|\xF0\x9F\x98\x80"};
    for (const char byte : std::string("validate|jid|a@b.c\n\nescape|\xC3\xA4 b@c.de\r\n\xF0\x9F\x98\x80\n")) {
        agent.write(std::string(1, byte));
    }
    for (const std::string& expected : answers) {
        EXPECT_EQ(agent.answer(), expected);
    }
}

TEST(AgentMessages, AnswersTenThousandPings) {
    for (const auto ends : {AgentProgram::Ends::Pipes, AgentProgram::Ends::PipesThatDoNotBlock}) {
        AgentProgram agent(huddles(), {.ends = ends});
        std::string messages;
        for (int i = 0; i < 10'000; ++i) {
            messages += "ping\n";
        }
        std::thread writer([&] { agent.write(messages + "escape|the last one\n"); });
        agent.waitUntilItsOutputIsFull();
        const std::string expected = "ok|ping|" + std::to_string(agent.pid());
        for (int i = 0; i < 10'000; ++i) {
            ASSERT_EQ(agent.answer(), expected) << i;
        }
        EXPECT_EQ(agent.answer(), "ok|escape|the last one");
        writer.join();
    }
}

TEST(AgentMessages, KeepsTheOrderOfManyMessages) {
    AgentProgram agent(huddles());
    std::string messages;
    for (int i = 0; i < 2000; ++i) {
        messages += (i % 3 == 0 ? "sing" : "escape|") + std::to_string(i) + '\n';
    }
    std::thread writer([&] { agent.write(messages); });
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(agent.answer(), (i % 3 == 0 ? "error|unknown message|sing" : "ok|escape|") + std::to_string(i));
    }
    writer.join();
}

TEST(AgentMessages, ManyMessagesCostNoDescriptors) {
    AgentProgram agent(huddles(), {.descriptors = 64});
    for (int i = 0; i < 200; ++i) {
        ASSERT_THAT(agent.ask("who"), StartsWith("ok|who|"));
    }
    EXPECT_EQ(agent.ask("quit"), "ok|quit");
    EXPECT_EQ(agent.end(), 0);
}

TEST(AgentMessages, TheEndOfItsInputDoesNotEndIt) {
    AgentProgram agent(huddles());
    ASSERT_TRUE(agent.says(": active"));
    agent.write("ping");
    agent.closeInput();
    EXPECT_THAT(agent.answer(), StartsWith("ok|ping|")) << "a last line without an end";
    AgentProgram other(huddles());
    ASSERT_TRUE(other.says(": standing by, active is " + std::to_string(agent.pid())));
    const std::string its = "agent " + std::to_string(other.pid());
    other.kill(SIGKILL);
    EXPECT_TRUE(agent.says(its + " died without leaving")) << "it still watches the others";
    agent.kill(SIGTERM);
    EXPECT_TRUE(agent.says(": left"));
    EXPECT_EQ(agent.end(), 0);
}

// The memory that a process has in its address space.
rlim_t mappedMemory(pid_t pid) {
    rlim_t pages = 0;
    std::ifstream("/proc/" + std::to_string(pid) + "/statm") >> pages;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

TEST(AgentMessages, AreAnsweredThoughNoThreadCanBeHad) {
    if (sanitizers::address || sanitizers::thread) {
        GTEST_SKIP() << "the sanitizer itself has to map memory";
    }
    // Too large for a stack that the C library would keep for the next thread.
    constexpr rlim_t threadStack = rlim_t{64} << 20U;
    AgentProgram agent(huddles(), {.threadStack = threadStack});
    ASSERT_TRUE(agent.says(": active"));
    const rlim_t most = mappedMemory(agent.pid()) + threadStack / 2;
    const rlimit noRoomForAThread{most, most};
    ASSERT_EQ(prlimit(agent.pid(), RLIMIT_AS, &noRoomForAThread, nullptr), 0);
    EXPECT_EQ(agent.ask("ping"), "ok|ping|" + std::to_string(agent.pid()));
    EXPECT_EQ(agent.ask("escape|a b@c.de"), "ok|escape|a\\20b@c.de");
    EXPECT_EQ(agent.ask("quit"), "ok|quit");
    EXPECT_TRUE(agent.says(": left, runners: none"));
    EXPECT_EQ(agent.end(), 0);
}

}  // namespace
