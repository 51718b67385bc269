#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <set>
#include <string>

namespace vdictl {

/// What the system knows about a process id now.
struct ProcessFacts {
    std::uint32_t pid = 0;
    bool isAlive = false;
    std::string program;                   ///< its file, or its short name where that may not be seen; empty: not known
    std::optional<std::timespec> started;  ///< wall-clock time
    std::set<uid_t> users;                 ///< real, effective, saved and file system user
};

ProcessFacts factsAbout(std::uint32_t pid);

/// The users of a process; empty when it is gone.
std::set<uid_t> usersOf(pid_t pid);

/// The process that a thread belongs to; none when there is no such thread. A thread that is there and may not be
/// looked at counts as a process of its own.
std::optional<pid_t> processOfThread(pid_t thread);

/// What the system tells of a process under a name; empty when it is gone or does not have that.
std::string statusField(pid_t pid, const std::string& name);

/// Whether a time is later than another, by more than their clocks step.
bool isLater(const std::timespec& a, const std::timespec& b);

/// The last part of a program's path.
std::string shortName(const std::string& program);

}  // namespace vdictl
