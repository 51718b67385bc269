#pragma once

#include <cstddef>

namespace DPL::dpllogger {

/// The ids that records carry, kept because asking the system for them costs more than the rest of a record.
///
/// Thread-safe.
int processId() noexcept;
std::size_t threadId() noexcept;

/// In a forked child: both ids have changed.
void renewProcessIdentity() noexcept;

}  // namespace DPL::dpllogger
