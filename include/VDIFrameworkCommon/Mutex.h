#pragma once

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// A recursive lock for the threads of one process.
///
/// The thread that holds it may take it again and gives it back as many times as it took it. Blocks in `lock` while
/// another thread holds it. Thread-safe, except for construction and destruction.
class VDIFRAMEWORKCOMMON_EXPORT Mutex {
public:
    /// Makes a free lock.
    Mutex();
    /// Nobody may hold it or wait for it.
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// Takes the lock. Returns 0, the error number of `pthread_mutex_lock`, or 1 on a mutex that was destroyed.
    int lock();

    /// Gives the lock back. Returns 0, the error number of `pthread_mutex_unlock` (EPERM when another thread holds it),
    /// or 1 on a mutex that was destroyed.
    int unlock();

private:
    friend class Condition;
    struct Handle;
    Handle* handle_;
};

/// Holds a `Mutex` from construction until `unlock` or destruction, whichever comes first.
///
/// Belongs to the thread that made it. A `NamedMutex` is guarded as the `Mutex` that it is: threads of this process
/// exclude each other, processes do not.
class VDIFRAMEWORKCOMMON_EXPORT ScopedLock {
public:
    /// Takes the lock, waiting for it. It must live longer than this object does.
    explicit ScopedLock(Mutex& mutex);
    ~ScopedLock();
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

    /// Gives the lock back early. Returns the result of `Mutex::unlock`, or 0 if it was given back before.
    int unlock();

private:
    Mutex* mutex_;
};

}  // namespace VDIFrameworkCommon
