#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <chrono>
#include <string>

#include "Owner.h"
#include "SharedObject.h"
#include "survey/Descriptor.h"

namespace vdictl {

/// A named mutex that is taken without being made anew, so that holders keep it.
///
/// The library's own `create` makes the mutex anew each time, which frees it under whoever holds it: agents create
/// their locks before they use them. Here the lock is what it was, and where there is none it appears ready for use.
///
/// Belongs to one thread. The mapping stays to the end of the process.
class NamedLock {
public:
    /// Opens the lock of this owner and name, making it if need be. Throws `Failure`.
    NamedLock(const Owner& owner, const std::string& name);

    /// Waits for the lock for so long. Throws `Failure` when its holder is dead: it would never come free.
    bool takeWithin(std::chrono::milliseconds limit);

    /// Gives the lock back. False when another process made the lock anew meanwhile: it is not this one's any more.
    bool release();

    /// Who has it: "process 123 (vdi-agent)".
    std::string describeHolder() const;

    /// "mutex 'x' (/dev/shm/123)"
    const std::string& description() const { return description_; }

private:
    /// The thread that holds it; 0 for none.
    pid_t holder() const;

    bool mayCountOnItsOwn(pid_t thread) const;

    SharedObject object_;
    std::string description_;
    Descriptor descriptor_;  // kept open: tools tell by it which processes use the lock
    pthread_mutex_t* mutex_ = nullptr;
};

}  // namespace vdictl
