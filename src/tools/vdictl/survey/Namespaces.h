#pragma once

#include <sys/types.h>

namespace vdictl {

/// Whether a process counts processes on its own, in another namespace, so that their numbers in what it shares are not
/// those seen from here. False when that cannot be told.
bool countsOnItsOwn(pid_t pid);

}  // namespace vdictl
