#pragma once

namespace VDIFrameworkCommon::platform {

/// Names the calling thread, as the thread list of the system shows it. Named from the main thread this renames the
/// process on systems that take a process's name from there.
///
/// \param name  at most 15 bytes, which every system can hold
/// \return 0 or the error number of the system
int setCurrentThreadName(const char* name) noexcept;

}  // namespace VDIFrameworkCommon::platform
