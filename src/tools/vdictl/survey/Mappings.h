#pragma once

#include <sys/types.h>

#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vdictl {

/// A shared object in the memory of a process.
struct Mapping {
    pid_t pid = 0;
    ino_t inode = 0;
    std::string name;        ///< the object's file name when it was opened
    bool isRemoved = false;  ///< the object has no name any more
};

/// Which processes have which objects of a file system in their memory. A process may map one several times.
struct Mappings {
    std::vector<Mapping> all;
    std::set<pid_t> unreadable;       ///< processes that this one may not look into
    std::set<uid_t> unreadableUsers;  ///< theirs
    bool areRead = false;             ///< false: nothing was looked into

    /// Whether all processes of a user could be looked into.
    bool areCompleteFor(uid_t user) const { return areRead && !unreadableUsers.contains(user); }

    /// Whether a process could be looked into, or is gone.
    bool isReadable(pid_t pid) const { return areRead && !unreadable.contains(pid); }

    /// The processes that map an object, each once, in order.
    std::set<pid_t> usersOf(ino_t inode) const;

    /// How often objects of this name are mapped, whether they still have it or not.
    int timesMapped(const std::string& name) const;

    /// Prepares the two questions above for `all`.
    void index();

private:
    std::unordered_map<ino_t, std::set<pid_t>> users_;
    std::unordered_map<std::string, int> times_;
};

/// Looks into all processes but this one.
Mappings readMappings(dev_t device);

/// Looks into one process. False when that is not possible.
bool readMappings(pid_t pid, dev_t device, std::vector<Mapping>& mappings);

/// Takes the mappings of one file system out of what the system tells about a process's memory.
void parseMappings(std::string_view text, dev_t device, pid_t pid, std::vector<Mapping>& mappings);

}  // namespace vdictl
