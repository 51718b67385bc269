#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

namespace vdictl {

/// A shared object by its names.
struct SharedObject {
    explicit SharedObject(std::string logical);

    std::string logicalName;
    std::string systemName;  ///< "/" and the digest in decimal
    std::string file;        ///< where the system keeps it

    bool exists() const;
};

/// An existing shared object as it is now.
struct ObjectContent {
    struct stat status {};
    std::string bytes;  ///< the first `limit` at most
};

/// Looks at an object without creating, locking or mapping anything. Nothing when there is none; throws `Failure` when
/// there is one that cannot be read.
std::optional<ObjectContent> lookAt(const SharedObject& object, std::size_t limit);

/// Who a thread is: "process 123 (vdi-agent)", "thread 124 of process 123 (vdi-agent)", "thread 124, which is dead".
std::string describeThread(pid_t thread);

/// Whether a thread's id in an object may be that of one which counts on its own: a process that does so has the object
/// in its memory, and the process that has the number here does not.
bool mayCountOnItsOwn(pid_t thread, const struct stat& object);

/// Who such a thread is.
std::string describeThreadApart(pid_t thread);

/// Whether there is a thread of this id in any process.
bool isThreadAlive(pid_t thread);

}  // namespace vdictl
