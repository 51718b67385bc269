#pragma once

#include <cstdint>
#include <string>

namespace DPL::dpllogger {

/// Counts the records that were lost, until the count has been written to the log.
///
/// Not thread-safe.
class Losses {
public:
    /// Records that had to make room while they waited.
    void countOverflowed(std::uint64_t records) noexcept { overflowed_ += records; }

    /// Records that could not be written, with the error number of the latest attempt.
    void countFailed(std::uint64_t records, int error) noexcept;

    bool any() const noexcept { return overflowed_ + failed_ != 0; }
    bool anyFailed() const noexcept { return failed_ != 0; }

    /// What to tell the reader of the log: "3 records lost: 1 waited too long, 2 not written (No space left on
    /// device)".
    std::string description() const;

private:
    std::uint64_t overflowed_ = 0;
    std::uint64_t failed_ = 0;
    int error_ = 0;
};

}  // namespace DPL::dpllogger
