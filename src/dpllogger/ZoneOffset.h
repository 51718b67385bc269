#pragma once

#include <ctime>

namespace DPL::dpllogger {

/// By how many minutes local time was ahead of UTC at `time`. Thread-safe.
///
/// In a child that a process with several threads forked it stays what it was at the fork: one of the others may have
/// been asking the C library for local time just then, and whoever asks in the child would wait for it for ever.
int zoneOffset(std::time_t time) noexcept;

/// Around a fork, of which there must be one at a time.
void prepareZoneOffsetForFork() noexcept;
void settleZoneOffsetInChild() noexcept;

}  // namespace DPL::dpllogger
