// The agent program as its users see it: options, messages, state lines, and what happens to the others when one goes.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// A running vdi-agent with pipes at its standard descriptors.
class AgentProgram {
public:
    explicit AgentProgram(std::vector<std::string> arguments, rlim_t descriptors = 256) {
        int in[2];
        int out[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        arguments.insert(arguments.begin(), VDI_AGENT);
        std::vector<char*> words;
        for (std::string& argument : arguments) {
            words.push_back(argument.data());
        }
        words.push_back(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            dup2(out[1], STDERR_FILENO);
            const rlimit limit{descriptors, descriptors};
            setrlimit(RLIMIT_NOFILE, &limit);
            execv(VDI_AGENT, words.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        output_ = out[0];
    }
    ~AgentProgram() {
        if (pid_ > 0) {
            kill(SIGKILL);
        }
        close(input_);
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
        const std::string line = pending_.substr(0, end);
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

TEST(AgentProgram, ManyMessagesCostNoDescriptors) {
    AgentProgram agent(huddles(), 64);
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
