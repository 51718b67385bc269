// The agent program as its users see it: options, messages, state lines, and what happens to the others when one goes.

#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;
using VDIFrameworkCommon::VDIRunnerCounter;

/// What a vdi-agent has at its standard descriptors.
enum class Ends { Pipes, PipesThatDoNotBlock, Terminal };

/// A running vdi-agent.
class AgentProgram {
public:
    explicit AgentProgram(std::vector<std::string> arguments, Ends ends = Ends::Pipes, rlim_t descriptors = 256) {
        arguments.insert(arguments.begin(), VDI_AGENT);
        std::vector<char*> words;
        for (std::string& argument : arguments) {
            words.push_back(argument.data());
        }
        words.push_back(nullptr);
        const auto [in, out] = ends == Ends::Terminal ? openTerminal() : openPipes();
        pid_ = fork();
        if (pid_ == 0) {
            setsid();
            if (ends == Ends::Terminal) {
                ioctl(in, TIOCSCTTY, 0);
            }
            dup2(in, STDIN_FILENO);
            dup2(out, STDOUT_FILENO);
            dup2(out, STDERR_FILENO);
            if (ends == Ends::PipesThatDoNotBlock) {
                fcntl(STDIN_FILENO, F_SETFL, O_NONBLOCK);
                fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
            }
            const rlimit limit{descriptors, descriptors};
            setrlimit(RLIMIT_NOFILE, &limit);
            execv(VDI_AGENT, words.data());
            _exit(127);
        }
        close(in);
        close(out);
    }
    ~AgentProgram() {
        if (pid_ > 0) {
            kill(SIGKILL);
        }
        closeInput();
        close(output_);
    }
    AgentProgram(const AgentProgram&) = delete;
    AgentProgram& operator=(const AgentProgram&) = delete;

    pid_t pid() const { return pid_; }

