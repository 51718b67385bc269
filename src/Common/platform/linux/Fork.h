#pragma once

#include <sys/types.h>

namespace VDIFrameworkCommon::platform {

/// Forks without calling the host's fork handlers, which are not meant for a child that becomes a program. The child
/// may do only what a signal handler may do. Returns what `fork` returns.
pid_t forkWithoutHandlers() noexcept;

}  // namespace VDIFrameworkCommon::platform
