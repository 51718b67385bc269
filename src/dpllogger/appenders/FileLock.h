#pragma once

#include <chrono>

namespace DPL::dpllogger {

/// Takes the advisory lock of an open file, which processes and controllers that opened it themselves share. Returns
/// whether it got the lock; gives up after `limit`, or at once where the file system knows no such locks.
bool lockFile(int fd, std::chrono::milliseconds limit) noexcept;

void unlockFile(int fd) noexcept;

}  // namespace DPL::dpllogger
