#include "appenders/FileLock.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <thread>
#include <utility>

namespace DPL::dpllogger {

namespace {

// A holder needs a few microseconds as a rule, so the first attempts only make way for it.
constexpr int attemptsWithoutSleep = 16;
constexpr std::chrono::microseconds shortestSleep(50);
constexpr std::chrono::microseconds longestSleep(1000);

// One write, or one look and one cut, of a process that runs.
constexpr std::chrono::milliseconds tailLimit(100);

/// Repeats `attempt` while it fails because of another holder. Returns 0 or the error number of the last failure.
template <typename Attempt>
int retry(Attempt attempt, std::chrono::milliseconds limit) noexcept {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    auto pause = shortestSleep;
    for (int attempts = 0; attempt() != 0; ++attempts) {
        const bool isBusy = errno == EWOULDBLOCK || errno == EACCES || errno == EINTR;
        if (!isBusy || std::chrono::steady_clock::now() >= deadline) {
            return isBusy ? EWOULDBLOCK : errno;
        }
        if (attempts < attemptsWithoutSleep) {
            sched_yield();
        } else {
            std::this_thread::sleep_for(pause);
            pause = std::min(pause * 2, longestSleep);
        }
    }
    return 0;
}

#ifdef F_OFD_SETLK
// A lock of the open file, not of the process, on a byte that no file reaches: it has nothing to do with the bytes.
int setTailLock(int fd, short type) noexcept {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = std::numeric_limits<off_t>::max() - 1;
    lock.l_len = 1;
    return ::fcntl(fd, F_OFD_SETLK, &lock);
}
#else
int setTailLock(int /*fd*/, short /*type*/) noexcept {
    errno = EINVAL;
    return -1;
}
#endif

}  // namespace

bool lockFile(int fd, std::chrono::milliseconds limit) noexcept {
    return retry([fd] { return ::flock(fd, LOCK_EX | LOCK_NB); }, limit) == 0;
}

void unlockFile(int fd) noexcept {
    ::flock(fd, LOCK_UN);
}

TailLock::State TailLock::take(int fd, Use use) noexcept {
    const short type = use == Use::Cut ? F_WRLCK : F_RDLCK;
    switch (retry([fd, type] { return setTailLock(fd, type); }, tailLimit)) {
        case 0:
            fd_ = fd;
            return State::Taken;
        case EWOULDBLOCK:
            return State::Busy;
        default:
            return State::Unknown;
    }
}

void TailLock::release() noexcept {
    if (fd_ >= 0) {
        setTailLock(std::exchange(fd_, -1), F_UNLCK);
    }
}

}  // namespace DPL::dpllogger
