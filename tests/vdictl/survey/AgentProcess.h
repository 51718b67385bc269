#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

/// A running vdi-agent that logs into the private folder; killed at its end if it still runs.
class AgentProcess {
public:
    explicit AgentProcess(const std::string& client = "huddles") {
        int in[2];
        int out[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            dup2(out[1], STDERR_FILENO);
            execl(VDI_AGENT, "vdi-agent", "--client", client.c_str(), "--trace-dir", "/dev/shm/logs", "--log-level",
                  "trace", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        output_ = out[0];
    }
    ~AgentProcess() {
        kill();
        close(input_);
        close(output_);
    }
    AgentProcess(const AgentProcess&) = delete;
    AgentProcess& operator=(const AgentProcess&) = delete;

    pid_t pid() const { return pid_; }

    /// Reads on until what it said holds `text`; false at its end, and after a minute without a word.
    bool says(const std::string& text) {
        std::size_t found = 0;
        while ((found = said_.find(text)) == std::string::npos) {
            pollfd readable{output_, POLLIN, 0};
            char buffer[4096];
            const ssize_t got = poll(&readable, 1, 60'000) > 0 ? read(output_, buffer, sizeof buffer) : 0;
            if (got <= 0) {
                return false;
            }
            said_.append(buffer, static_cast<std::size_t>(got));
        }
        said_.erase(0, found + text.size());
        return true;
    }

    /// Whether it answers.
    bool isWell() {
        const std::string ping = "ping\n";
        return write(input_, ping.data(), ping.size()) == static_cast<ssize_t>(ping.size()) &&
               says("ok|ping|" + std::to_string(pid_));
    }

    void kill() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            pid_ = -1;
        }
    }

private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string said_;
};
