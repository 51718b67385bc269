#pragma once

#include <sys/types.h>

namespace VDIFrameworkCommon::platform {

/// Forks without calling the host's fork handlers, which are not meant for a child that becomes a program. The child
/// may do only what a signal handler may do. Returns what `fork` returns.
pid_t forkWithoutHandlers() noexcept;

/// Between these the thread sanitizer, if there is one, learns nothing from what this thread does. In a child it may
/// need a lock for that which another thread held at the fork, and wait for ever.
void beginUnwatched() noexcept;
void endUnwatched() noexcept;

}  // namespace VDIFrameworkCommon::platform
