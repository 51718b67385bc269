#pragma once

#include <sys/types.h>

#include <set>
#include <string>

#include "survey/Objects.h"

namespace vdictl {

// What a look at the processes does not show: those of other namespaces of processes, which share objects all the same.

/// Whether an object is in use although no process is seen to use it.
bool isUsedUnseen(const std::set<pid_t>& users, int fd);

/// Whether an object may be in use by such processes, when these are seen to use it.
bool mayBeUsedUnseen(const std::set<pid_t>& users, const Object& object);

/// Why the numbers of processes and threads in an object tell nothing here: they mean something among processes that
/// see each other only. Empty when all that use the object are seen and count as this one does.
std::string whyNumbersMeanNothing(const std::set<pid_t>& users, int fd);

}  // namespace vdictl
