#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace vdictl {

/// "/proc/4711/maps"
std::string procPath(pid_t pid, const char* file);

/// A file that the system keeps about a process, whole. Empty when it cannot be read, with the reason in `errno`, which
/// is 0 otherwise.
std::string readProcFile(pid_t pid, const char* file);

/// All processes that can be seen.
std::vector<pid_t> allProcesses();

}  // namespace vdictl