    void write(const std::string& bytes) const {
        EXPECT_EQ(::write(input_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    void closeInput() {
        close(input_);
        input_ = -1;
    }
    void hangUp() {
        closeInput();
        close(output_);
        output_ = -1;
    }

    /// Waits until the program cannot write any more before something is read.
    void waitUntilItsOutputIsFull() const {
        constexpr int leastFree = 4096;
        const int room = fcntl(output_, F_GETPIPE_SZ);
        int waiting = 0;
        while (waiting < room - leastFree) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            ASSERT_EQ(ioctl(output_, FIONREAD, &waiting), 0);
        }
    }

    /// The next line; empty at the end of the output.
    std::string line() {
        std::size_t end = 0;
        while ((end = pending_.find('\n')) == std::string::npos) {
            pollfd readable{output_, POLLIN, 0};
            char buffer[4096];
            const ssize_t got = poll(&readable, 1, 60'000) > 0 ? read(output_, buffer, sizeof buffer) : 0;
            if (got <= 0) {
                ended_ = true;
                return std::exchange(pending_, {});
            }
            pending_.append(buffer, static_cast<std::size_t>(got));
        }
        // A terminal ends lines in its own way.
        const bool hasReturn = isatty(input_) != 0 && end > 0 && pending_[end - 1] == '\r';
        const std::string line = pending_.substr(0, hasReturn ? end - 1 : end);
        pending_.erase(0, end + 1);
        return line;
    }

    /// Reads on until a line holds `text`; false at the end of the output.
    bool says(const std::string& text) {
        while (!ended_) {
            if (line().find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    /// The answer to a message; other lines are passed over.
    std::string ask(const std::string& message) {
        write(message + '\n');
        return answer();
    }
    std::string answer() {
        std::string next = line();
        while (!ended_ && next.rfind("ok|", 0) != 0 && next.rfind("error|", 0) != 0) {
            next = line();
        }
        return next;
    }

    void kill(int signal) {
        ::kill(pid_, signal);
        if (signal == SIGKILL) {
            end();
        }
    }

    /// Waits for its end: the exit code, or 128 and the number of a signal.
    int end() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    // What the program gets; the other ends are kept.
    std::pair<int, int> openPipes() {
        int in[2];
        int out[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        input_ = in[1];
        output_ = out[0];
        return {in[0], out[1]};
    }
    std::pair<int, int> openTerminal() {
        input_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_EQ(grantpt(input_), 0);
        EXPECT_EQ(unlockpt(input_), 0);
        output_ = fcntl(input_, F_DUPFD_CLOEXEC, 0);
        char name[64];
        EXPECT_EQ(ptsname_r(input_, name, sizeof name), 0);
        const int terminal = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_GE(terminal, 0);
        return {terminal, fcntl(terminal, F_DUPFD_CLOEXEC, 0)};
    }

    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string pending_;
    bool ended_ = false;
};

std::vector<std::string> huddles() {
    return {"--client", "huddles", "--trace-dir", "/dev/shm/logs"};
}

TEST(AgentProgram, TellsWhatItTakes) {
    AgentProgram help({"--help"});
    EXPECT_TRUE(help.says("--client")) << "among the options";
    EXPECT_TRUE(help.says("validate|KIND|TEXT")) << "among the messages";
    EXPECT_EQ(help.end(), 0);
    AgentProgram version({"--version"});
    EXPECT_THAT(version.line(), StartsWith("vdi-agent "));
    EXPECT_EQ(version.end(), 0);
}

TEST(AgentProgram, RefusesBadOptionsWithAMessage) {
    const std::vector<std::string> bad[] = {
        {"--client", "nobody"}, {"--client-version", "1.x"},       {"--log-level", "loud"}, {"--trace-dir", ""},
        {"--no-such-option"},   {"--client-version", "1.2.3.4.5"}, {"unexpected"}};
    for (const auto& options : bad) {
        AgentProgram agent(options);
        EXPECT_NE(agent.line(), "") << options.front();
        EXPECT_EQ(agent.end(), 2) << options.front();
    }
}

TEST(AgentProgram, AnswersMessagesInOrder) {
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

TEST(AgentProgram, AnswersWhatItDoesNotUnderstand) {
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

TEST(AgentProgram, AnswersEveryMalformedLineOnce) {
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

TEST(AgentProgram, AnswersALineOfTenMegabytesWithAnError) {
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

TEST(AgentProgram, TakesItsInputByteByByte) {
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

TEST(AgentProgram, AnswersTenThousandPings) {
    for (const Ends ends : {Ends::Pipes, Ends::PipesThatDoNotBlock}) {
        AgentProgram agent(huddles(), ends);
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

TEST(AgentProgram, KeepsTheOrderOfManyMessages) {
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

TEST(AgentProgram, SpeaksToATerminal) {
    AgentProgram agent(huddles(), Ends::Terminal);
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

TEST(AgentProgram, QuitsFromATerminal) {
    AgentProgram agent(huddles(), Ends::Terminal);
    EXPECT_EQ(agent.ask("quit"), "ok|quit");
    EXPECT_TRUE(agent.says(": left, runners: none"));
    EXPECT_EQ(agent.end(), 0);
}

TEST(AgentProgram, LeavesWhenItsTerminalIsGone) {
    AgentProgram agent(huddles(), Ends::Terminal);
    ASSERT_TRUE(agent.says(": active"));
    agent.hangUp();
    EXPECT_EQ(agent.end(), 0);
    AgentProgram show({"--client", "huddles", "--show"});
    EXPECT_TRUE(show.says("OrvexHuddles: active none; runners none"));
    EXPECT_EQ(show.end(), 0);
}

TEST(AgentProgram, ManyMessagesCostNoDescriptors) {
    AgentProgram agent(huddles(), Ends::Pipes, 64);
    for (int i = 0; i < 200; ++i) {
        ASSERT_THAT(agent.ask("who"), StartsWith("ok|who|"));
    }
    EXPECT_EQ(agent.ask("quit"), "ok|quit");
    EXPECT_EQ(agent.end(), 0);
}

TEST(AgentProgram, TheEndOfItsInputDoesNotEndIt) {
    AgentProgram agent(huddles());
    ASSERT_TRUE(agent.says(": active"));
    agent.write("ping");
    agent.closeInput();
    EXPECT_THAT(agent.answer(), StartsWith("ok|ping|")) << "a last line without an end";
    agent.kill(SIGTERM);
    EXPECT_TRUE(agent.says(": left"));
    EXPECT_EQ(agent.end(), 0);
}

TEST(AgentProgram, AStandbyTakesOverWhenTheActiveOneLeaves) {
    AgentProgram first(huddles());
    ASSERT_TRUE(first.says(": active"));
    AgentProgram second(huddles());
    ASSERT_TRUE(second.says(": standing by, active is " + std::to_string(first.pid())));
    first.kill(SIGINT);
    EXPECT_TRUE(first.says(": left"));
    EXPECT_EQ(first.end(), 0);
    EXPECT_TRUE(second.says(": active"));
}

TEST(AgentProgram, RegistersAgainWhenItsEntryIsLost) {
    AgentProgram agent(huddles());
    ASSERT_TRUE(agent.says(": active"));
    VDIClientInfo::getInstance()->setClientType(VDIClientType::OrvexHuddles);
    VDIRunnerCounter().removeRunner(static_cast<unsigned int>(agent.pid()));
    EXPECT_TRUE(agent.says(": registered again, runners: " + std::to_string(agent.pid())));
}

TEST(AgentProgram, ProductsThatShareARecordWakeEachOther) {
    AgentProgram first({"--client", "parlet", "--trace-dir", "/dev/shm/logs"});
    ASSERT_TRUE(first.says(": active"));
    AgentProgram second({"--client", "unknown", "--trace-dir", "/dev/shm/logs"});
    ASSERT_TRUE(second.says(": standing by, active is " + std::to_string(first.pid())));
    first.kill(SIGTERM);
    EXPECT_TRUE(second.says(": active"));
}

TEST(AgentProgram, LogsWhereItIsTold) {
    AgentProgram agent(huddles());
    ASSERT_TRUE(agent.says(": active"));
    EXPECT_EQ(agent.ask("quit"), "ok|quit");
    EXPECT_EQ(agent.end(), 0);
    EXPECT_TRUE(std::filesystem::exists("/dev/shm/logs/parlet.log"));
}

TEST(AgentProgram, AStandbyTakesOverWhenTheActiveOneIsKilled) {
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

TEST(AgentProgram, ProductsDoNotMeet) {
    AgentProgram first(huddles());
    ASSERT_TRUE(first.says(": active"));
    AgentProgram other({"--client", "crews", "--trace-dir", "/dev/shm/logs"});
    EXPECT_TRUE(other.says(": active"));
}

TEST(AgentProgram, ManyLeaveAtOnce) {
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

TEST(AgentProgram, OutlivesTheReaderOfItsOutput) {
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
