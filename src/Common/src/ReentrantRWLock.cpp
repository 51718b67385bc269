#include "VDIFrameworkCommon/ReentrantRWLock.h"

#include <pthread.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace VDIFrameworkCommon {

namespace {

using ThreadId = std::uintptr_t;  // a pthread_t as a number; no thread has 0

constexpr ThreadId nobody = 0;

ThreadId self() {
    return std::bit_cast<ThreadId>(pthread_self());
}

/// How many read holds each reading thread has: an ordered map that keeps its room, so that taking a lock allocates
/// only when there are more readers at once than ever before.
class ReadHolds {
public:
    std::size_t threads() const { return entries_.size(); }

    bool contains(ThreadId thread) const {
        const auto entry = std::lower_bound(entries_.begin(), entries_.end(), thread, isBefore);
        return entry != entries_.end() && entry->thread == thread;
    }

    void add(ThreadId thread) {
        const auto entry = std::lower_bound(entries_.begin(), entries_.end(), thread, isBefore);
        if (entry != entries_.end() && entry->thread == thread) {
            ++entry->count;
        } else {
            entries_.insert(entry, {.thread = thread, .count = 1});
        }
    }

    /// Takes one hold of the thread away, if it has any. Returns whether it has none then.
    bool remove(ThreadId thread) {
        const auto entry = std::lower_bound(entries_.begin(), entries_.end(), thread, isBefore);
        if (entry == entries_.end() || entry->thread != thread) {
            return true;
        }
        if (--entry->count != 0) {
            return false;
        }
        entries_.erase(entry);
        return true;
    }

private:
    struct Entry {
        ThreadId thread;
        std::uint32_t count;
    };

    static bool isBefore(const Entry& entry, ThreadId thread) { return entry.thread < thread; }

    std::vector<Entry> entries_;
};

}  // namespace

struct ReentrantRWLock::Holders {
    ReadHolds readers;
    ThreadId writer = nobody;
    std::uint32_t writeCount = 0;
};

ReentrantRWLock::ReentrantRWLock() : holders_(new Holders) {
}

ReentrantRWLock::~ReentrantRWLock() {
    delete holders_;
}

int ReentrantRWLock::readLock() noexcept {
    const ThreadId thread = self();
    mutex_.lock();
    if (!holders_->readers.contains(thread)) {
        // The writer itself waits too while other writers wait, and then for ever: writers come first, without
        // exception.
        while ((holders_->writer != nobody && holders_->writer != thread) || waitingWriters_ != 0) {
            readCond_.wait(mutex_);
        }
    }
    holders_->readers.add(thread);
    return mutex_.unlock();
}

int ReentrantRWLock::writeLock() noexcept {
    const ThreadId thread = self();
    mutex_.lock();
    if (holders_->writer == thread) {
        ++holders_->writeCount;
        return mutex_.unlock();
    }
    // Its own read holds, which do not change while it waits, do not stop a thread from writing.
    const std::size_t ownEntries = holders_->readers.contains(thread) ? 1 : 0;
    while (holders_->writer != nobody || holders_->readers.threads() != ownEntries) {
        ++waitingWriters_;
        writeCond_.wait(mutex_);
        --waitingWriters_;
    }
    holders_->writer = thread;
    holders_->writeCount = 1;
    return mutex_.unlock();
}

int ReentrantRWLock::readUnlock() noexcept {
    const ThreadId thread = self();
    mutex_.lock();
    const bool left = holders_->readers.remove(thread);
    const std::size_t readers = holders_->readers.threads();
    const bool wakesWriters = waitingWriters_ != 0 && holders_->writer != thread && left;
    const int result = mutex_.unlock();
    if (!wakesWriters || readers > 1) {
        return result;
    }
    // The last reader but one wakes every writer: the last one may be among them, waiting to write, and nobody else
    // would wake it.
    return readers == 0 ? writeCond_.signal() : writeCond_.broadcast();
}

int ReentrantRWLock::writeUnlock() noexcept {
    const ThreadId thread = self();
    mutex_.lock();
    if (holders_->writer == thread && --holders_->writeCount == 0) {
        holders_->writer = nobody;
    }
    const bool stillWrites = holders_->writer == thread;
    const bool reads = holders_->readers.contains(thread);
    const bool writersWait = waitingWriters_ != 0;
    const int result = mutex_.unlock();
    if (stillWrites || (writersWait && reads)) {
        return result;
    }
    return writersWait ? writeCond_.signal() : readCond_.broadcast();
}

std::ostream& operator<<(std::ostream& stream, const ReentrantRWLock& lock) {
    // As a string: the stream's own number format stays out of it.
    return stream << "ReentrantRWLock waiting writers " + std::to_string(lock.waitingWriters_);
}

ScopedReadReentrantRWLock::ScopedReadReentrantRWLock(ReentrantRWLock& lock) : lock_(&lock) {
    lock_->readLock();
}

ScopedReadReentrantRWLock::~ScopedReadReentrantRWLock() {
    lock_->readUnlock();
}

ScopedWriteReentrantRWLock::ScopedWriteReentrantRWLock(ReentrantRWLock& lock) : lock_(&lock) {
    lock_->writeLock();
}

ScopedWriteReentrantRWLock::~ScopedWriteReentrantRWLock() {
    lock_->writeUnlock();
}

}  // namespace VDIFrameworkCommon
