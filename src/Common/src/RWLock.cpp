#include "VDIFrameworkCommon/RWLock.h"

#include <ostream>
#include <string>

namespace VDIFrameworkCommon {

// The state changes by an atomic step on the word alone. The mutex is for sleeping: who is about to sleep takes it,
// leaves a trace in the word (the number of waiting writers, the flag of sleeping readers) in the same step that finds
// the lock taken, and gives it back by falling asleep. Whoever finds a trace when it gives the lock back takes the
// mutex before it notifies, and so never notifies between that step and the sleep. The number of waiting writers
// becomes 0 only in the step in which the last one takes the lock: no reader slips in between.

namespace {

constexpr std::uint64_t stateMask = 0xFFFF'FFFF;
constexpr std::uint64_t oneReader = 1;
constexpr std::uint64_t oneWaitingWriter = std::uint64_t{1} << 32;
constexpr std::uint64_t readersSleep = std::uint64_t{1} << 63;

constexpr std::int32_t writing = -1;

std::int32_t stateOf(std::uint64_t word) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(word));
}

std::uint64_t withState(std::uint64_t word, std::int32_t state) {
    return (word & ~stateMask) | static_cast<std::uint32_t>(state);
}

std::uint64_t waitingWritersOf(std::uint64_t word) {
    return (word & ~readersSleep) / oneWaitingWriter;
}

bool letsReadersIn(std::uint64_t word) {
    return stateOf(word) >= 0 && waitingWritersOf(word) == 0;
}

}  // namespace

int RWLock::readLock() {
    std::uint64_t word = word_.load(std::memory_order_relaxed);  // a guess, which the exchange checks
    while (letsReadersIn(word)) {
        if (word_.compare_exchange_weak(word, word + oneReader)) {
            return 0;
        }
    }
    readLockSlowly();
    return 0;
}

void RWLock::readLockSlowly() {
    std::unique_lock lock(mutex_);
    std::uint64_t word = word_;
    for (;;) {
        if (letsReadersIn(word)) {
            if (word_.compare_exchange_weak(word, word + oneReader)) {
                return;
            }
        } else if (word_.compare_exchange_weak(word, word | readersSleep)) {
            readersCond_.wait(lock);
            word = word_;
        }
    }
}

int RWLock::writeLock() {
    std::uint64_t word = word_.load(std::memory_order_relaxed);  // a guess, which the exchange checks
    while (stateOf(word) == 0) {
        if (word_.compare_exchange_weak(word, withState(word, writing))) {
            return 0;
        }
    }
    writeLockSlowly();
    return 0;
}

void RWLock::writeLockSlowly() {
    std::unique_lock lock(mutex_);
    std::uint64_t word = word_;
    std::uint64_t registered = 0;  // this thread's part of the word
    for (;;) {
        if (stateOf(word) == 0) {
            if (word_.compare_exchange_weak(word, withState(word, writing) - registered)) {
                return;
            }
        } else if (registered != 0 || word_.compare_exchange_weak(word, word + oneWaitingWriter)) {
            registered = oneWaitingWriter;
            writersCond_.wait(lock);
            word = word_;
        }
    }
}

int RWLock::unlock() {
    std::uint64_t word = word_.load(std::memory_order_relaxed);  // a guess, which the exchange checks
    std::uint64_t next = 0;
    do {
        next = withState(word, stateOf(word) < 0 ? 0 : stateOf(word) - 1);
        if (waitingWritersOf(word) == 0) {
            next &= ~readersSleep;
        }
    } while (!word_.compare_exchange_weak(word, next));

    const bool writersWait = waitingWritersOf(next) != 0;
    const bool wakes = writersWait ? stateOf(next) == 0 : (word & readersSleep) != 0;
    if (wakes) {
        { const std::lock_guard untilTheySleep(mutex_); }
        if (writersWait) {
            writersCond_.notify_one();
        } else {
            readersCond_.notify_all();
        }
    }
    return 0;
}

std::ostream& operator<<(std::ostream& stream, const RWLock& lock) {
    const std::uint64_t word = lock.word_;
    // As strings: the stream's own number format stays out of it.
    return stream << "rwlock " + std::to_string(stateOf(word)) + ", waiting writers " +
                         std::to_string(waitingWritersOf(word));
}

ScopedReadRWLock::ScopedReadRWLock(RWLock& lock) : lock_(&lock) {
    lock_->readLock();
}

ScopedReadRWLock::~ScopedReadRWLock() {
    lock_->unlock();
}

ScopedWriteRWLock::ScopedWriteRWLock(RWLock& lock) : lock_(&lock) {
    lock_->writeLock();
}

ScopedWriteRWLock::~ScopedWriteRWLock() {
    lock_->unlock();
}

}  // namespace VDIFrameworkCommon
