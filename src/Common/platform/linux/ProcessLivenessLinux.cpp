#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <limits>

#include "platform/AppServices.h"

namespace VDIFrameworkCommon::platform {

namespace {

// A descriptor of a process becomes readable when the last thread of the process has ended.
bool hasEnded(int pidfd) noexcept {
    pollfd ended{.fd = pidfd, .events = POLLIN, .revents = 0};
    int ready = 0;
    do {
        ready = ::poll(&ended, 1, 0);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

// A process that has ended and was not reaped has no program any more and one thread left: the zombie. Where this
// process may not look, or where there is no /proc, the answer is false.
bool isZombie(pid_t pid) noexcept {
    // The kernel counts the threads of a process as sub-directories, each with a link to its parent.
    constexpr nlink_t linksOfOneThread = 3;
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/task", pid);
    struct stat threads {};
    if (::stat(path, &threads) != 0 || threads.st_nlink > linksOfOneThread) {
        return false;
    }
    std::snprintf(path, sizeof path, "/proc/%d/exe", pid);
    char program[1];
    return ::readlink(path, program, sizeof program) < 0 && errno == ENOENT;
}

// Needs no descriptor: for processes that have none left, and where the better call is missing or forbidden.
bool isRunningByName(pid_t pid) noexcept {
    // Only the first thread of a process answers to the id of the process in both places. A process of another user
    // refuses the signal, and so exists.
    if (::syscall(SYS_tgkill, pid, pid, 0) != 0 && errno != EPERM) {
        return false;
    }
    return !isZombie(pid);
}

}  // namespace

bool isApplicationRunning(unsigned int pid) noexcept {
    if (pid == 0 || pid > static_cast<unsigned int>(std::numeric_limits<pid_t>::max())) {
        return false;
    }
    const auto id = static_cast<pid_t>(pid);
    const auto pidfd = static_cast<int>(::syscall(SYS_pidfd_open, id, 0));
    if (pidfd < 0) {
        // No such process; or the id of a thread, for which kernels differ in their answer.
        const bool unknown = errno == ESRCH || errno == EINVAL || errno == ENOENT;
        return !unknown && isRunningByName(id);
    }
    const bool running = !hasEnded(pidfd);
    ::close(pidfd);
    return running;
}

}  // namespace VDIFrameworkCommon::platform
