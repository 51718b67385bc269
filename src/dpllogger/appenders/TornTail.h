#pragma once

#include <sys/types.h>

#include <optional>

namespace DPL::dpllogger {

/// Tells whether the file of `size` bytes ends in the middle of a line.
bool endsWithinALine(int fd, off_t size) noexcept;

/// Where the record begins that somebody left unfinished right before `end`; nothing if what stands there is not the
/// beginning of a record.
std::optional<off_t> startOfTornRecord(int fd, off_t end) noexcept;

/// Turns what stands from `start` to `end` into a blank line, in its place. The file was opened for appending. Returns
/// whether that was possible; at least what follows starts a line then.
bool makeBlank(int fd, off_t start, off_t end) noexcept;

}  // namespace DPL::dpllogger
