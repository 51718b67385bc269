// Both reader-writer locks under load: readers, writers and, for the re-entrant one, upgraders and re-entrants. Meant
// to run under the thread sanitizer, which also checks what the locks protect.

#include <VDIFrameworkCommon/RWLock.h>
#include <VDIFrameworkCommon/ReentrantRWLock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using VDIFrameworkCommon::ReentrantRWLock;
using VDIFrameworkCommon::RWLock;
using VDIFrameworkCommon::ScopedReadReentrantRWLock;
using VDIFrameworkCommon::ScopedReadRWLock;
using VDIFrameworkCommon::ScopedWriteReentrantRWLock;
using VDIFrameworkCommon::ScopedWriteRWLock;

template <typename Lock>
std::string text(const Lock& lock) {
    std::ostringstream stream;
    stream << lock;
    return stream.str();
}

// What a lock protects. `value` is plain on purpose: a lock that lets a reader in beside a writer is a data race.
class Shared {
public:
    void read() {
        ++readers_;
        EXPECT_EQ(writers_, 0);
        const long before = value_;
        std::this_thread::yield();
        EXPECT_EQ(value_, before);
        --readers_;
    }

    // `ownReads` of the readers are the writing thread itself.
    void write(int ownReads = 0) {
        EXPECT_EQ(writers_++, 0);
        EXPECT_EQ(readers_, ownReads);
        ++value_;
        std::this_thread::yield();
        EXPECT_EQ(readers_, ownReads);
        --writers_;
    }

    // Writes from within a read.
    void upgrade(const std::function<void()>& takeWriteLock) {
        ++readers_;
        takeWriteLock();
        write(1);
        --readers_;
    }

    long value() const { return value_; }

private:
    std::atomic<int> readers_{0};
    std::atomic<int> writers_{0};
    long value_ = 0;
};

void run(std::vector<std::function<void()>> bodies) {
    std::vector<std::thread> threads;
    for (auto& body : bodies) {
        threads.emplace_back(std::move(body));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(RWLockStress, ReadersAndWritersExcludeEachOther) {
    constexpr int rounds = 2000;
    RWLock lock;
    Shared shared;
    const auto reads = [&] {
        for (int i = 0; i < rounds; ++i) {
            const ScopedReadRWLock guard(lock);
            shared.read();
        }
    };
    const auto writes = [&] {
        for (int i = 0; i < rounds; ++i) {
            const ScopedWriteRWLock guard(lock);
            shared.write();
        }
    };
    std::atomic<bool> done{false};
    std::thread describes([&] {
        while (!done) {
            EXPECT_EQ(text(lock).substr(0, 7), "rwlock ");
        }
    });
    run({reads, reads, reads, writes, writes});
    done = true;
    describes.join();
    EXPECT_EQ(shared.value(), 2 * rounds);
    EXPECT_EQ(text(lock), "rwlock 0, waiting writers 0");
}

TEST(ReentrantRWLockStress, ReadersWritersUpgradersAndReentrantsExcludeEachOther) {
    constexpr int rounds = 1500;
    ReentrantRWLock lock;
    Shared shared;
    const auto reads = [&] {
        for (int i = 0; i < rounds; ++i) {
            const ScopedReadReentrantRWLock guard(lock);
            shared.read();
        }
    };
    const auto readsTwice = [&] {
        for (int i = 0; i < rounds; ++i) {
            const ScopedReadReentrantRWLock guard(lock);
            const ScopedReadReentrantRWLock again(lock);
            shared.read();
        }
    };
    const auto writes = [&] {
        for (int i = 0; i < rounds; ++i) {
            const ScopedWriteReentrantRWLock guard(lock);
            shared.write();
        }
    };
    const auto writesTwice = [&] {
        for (int i = 0; i < rounds; ++i) {
            const ScopedWriteReentrantRWLock guard(lock);
            const ScopedWriteReentrantRWLock again(lock);
            shared.write();
        }
    };
    // One upgrader only: two that read at the same time would wait for each other.
    const auto upgrades = [&] {
        for (int i = 0; i < rounds; ++i) {
            const ScopedReadReentrantRWLock guard(lock);
            shared.upgrade([&] { lock.writeLock(); });
            lock.writeUnlock();
        }
    };
    std::atomic<bool> done{false};
    std::thread describes([&] {
        while (!done) {
            EXPECT_EQ(text(lock).substr(0, 15), "ReentrantRWLock");
        }
    });
    run({reads, readsTwice, writes, writesTwice, upgrades});
    done = true;
    describes.join();
    EXPECT_EQ(shared.value(), 3 * rounds);
    EXPECT_EQ(text(lock), "ReentrantRWLock waiting writers 0");
    lock.writeLock();  // free: no thread's hold is left
    lock.writeUnlock();
}

}  // namespace
