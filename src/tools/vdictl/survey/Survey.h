#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Owner.h"
#include "survey/Mappings.h"
#include "survey/Objects.h"
#include "survey/Processes.h"
#include "survey/SharedFolder.h"

namespace vdictl {

/// Who holds a lock.
struct LockOwner {
    pid_t thread = 0;
    std::optional<pid_t> process;  ///< none: there is no such thread here
    bool isDead = false;           ///< proved: no such thread, or its process has no use for the object
};

/// What can be told about a process id in a record being another process's than the recorded one.
enum class Reuse {
    No,       ///< the process uses the record
    Yes,      ///< proved: the process started after any process opened the record for the last time
    Unknown,  ///< neither can be shown; also of an id that may be that of a process which counts on its own
    None      ///< there is no process
};

/// Everything that is shared now, and who shares it.
struct Survey {
    std::timespec time{};
    FolderSpace space;
    std::vector<Object> objects;
    Mappings mappings;
    std::map<std::uint32_t, ProcessFacts> processes;  ///< every id that a record or a lock names
    std::map<pid_t, pid_t> apart;                     ///< processes that count on their own, and their numbers there
    bool seesAllUsers = true;                         ///< no process that cannot be seen uses the objects

    const ProcessFacts& process(std::uint32_t pid) const;

    /// The object with a file name; null when there is none.
    const Object* find(const std::string& fileName) const;

    /// The guard of a storage; null when there is none.
    const Object* guardOf(const Object& storage) const;

    /// The process that an id in a record means: one of those that use the record and give themselves this number, else
    /// the one that has it here.
    const ProcessFacts& agent(const Object& storage, std::uint32_t pid) const;

    Reuse reuseOf(const Object& storage, std::uint32_t pid) const;

    /// Who holds the object's lock; none when nobody does.
    std::optional<LockOwner> lockOwner(const Object& object) const;

    /// How many threads wait for an event: each has a waiter object of it in its memory. None when some processes of
    /// its user could not be looked into.
    std::optional<int> liveWaiters(const Object& event) const;

    /// The processes that map the object.
    std::set<pid_t> usersOf(const Object& object) const { return mappings.usersOf(object.file.inode); }

    /// The processes that map a storage or its guard.
    std::set<pid_t> usersOfRecord(const Object& storage) const;

    /// Whether one of the processes counts on its own.
    bool anyApart(const std::set<pid_t>& users) const;
};

enum class Look { WithMappings, WithoutMappings };

/// Looks at everything without changing anything: no object is made, written or locked.
Survey takeSurvey(Look look, const Owner& owner);

/// Whether an object is one of the owner's that was asked for.
bool belongsTo(const Object& object, const Owner& owner);

}  // namespace vdictl
