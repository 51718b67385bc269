#pragma once

#include <sys/types.h>

#include <optional>

namespace DPL::dpllogger {

/// Tells whether the file of `size` bytes ends in the middle of a line.
bool endsWithinALine(int fd, off_t size) noexcept;

/// Where the record begins that a killed process left unfinished at the end of the file; nothing if what stands there
/// is not the beginning of a record.
std::optional<off_t> startOfTornRecord(int fd, off_t size) noexcept;

}  // namespace DPL::dpllogger
