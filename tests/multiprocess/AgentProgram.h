#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "support/Eventually.h"
#include "support/Sanitizers.h"

/// The lines that a program writes.
class LineReader {
public:
    LineReader() = default;
    ~LineReader() { close(); }
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// Takes over the descriptor.
    void open(int descriptor) { descriptor_ = descriptor; }
    void close() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
            descriptor_ = -1;
        }
    }

    int descriptor() const { return descriptor_; }
    bool hasEnded() const { return ended_; }

    /// The next line; empty at the end, and after a minute without one.
    std::string next() {
        std::size_t end = 0;
        while ((end = pending_.find('\n')) == std::string::npos) {
            pollfd readable{descriptor_, POLLIN, 0};
            char buffer[4096];
            const ssize_t got = poll(&readable, 1, 60'000) > 0 ? read(descriptor_, buffer, sizeof buffer) : 0;
            if (got <= 0) {
                ended_ = true;
                return std::exchange(pending_, {});
            }
            pending_.append(buffer, static_cast<std::size_t>(got));
        }
        // A terminal ends lines in its own way.
        const bool hasReturn = isatty(descriptor_) != 0 && end > 0 && pending_[end - 1] == '\r';
        const std::string line = pending_.substr(0, hasReturn ? end - 1 : end);
        pending_.erase(0, end + 1);
        return line;
    }

    /// All that is left, to the end.
    std::vector<std::string> rest() {
        std::vector<std::string> lines;
        for (std::string line = next(); !ended_ || !line.empty(); line = next()) {
            lines.push_back(std::move(line));
        }
        return lines;
    }

private:
    int descriptor_ = -1;
    std::string pending_;
    bool ended_ = false;
};

/// A running vdi-agent.
class AgentProgram {
public:
    /// What it has at its standard descriptors. A terminal is all three.
    enum class Ends { Pipes, PipesThatDoNotBlock, Terminal };

    struct Start {
        Ends ends = Ends::Pipes;
        rlim_t descriptors = 256;
        rlim_t threadStack = 0;        // 0: as this process has it
        const char* output = nullptr;  // a file in place of what `ends` gives it for its standard output
        bool inBackground = false;     // its terminal is another program's until `bringToForeground`
    };

