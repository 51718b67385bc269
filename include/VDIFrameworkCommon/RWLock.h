#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <iosfwd>
#include <mutex>

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// A reader-writer lock for the threads of one process: many readers or one writer.
///
/// Prefers writers: a reader never overtakes a waiting writer. Not re-entrant: a thread that holds it and asks for
/// writing, or holds it for reading and asks again while a writer waits, waits for ever. Thread-safe, except for
/// construction and destruction. A hold may be given back by another thread than the one that took it.
class VDIFRAMEWORKCOMMON_EXPORT RWLock {
public:
    RWLock() = default;
    RWLock(const RWLock&) = delete;
    RWLock& operator=(const RWLock&) = delete;

    /// Takes the lock for reading; blocks while a writer holds it or waits for it. Always 0.
    int readLock();

    /// Takes the lock for writing; blocks while anybody holds it. Always 0.
    int writeLock();

    /// Gives back a hold of either kind. Always 0.
    ///
    /// Not guarded against a caller that holds nothing: a free lock counts down to -1 and is then held for writing.
    int unlock();

private:
    friend VDIFRAMEWORKCOMMON_EXPORT std::ostream& operator<<(std::ostream& stream, const RWLock& lock);

    void readLockSlowly();
    void writeLockSlowly();

    std::mutex mutex_;  // held by those who go to sleep, from their last look at the word on
    // The state (the number of readers, or -1: a writer), the number of waiting writers and whether readers sleep, in
    // one word, so that they change together.
    std::atomic<std::uint64_t> word_{0};
    std::condition_variable readersCond_;
    std::condition_variable writersCond_;
};

/// Writes "rwlock 2, waiting writers 1": the number of readers, or -1 for a writer, and how many writers wait. A
/// glimpse for diagnostics, taken without the lock.
VDIFRAMEWORKCOMMON_EXPORT std::ostream& operator<<(std::ostream& stream, const RWLock& lock);

/// Holds an `RWLock` for reading from construction to destruction. One owner at a time.
class VDIFRAMEWORKCOMMON_EXPORT ScopedReadRWLock {
public:
    /// Takes the lock for reading, waiting for it. It must live longer than this object does.
    explicit ScopedReadRWLock(RWLock& lock);
    ~ScopedReadRWLock();
    ScopedReadRWLock(const ScopedReadRWLock&) = delete;
    ScopedReadRWLock& operator=(const ScopedReadRWLock&) = delete;

private:
    RWLock* lock_;
};

/// Holds an `RWLock` for writing from construction to destruction. One owner at a time.
class VDIFRAMEWORKCOMMON_EXPORT ScopedWriteRWLock {
public:
    /// Takes the lock for writing, waiting for it. It must live longer than this object does.
    explicit ScopedWriteRWLock(RWLock& lock);
    ~ScopedWriteRWLock();
    ScopedWriteRWLock(const ScopedWriteRWLock&) = delete;
    ScopedWriteRWLock& operator=(const ScopedWriteRWLock&) = delete;

private:
    RWLock* lock_;
};

}  // namespace VDIFrameworkCommon
