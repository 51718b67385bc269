#pragma once

#include <condition_variable>
#include <mutex>

/// Lets clang prove that a lock is held where it has to be (-Wthread-safety); says nothing to other compilers.
///
/// Used by internal classes. The fields of public classes are standard mutexes, which cannot carry these marks with
/// every standard library; their rules are in docs/threading.md.
#if defined(__clang__)
#define VDI_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VDI_THREAD_ANNOTATION(x)
#endif

#define VDI_CAPABILITY(name) VDI_THREAD_ANNOTATION(capability(name))
#define VDI_SCOPED_CAPABILITY VDI_THREAD_ANNOTATION(scoped_lockable)
#define VDI_GUARDED_BY(lock) VDI_THREAD_ANNOTATION(guarded_by(lock))
#define VDI_REQUIRES(...) VDI_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define VDI_EXCLUDES(...) VDI_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define VDI_ACQUIRE(...) VDI_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define VDI_RELEASE(...) VDI_THREAD_ANNOTATION(release_capability(__VA_ARGS__))

namespace VDIFrameworkCommon {

/// A standard mutex that clang knows to be a lock.
class VDI_CAPABILITY("mutex") CheckedMutex : public std::mutex {};

/// Holds a `CheckedMutex`, with pauses if need be.
class VDI_SCOPED_CAPABILITY CheckedLock {
public:
    explicit CheckedLock(CheckedMutex& mutex) VDI_ACQUIRE(mutex) : lock_(mutex) {}
    ~CheckedLock() VDI_RELEASE() {}  // NOLINT(modernize-use-equals-default): a defaulted one cannot carry the mark
    CheckedLock(const CheckedLock&) = delete;
    CheckedLock& operator=(const CheckedLock&) = delete;

    void lock() VDI_ACQUIRE() { lock_.lock(); }
    void unlock() VDI_RELEASE() { lock_.unlock(); }

    /// For waiting on a condition, which gives the lock back and takes it again.
    std::unique_lock<std::mutex>& native() { return lock_; }

private:
    std::unique_lock<std::mutex> lock_;
};

}  // namespace VDIFrameworkCommon
