#include "support/Multiprocess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <thread>

namespace multiprocess {

namespace {

using namespace std::chrono_literals;

// Long enough for any step on a busy machine under a sanitizer; only a hang reaches it.
constexpr auto limit = 60s;

constexpr int readEnd = 3;   // in a child: the parent's words
constexpr int writeEnd = 4;  // in a child: its own steps

std::map<std::string, ChildMain>& childMains() {
    static std::map<std::string, ChildMain> mains;
    return mains;
}

std::string contents(int fd) {
    std::string text;
    char buffer[4096];
    for (ssize_t got = 0; (got = pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;) {
        text.append(buffer, static_cast<std::size_t>(got));
    }
    return text;
}

void writeLine(int fd, const std::string& word) {
    const std::string line = word + '\n';
    if (write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        std::perror("multiprocess: write");
    }
}

[[noreturn]] void runChild(const std::vector<char*>& arguments, const Variables& environment, const int (&fds)[4]) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The targets may be among the sources: move all of them out of the way first.
    int moved[4];
    for (int i = 0; i < 4; ++i) {
        moved[i] = fcntl(fds[i], F_DUPFD_CLOEXEC, 10);
    }
    const int targets[4] = {readEnd, writeEnd, STDOUT_FILENO, STDERR_FILENO};
    for (int i = 0; i < 4; ++i) {
        dup2(moved[i], targets[i]);
    }
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    // By its own path: where a tool such as valgrind runs the test, the link itself leads to that tool.
    char program[PATH_MAX] = {};
    if (readlink("/proc/self/exe", program, sizeof program - 1) > 0) {
        execv(program, arguments.data());
    }
    _exit(127);
}

}  // namespace

Child::Child(const std::string& name, const std::vector<std::string>& arguments, const Variables& environment) {
    std::vector<std::string> words{"child", "--child=" + name};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    int up[2];
    int down[2];
    if (pipe2(up, O_CLOEXEC) != 0 || pipe2(down, O_CLOEXEC) != 0) {
        throw std::runtime_error("multiprocess: no pipe");
    }
    output_ = memfd_create("stdout", MFD_CLOEXEC);
    errors_ = memfd_create("stderr", MFD_CLOEXEC);
    pid_ = fork();
    if (pid_ == 0) {
        runChild(argv, environment, {down[0], up[1], output_, errors_});
    }
    close(up[1]);
    close(down[0]);
    fromChild_ = up[0];
    toChild_ = down[1];
}

Child::~Child() {
    kill();
    for (const int fd : {fromChild_, toChild_, output_, errors_}) {
        close(fd);
    }
}

std::string Child::next() {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::size_t end = 0;
    while ((end = pending_.find('\n')) == std::string::npos) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd readable{fromChild_, POLLIN, 0};
        char buffer[256];
        ssize_t got = 0;
        if (left > 0ms && poll(&readable, 1, static_cast<int>(left.count())) > 0) {
            got = read(fromChild_, buffer, sizeof buffer);
        }
        if (got <= 0) {
            ADD_FAILURE() << "no further step of child " << pid_ << "; it wrote: " << output() << errors();
            return {};
        }
        pending_.append(buffer, static_cast<std::size_t>(got));
    }
    const std::string word = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    return word;
}

void Child::waitFor(const std::string& word) {
    ASSERT_EQ(next(), word) << errors();
}

void Child::tell(const std::string& word) {
    writeLine(toChild_, word);
}

void Child::kill() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

int Child::join() {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    int status = 0;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            ADD_FAILURE() << "child " << pid_ << " does not end; it wrote: " << output() << errors();
            kill();
            return -1;
        }
        std::this_thread::sleep_for(1ms);
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string Child::output() const {
    return contents(output_);
}
std::string Child::errors() const {
    return contents(errors_);
}

void step(const std::string& word) {
    writeLine(writeEnd, word);
}

void await(const std::string& word) {
    std::string line;
    char character = 0;
    while (read(readEnd, &character, 1) == 1 && character != '\n') {
        line += character;
    }
    if (line != word) {
        std::fprintf(stderr, "child: waited for '%s', was told '%s'\n", word.c_str(), line.c_str());
        _exit(120);
    }
}

Registration::Registration(const char* name, ChildMain function) {
    childMains()[name] = function;
}

int runAsChild(int argc, char** argv) {
    const std::string prefix = "--child=";
    if (argc < 2 || std::string(argv[1]).compare(0, prefix.size(), prefix) != 0) {
        return -1;
    }
    return childMains().at(argv[1] + prefix.size())({argv + 2, argv + argc});
}

}  // namespace multiprocess
