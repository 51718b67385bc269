#pragma once

#include <sys/types.h>

#include <optional>

namespace vdictl {

/// Whether a process counts processes on its own, in another namespace, so that their numbers in what it shares are not
/// those seen from here. False when that cannot be told.
bool countsOnItsOwn(pid_t pid);

/// The number of a process among those that it counts.
std::optional<pid_t> ownNumberOf(pid_t pid);

/// Whether every process that may use what lies in the shared folder can be seen from here. In a container or sandbox
/// with numbers of its own that holds only for a folder that was made within.
bool seesAllUsersOfFolder();

}  // namespace vdictl
