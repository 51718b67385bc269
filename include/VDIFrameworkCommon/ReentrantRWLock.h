#pragma once

#include <atomic>
#include <cstdint>
#include <iosfwd>

#include "VDIFrameworkCommon/Condition.h"
#include "VDIFrameworkCommon/Export.h"
#include "VDIFrameworkCommon/Mutex.h"

namespace VDIFrameworkCommon {

/// A reader-writer lock for the threads of one process that a thread may take again in the mode it holds.
///
/// A thread that is the only reader may take it for writing too, and keeps its read holds meanwhile. Holds are counted
/// a thread: each is given back by the thread that took it, as often as it was taken; giving back what one does not
/// hold changes nothing. Prefers writers: a reader that holds nothing for reading waits while a writer waits.
///
/// Two readers that both ask for writing wait for ever, and so does the writer that asks for reading while other
/// writers wait. Thread-safe, except for construction and destruction. Results are those of the last `Mutex` or
/// `Condition` operation: 0 or an error number.
class VDIFRAMEWORKCOMMON_EXPORT ReentrantRWLock {
public:
    ReentrantRWLock();
    ~ReentrantRWLock();
    ReentrantRWLock(const ReentrantRWLock&) = delete;
    ReentrantRWLock& operator=(const ReentrantRWLock&) = delete;

    /// Takes a read hold: at once when the thread has one already, else blocks while another thread writes or any
    /// writer waits.
    int readLock() noexcept;

    /// Takes a write hold: at once when the thread has one already, else blocks while another thread reads or writes.
    int writeLock() noexcept;

    /// Gives one read hold of this thread back; without one, changes nothing.
    int readUnlock() noexcept;

    /// Gives one write hold of this thread back; without one, changes nothing.
    int writeUnlock() noexcept;

private:
    friend VDIFRAMEWORKCOMMON_EXPORT std::ostream& operator<<(std::ostream& stream, const ReentrantRWLock& lock);

    struct Holders;

    Mutex mutex_;
    Holders* holders_;
    Condition readCond_;
    std::atomic<std::uint32_t> waitingWriters_{0};
    Condition writeCond_;
};

/// Writes "ReentrantRWLock waiting writers 1". A glimpse for diagnostics, taken without the lock.
VDIFRAMEWORKCOMMON_EXPORT std::ostream& operator<<(std::ostream& stream, const ReentrantRWLock& lock);

/// Holds a `ReentrantRWLock` for reading from construction to destruction, which belong to one thread.
class VDIFRAMEWORKCOMMON_EXPORT ScopedReadReentrantRWLock {
public:
    /// Takes the lock for reading, waiting for it. It must live longer than this object does.
    explicit ScopedReadReentrantRWLock(ReentrantRWLock& lock);
    ~ScopedReadReentrantRWLock();
    ScopedReadReentrantRWLock(const ScopedReadReentrantRWLock&) = delete;
    ScopedReadReentrantRWLock& operator=(const ScopedReadReentrantRWLock&) = delete;

private:
    ReentrantRWLock* lock_;
};

/// Holds a `ReentrantRWLock` for writing from construction to destruction, which belong to one thread.
class VDIFRAMEWORKCOMMON_EXPORT ScopedWriteReentrantRWLock {
public:
    /// Takes the lock for writing, waiting for it. It must live longer than this object does.
    explicit ScopedWriteReentrantRWLock(ReentrantRWLock& lock);
    ~ScopedWriteReentrantRWLock();
    ScopedWriteReentrantRWLock(const ScopedWriteReentrantRWLock&) = delete;
    ScopedWriteReentrantRWLock& operator=(const ScopedWriteReentrantRWLock&) = delete;

private:
    ReentrantRWLock* lock_;
};

}  // namespace VDIFrameworkCommon