    explicit AgentProgram(const std::vector<std::string>& arguments) : AgentProgram(arguments, Start{}) {}
    AgentProgram(std::vector<std::string> arguments, const Start& start) {
        arguments.insert(arguments.begin(), VDI_AGENT);
        std::vector<char*> words;
        for (std::string& argument : arguments) {
            words.push_back(argument.data());
        }
        words.push_back(nullptr);
        const Descriptors its = start.ends == Ends::Terminal ? openTerminal() : openPipes();
        pid_ = fork();
        if (pid_ == 0) {
            become(start, its);
            execv(VDI_AGENT, words.data());
            _exit(127);
        }
        for (const int descriptor : {its.in, its.out, its.errors}) {
            close(descriptor);
        }
    }
    ~AgentProgram() {
        if (pid_ > 0) {
            kill(SIGKILL);
        }
        closeInput();
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
    /// Has its terminal hand on all bytes as they come.
    void makeTerminalRaw() const {
        termios settings{};
        EXPECT_EQ(tcgetattr(input_, &settings), 0);
        cfmakeraw(&settings);
        EXPECT_EQ(tcsetattr(input_, TCSANOW, &settings), 0);
    }
    void bringToForeground() const { EXPECT_EQ(::kill(tcgetpgrp(input_), SIGUSR1), 0); }
    void hangUp() {
        closeInput();
        output_.close();
    }

    /// Waits until the program cannot write any more before something is read.
    void waitUntilItsOutputIsFull() const {
        const std::string pipe = "/proc/self/fd/" + std::to_string(output_.descriptor());
        const int end = open(pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        EXPECT_TRUE(eventually([&] {
            pollfd writable{end, POLLOUT, 0};
            return poll(&writable, 1, 0) == 0;
        }));
        close(end);
    }

    /// What it writes to standard output and to standard error.
    LineReader& output() { return output_; }
    LineReader& errors() { return errors_; }

    /// Reads on until a line of its output holds `text`; false at the end of the output.
    bool says(const std::string& text) {
        while (!output_.hasEnded()) {
            if (output_.next().find(text) != std::string::npos) {
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
        std::string next = output_.next();
        while (!output_.hasEnded() && next.rfind("ok|", 0) != 0 && next.rfind("error|", 0) != 0) {
            next = output_.next();
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
    struct Descriptors {
        int in;
        int out;
        int errors;
    };

    Descriptors openPipes() {
        int in[2];
        int out[2];
        int errors[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(errors, O_CLOEXEC), 0);
        input_ = in[1];
        output_.open(out[0]);
        errors_.open(errors[0]);
        return {in[0], out[1], errors[1]};
    }

    Descriptors openTerminal() {
        input_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_EQ(grantpt(input_), 0);
        EXPECT_EQ(unlockpt(input_), 0);
        output_.open(fcntl(input_, F_DUPFD_CLOEXEC, 0));
        char name[64];
        EXPECT_EQ(ptsname_r(input_, name, sizeof name), 0);
        const int terminal = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_GE(terminal, 0);
        return {terminal, fcntl(terminal, F_DUPFD_CLOEXEC, 0), fcntl(terminal, F_DUPFD_CLOEXEC, 0)};
    }

    // In the child.
    static void become(const Start& start, const Descriptors& its) {
        setsid();
        if (start.ends == Ends::Terminal) {
            ioctl(its.in, TIOCSCTTY, 0);
        }
        dup2(its.in, STDIN_FILENO);
        dup2(its.out, STDOUT_FILENO);
        dup2(its.errors, STDERR_FILENO);
        if (start.output != nullptr) {
            dup2(open(start.output, O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        }
        if (start.inBackground) {
            giveTerminalAway();
        }
        if (start.ends == Ends::PipesThatDoNotBlock) {
            fcntl(STDIN_FILENO, F_SETFL, O_NONBLOCK);
            fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
        }
        if (sanitizers::thread) {
            lookForNoMisusedMutex();
        }
        const rlimit limit{start.descriptors, start.descriptors};
        setrlimit(RLIMIT_NOFILE, &limit);
        if (start.threadStack != 0) {
            rlimit stack{};
            getrlimit(RLIMIT_STACK, &stack);
            stack.rlim_cur = start.threadStack;
            setrlimit(RLIMIT_STACK, &stack);
        }
    }

    // To a process that gives it back on a signal.
    static void giveTerminalAway() {
        sigset_t giveBack;
        sigemptyset(&giveBack);
        sigaddset(&giveBack, SIGUSR1);
        sigprocmask(SIG_BLOCK, &giveBack, nullptr);
        const pid_t other = fork();
        if (other == 0) {
            int signal = 0;
            sigwait(&giveBack, &signal);
            tcsetpgrp(STDIN_FILENO, getpgid(getppid()));
            _exit(0);
        }
        sigprocmask(SIG_UNBLOCK, &giveBack, nullptr);
        setpgid(other, other);
        tcsetpgrp(STDIN_FILENO, other);
    }

    // The sanitizer would find the unlock of a storage's guard, which it is told to keep to itself, look for the
    // guard's name in the shared object and say on standard error that this is no program.
    static void lookForNoMisusedMutex() {
        const char* const options = std::getenv("TSAN_OPTIONS");
        setenv("TSAN_OPTIONS", (std::string(options == nullptr ? "" : options) + ":report_mutex_bugs=0").c_str(), 1);
    }

    pid_t pid_ = -1;
    int input_ = -1;
    LineReader output_;
    LineReader errors_;
};

/// The options of a meetings client whose log is in the private folder.
inline std::vector<std::string> huddles() {
    return {"--client", "huddles", "--trace-dir", "/dev/shm/logs"};
}
