#pragma once

#include <chrono>

namespace DPL::dpllogger {

/// Takes the advisory lock of an open file, which processes and controllers that opened it themselves share. Returns
/// whether it got the lock; gives up after `limit`, or at once where the file system knows no such locks.
bool lockFile(int fd, std::chrono::milliseconds limit) noexcept;

void unlockFile(int fd) noexcept;

/// The second lock of a log file, for those who have to append without the first: it keeps the end of the file as it is
/// while somebody looks whether to cut it. Many may append at once; who cuts is alone.
class TailLock {
public:
    enum class Use { Append, Cut };
    enum class State { Taken, Busy, Unknown };  ///< Unknown: the system or the file system has no such lock

    TailLock() = default;
    ~TailLock() { release(); }
    TailLock(const TailLock&) = delete;
    TailLock& operator=(const TailLock&) = delete;

    State take(int fd, Use use) noexcept;
    void release() noexcept;

private:
    int fd_ = -1;
};

}  // namespace DPL::dpllogger
