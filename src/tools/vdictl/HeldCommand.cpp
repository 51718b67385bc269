#include "HeldCommand.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "Report.h"
#include "Terminal.h"

namespace vdictl {

namespace {

constexpr int exitNotFound = 127;
constexpr int exitNotRunnable = 126;
constexpr int exitBySignal = 128;

// After the fork: nothing but async-signal-safe calls.
[[noreturn]] void becomeCommand(const std::vector<char*>& words, const sigset_t& mask, pid_t parent, int report) {
    // The command must not go on when the lock that it runs under can be freed by anybody.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(exitBySignal + SIGTERM);
    }
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    execvp(words.front(), words.data());
    const int error = errno;
    static_cast<void>(write(report, &error, sizeof error) == sizeof error);
    _exit(error == ENOENT ? exitNotFound : exitNotRunnable);
}

/// A command that was started.
class Running {
public:
    Running(const std::vector<char*>& words, const sigset_t& mask) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw Failure("command", "pipe", errno);
        }
        const pid_t parent = getpid();
        pid_ = fork();
        if (pid_ == 0) {
            becomeCommand(words, mask, parent, ends[1]);
        }
        const int error = errno;
        close(ends[1]);
        if (pid_ < 0) {
            close(ends[0]);
            throw Failure("command", "fork", error);
        }
        int failure = 0;
        ssize_t got = 0;
        while ((got = read(ends[0], &failure, sizeof failure)) < 0 && errno == EINTR) {
        }
        close(ends[0]);
        if (got == sizeof failure) {
            complain(Failure("command '" + printable(words.front()) + "'", "execvp", failure).what());
        }
    }

    // A key press in a terminal goes to the whole group: the command has it already.
    void forward(const signalfd_siginfo& signal) const {
        const bool fromTerminal = signal.ssi_code == SI_KERNEL;
        if (!fromTerminal || getpgid(pid_) != getpgrp()) {
            kill(pid_, static_cast<int>(signal.ssi_signo));
        }
    }

    bool hasEnded(int& exitCode) const {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) != pid_) {
            return false;
        }
        exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : exitBySignal + WTERMSIG(status);
        return true;
    }

private:
    pid_t pid_ = -1;
};

}  // namespace

int runCommand(std::vector<std::string> words, SignalQueue& signals) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    // Where the end of children is ignored, nobody could say what the command ended with.
    std::signal(SIGCHLD, SIG_DFL);
    const Running command(pointers, signals.before());
    int exitCode = 0;
    while (!command.hasEnded(exitCode)) {
        const signalfd_siginfo signal = signals.next();
        if (signal.ssi_signo != SIGCHLD && signal.ssi_signo != SIGPIPE) {
            command.forward(signal);
        }
    }
    return exitCode;
}

}  // namespace vdictl
