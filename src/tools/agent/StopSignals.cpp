#include "StopSignals.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace agent {

StopSignals::StopSignals() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGTERM);
    sigaddset(&signals_, SIGINT);
    // The end of the terminal, unless whoever started the agent wants it to outlive that.
    struct sigaction hangUp {};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) {
        sigaddset(&signals_, SIGHUP);
    }
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    readEnd_ = ends[0];
    writeEnd_ = ends[1];
    fcntl(readEnd_, F_SETFD, FD_CLOEXEC);
    fcntl(writeEnd_, F_SETFD, FD_CLOEXEC);
    thread_ = std::thread(&StopSignals::run, this);
    // The thread waits for signals to the very end of the process, also while the agent leaves.
    thread_.detach();
}

StopSignals::~StopSignals() = default;

void StopSignals::run() {
    int signal = 0;
    sigwait(&signals_, &signal);
    const char byte = 0;
    if (write(writeEnd_, &byte, 1) != 1) {
        _exit(128 + signal);
    }
    // The end of a terminal may be told twice.
    do {
        sigwait(&signals_, &signal);
    } while (signal == SIGHUP);
    _exit(128 + signal);
}

}  // namespace agent
