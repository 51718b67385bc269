#pragma once

#include <pthread.h>

#include <string>

#include "VDIFrameworkCommon/Export.h"
#include "VDIFrameworkCommon/Mutex.h"

namespace VDIFrameworkCommon {

/// A lock between the processes of one user and one client product, kept in a shared-memory object of its own.
///
/// What it is: a plain process-shared pthread mutex, neither robust nor recursive. A process that dies while it holds
/// the lock leaves it locked until the next `create` of that name, in any process, makes it anew.
///
/// It is also a `Mutex`, whose lock has nothing to do with the shared one: a `ScopedLock` on a `NamedMutex` excludes
/// the threads of this process only, and `lock`, `unlock` and `release` here hide the base's.
///
/// Who owns what: the object outlives every process. The mapping and the descriptor that `create` makes stay until the
/// process ends, since other threads may be using them.
///
/// Thread-safe once created: `lock` and `unlock` may be called from any thread; `create` belongs to one.
class VDIFRAMEWORKCOMMON_EXPORT NamedMutex : public Mutex {
public:
    NamedMutex();
    ~NamedMutex();
    NamedMutex(const NamedMutex&) = delete;
    NamedMutex& operator=(const NamedMutex&) = delete;

    /// Opens the lock called `name`, making it if need be, and initialises it, also when it exists.
    ///
    /// Create it while no other process holds it: the initialisation frees it.
    ///
    /// \param name  of any length; the user's id, the product's prefix and a suffix are added
    /// \return false, with an error record and no handle, if the object cannot be opened, sized or mapped
    bool create(const char* name);

    /// Waits for the lock, without limit: also when its holder is dead, or this very thread. False when it could not be
    /// taken or there is none.
    bool lock();

    /// Gives the lock back. Does nothing when there is none.
    void unlock();

    /// The shared mutex, in this process's mapping, which stays the library's; null until `create` succeeds.
    pthread_mutex_t* getHandler();

    /// Destroys the attributes that `create` used. The lock stays usable.
    void release();

private:
    std::string name_;
    pthread_mutex_t* handle_ = nullptr;
    pthread_mutexattr_t attributes_{};
};

}  // namespace VDIFrameworkCommon
