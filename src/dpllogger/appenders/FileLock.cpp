#include "appenders/FileLock.h"

#include <sched.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace DPL::dpllogger {

namespace {

using namespace std::chrono_literals;

// A holder needs a few microseconds as a rule, so the first attempts only make way for it.
constexpr int attemptsWithoutSleep = 16;
constexpr auto shortestSleep = 50us;
constexpr auto longestSleep = 1000us;

}  // namespace

bool lockFile(int fd, std::chrono::milliseconds limit) noexcept {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    auto pause = shortestSleep;
    for (int attempt = 0; ::flock(fd, LOCK_EX | LOCK_NB) != 0; ++attempt) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        if (attempt < attemptsWithoutSleep) {
            sched_yield();
        } else {
            std::this_thread::sleep_for(pause);
            pause = std::min(pause * 2, longestSleep);
        }
    }
    return true;
}

void unlockFile(int fd) noexcept {
    ::flock(fd, LOCK_UN);
}

}  // namespace DPL::dpllogger
