#include "StopSignals.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

namespace agent {

namespace {

sigset_t blockedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    // The end of the terminal, unless whoever started the agent wants it to outlive that.
    struct sigaction hangUp {};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) {
        sigaddset(&signals, SIGHUP);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

// Waits for signals to the very end of the process, also while the agent leaves.
void takeSignals(sigset_t signals, int writeEnd) {
    int signal = 0;
    sigwait(&signals, &signal);
    const char byte = 0;
    if (write(writeEnd, &byte, 1) != 1) {
        _exit(128 + signal);
    }
    // The end of a terminal may be told twice.
    do {
        sigwait(&signals, &signal);
    } while (signal == SIGHUP);
    _exit(128 + signal);
}

}  // namespace

StopSignals::StopSignals() {
    const sigset_t signals = blockedSignals();
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    readEnd_ = ends[0];
    // The thread outlives this object, and `main`: it has all that it needs from its start.
    std::thread(takeSignals, signals, ends[1]).detach();
}

}  // namespace agent
