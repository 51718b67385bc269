#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "Environment.h"
#include "appenders/Outcome.h"

namespace DPL::dpllogger {

/// Appends lines to a log file that other processes, and other controllers of this one, write at the same time.
///
/// Every access holds the advisory lock of the file itself and makes sure that the file is still the one with the log's
/// name. So nobody writes while somebody else puts the file aside, and the end of the file is known: what a killed
/// process left of an unfinished record is removed, and an append that fails midway leaves whole records only.
///
/// A lock that cannot be had (its holder was stopped) delays a writer once; then lines are appended without it, whole
/// all the same, and the file grows until the lock can be had again. Meanwhile a second lock, which these writers
/// share, keeps everybody from taking their unfinished writes for a dead process's.
///
/// Not thread-safe. Never throws.
class FileAppender {
public:
    FileAppender(std::string path, RotationLimits limits);
    ~FileAppender();
    FileAppender(const FileAppender&) = delete;
    FileAppender& operator=(const FileAppender&) = delete;

    const std::string& path() const noexcept { return path_; }

    /// Appends whole lines, in several files if they do not fit in one. EAGAIN: not now, but soon.
    Outcome append(std::string_view lines) noexcept;

    /// Returns the error number that shows that the file can never be written, or 0 if it was written before or the
    /// failure may pass. Opens the file.
    int unusable() noexcept;

    /// Gives the file back; the next `append` opens it again.
    void close() noexcept;

private:
    class Access;

    int open() noexcept;
    bool stillOwnsDescriptor() const noexcept;
    bool isCurrent(off_t& size) const noexcept;
    bool takeLock() noexcept;

    const std::string path_;
    const RotationLimits limits_;
    int fd_ = -1;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    off_t knownEnd_ = -1;  // where this appender's last line ended, -1 for unknown
    bool openedOnce_ = false;
    bool lockIsStuck_ = false;  // the last try was in vain
    std::chrono::steady_clock::time_point lastVainWait_;
};

}  // namespace DPL::dpllogger
