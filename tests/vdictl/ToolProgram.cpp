#include "ToolProgram.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "support/Background.h"

namespace tool {

namespace {

constexpr int limitMs = 60'000;  // only a hang reaches it

struct Ends {
    int parent = -1;
    int child = -1;
};

Ends openOutput(bool onTerminal) {
    int ends[2] = {-1, -1};
    if (onTerminal) {
        const winsize size{24, 60, 0, 0};
        EXPECT_EQ(openpty(&ends[0], &ends[1], nullptr, nullptr, &size), 0);
        fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    } else {
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    }
    return {ends[0], ends[1]};
}

// A terminal on which something was typed; `typed` is where it came from.
int terminalWith(const std::string& text, int& typed) {
    int terminal = -1;
    EXPECT_EQ(openpty(&typed, &terminal, nullptr, nullptr, nullptr), 0);
    fcntl(typed, F_SETFD, FD_CLOEXEC);
    fcntl(terminal, F_SETFD, FD_CLOEXEC);
    EXPECT_EQ(write(typed, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    return terminal;
}

int fileWith(const std::string& content) {
    const int fd = memfd_create("input", MFD_CLOEXEC);
    EXPECT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    lseek(fd, 0, SEEK_SET);
    return fd;
}

[[noreturn]] void becomeTool(const std::vector<char*>& words, const Variables& environment, int input, int output,
                             int errors) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    execv(words.front(), words.data());
    _exit(127);
}

}  // namespace

Program::Program(const Start& start) {
    Words texts = start.arguments;
    texts.insert(texts.begin(), VDICTL);
    std::vector<char*> words;
    for (std::string& text : texts) {
        words.push_back(text.data());
    }
    words.push_back(nullptr);
    const Ends output = openOutput(start.onTerminal);
    const int input = start.typed.empty() ? fileWith(start.input) : terminalWith(start.typed, typed_);
    errors_ = memfd_create("stderr", MFD_CLOEXEC);
    pid_ = fork();
    if (pid_ == 0) {
        becomeTool(words, start.environment, input, output.child, errors_);
    }
    close(output.child);
    close(input);
    output_ = output.parent;
}

Program::~Program() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(output_);
    close(errors_);
    if (typed_ >= 0) {
        close(typed_);
    }
}

bool Program::read() {
    pollfd readable{output_, POLLIN, 0};
    char buffer[4096];
    // The end of a terminal is an error.
    const ssize_t got = poll(&readable, 1, limitMs) > 0 ? ::read(output_, buffer, sizeof buffer) : 0;
    if (got > 0) {
        pending_.append(buffer, static_cast<std::size_t>(got));
    }
    return got > 0;
}

std::string Program::line() {
    std::size_t end = 0;
    while ((end = pending_.find('\n')) == std::string::npos) {
        if (!read()) {
            ADD_FAILURE() << "no further line; the rest is '" << pending_ << "', the errors are '" << errors() << "'";
            return std::exchange(pending_, {});
        }
    }
    const std::string line = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    return line;
}

void Program::waitForError(const std::string& text) const {
    waitUntil([&] { return errors().find(text) != std::string::npos; });
}

void Program::signal(int number) const {
    ASSERT_EQ(kill(pid_, number), 0);
}

void Program::resize(unsigned short lines, unsigned short columns) const {
    const winsize size{lines, columns, 0, 0};
    ASSERT_EQ(ioctl(output_, TIOCSWINSZ, &size), 0);
    signal(SIGWINCH);  // of which the system tells those only whose terminal it is
}

int Program::end() {
    // What it started may have its output and go on.
    const auto process = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    pollfd sources[] = {{output_, POLLIN, 0}, {process, POLLIN, 0}};
    bool hasOutput = true;
    int ready = 0;
    while (hasOutput && (ready = poll(sources, 2, limitMs)) > 0 && sources[0].revents != 0) {
        hasOutput = read();
    }
    if (ready == 0 || (process >= 0 && poll(&sources[1], 1, limitMs) == 0)) {
        ADD_FAILURE() << "it does not end; the errors are '" << errors() << "'";
        kill(pid_, SIGKILL);
    }
    close(process);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string Program::rest() {
    return std::exchange(pending_, {});
}

std::string Program::errors() const {
    std::string text;
    char buffer[4096];
    for (ssize_t got = 0; (got = pread(errors_, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;) {
        text.append(buffer, static_cast<std::size_t>(got));
    }
    return text;
}

Result run(const Start& start) {
    Program program(start);
    const int exitCode = program.end();
    return {exitCode, program.rest(), program.errors()};
}

Result run(const Words& arguments) {
    return run(Start{arguments, {}, {}, false, {}});
}

nlohmann::json parsed(const std::string& output) {
    return nlohmann::json::parse(output, nullptr, false);
}

nlohmann::json facts(Words arguments, int expectedExitCode) {
    arguments.emplace_back("--json");
    const Result result = run(arguments);
    EXPECT_EQ(result.exitCode, expectedExitCode) << result.errors;
    EXPECT_EQ(result.errors, "");
    return parsed(result.output);
}

}  // namespace tool
