#include <VDIFrameworkCommon/ReentrantRWLock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <ios>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "support/Background.h"
#include "support/Gate.h"

namespace {

using VDIFrameworkCommon::ReentrantRWLock;
using VDIFrameworkCommon::ScopedReadReentrantRWLock;
using VDIFrameworkCommon::ScopedWriteReentrantRWLock;

static_assert(!std::is_copy_constructible_v<ReentrantRWLock> && !std::is_move_constructible_v<ReentrantRWLock>);
static_assert(!std::is_copy_constructible_v<ScopedReadReentrantRWLock>);
static_assert(!std::is_copy_constructible_v<ScopedWriteReentrantRWLock>);

std::string text(const ReentrantRWLock& lock) {
    std::ostringstream stream;
    stream << lock;
    return stream.str();
}

void waitForWriters(const ReentrantRWLock& lock, int count) {
    const std::string expected = "ReentrantRWLock waiting writers " + std::to_string(count);
    waitUntil([&] { return text(lock) == expected; });
}

// Another thread that takes the lock and gives it back.
class Other : public Background {
public:
    static void read(ReentrantRWLock& lock) {
        lock.readLock();
        lock.readUnlock();
    }
    static void write(ReentrantRWLock& lock) {
        lock.writeLock();
        lock.writeUnlock();
    }

    Other(ReentrantRWLock& lock, void (*action)(ReentrantRWLock&)) : Background([&lock, action] { action(lock); }) {}
};

void expectFree(ReentrantRWLock& lock) {
    Other(lock, Other::write).join();
    EXPECT_EQ(text(lock), "ReentrantRWLock waiting writers 0");
}

TEST(ReentrantRWLock, IsFreeWhenMade) {
    ReentrantRWLock lock;
    EXPECT_EQ(text(lock), "ReentrantRWLock waiting writers 0");
    expectFree(lock);
}

TEST(ReentrantRWLock, IsSharedByReaders) {
    ReentrantRWLock lock;
    EXPECT_EQ(lock.readLock(), 0);
    Other(lock, Other::read).join();
    EXPECT_EQ(lock.readUnlock(), 0);
    expectFree(lock);
}

TEST(ReentrantRWLock, IsHeldByOneWriter) {
    ReentrantRWLock lock;
    EXPECT_EQ(lock.writeLock(), 0);
    Other reading(lock, Other::read);
    reading.waitUntilAsleep();
    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    EXPECT_FALSE(reading.ended());
    EXPECT_FALSE(writing.ended());
    EXPECT_EQ(lock.writeUnlock(), 0);
    writing.join();
    reading.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, SoleReaderUpgradesAndCountsItsHolds) {
    ReentrantRWLock lock;
    EXPECT_EQ(lock.readLock(), 0);
    EXPECT_EQ(lock.readLock(), 0);
    EXPECT_EQ(lock.writeLock(), 0);
    EXPECT_EQ(lock.writeLock(), 0);

    Other reading(lock, Other::read);
    reading.waitUntilAsleep();
    EXPECT_EQ(lock.writeUnlock(), 0);
    reading.waitUntilAsleep();
    EXPECT_FALSE(reading.ended()) << "one write hold is left";
    EXPECT_EQ(lock.writeUnlock(), 0);
    reading.join();

    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    EXPECT_EQ(lock.readUnlock(), 0);
    writing.waitUntilAsleep();
    EXPECT_FALSE(writing.ended()) << "one read hold is left";
    EXPECT_EQ(lock.readUnlock(), 0);
    writing.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, WriterReadsToo) {
    ReentrantRWLock lock;
    lock.writeLock();
    EXPECT_EQ(lock.readLock(), 0);
    EXPECT_EQ(lock.writeUnlock(), 0);
    Other(lock, Other::read).join();
    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    EXPECT_FALSE(writing.ended()) << "the read hold outlives the write hold";
    lock.readUnlock();
    writing.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, WriterThatGivesItsReadHoldBackFirstKeepsWriting) {
    ReentrantRWLock lock;
    lock.writeLock();
    lock.readLock();
    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    EXPECT_EQ(lock.readUnlock(), 0);
    writing.waitUntilAsleep();
    EXPECT_FALSE(writing.ended());
    lock.writeUnlock();
    writing.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, UpgradeWaitsForTheOtherReader) {
    ReentrantRWLock lock;
    lock.readLock();
    Background upgrading([&] {
        lock.readLock();
        lock.writeLock();
        lock.writeUnlock();
        lock.readUnlock();
    });
    waitForWriters(lock, 1);
    upgrading.waitUntilAsleep();
    EXPECT_FALSE(upgrading.ended());
    lock.readUnlock();
    upgrading.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, WriterWaitsForEveryReader) {
    ReentrantRWLock lock;
    lock.readLock();
    Gate second;
    Gate third;
    std::atomic<int> reading{0};
    const auto readUntil = [&](Gate& gate) {
        lock.readLock();
        ++reading;
        gate.wait();
        lock.readUnlock();
    };
    Background secondReader([&] { readUntil(second); });
    Background thirdReader([&] { readUntil(third); });
    waitUntil([&] { return reading == 2; });
    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    EXPECT_EQ(lock.readUnlock(), 0) << "two readers are left";
    second.open();
    secondReader.join();
    writing.waitUntilAsleep();
    waitForWriters(lock, 1);
    EXPECT_FALSE(writing.ended()) << "one reader is left";
    third.open();
    writing.join();
    thirdReader.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, UpgradeIsWokenThoughAWriterWaitsBeforeIt) {
    ReentrantRWLock lock;
    lock.readLock();
    std::atomic<bool> reads{false};
    std::atomic<bool> upgrade{false};
    Background upgrading([&] {
        lock.readLock();
        reads = true;
        waitUntil([&] { return upgrade.load(); });
        lock.writeLock();
        lock.writeUnlock();
        lock.readUnlock();
    });
    waitUntil([&] { return reads.load(); });
    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    upgrade = true;
    waitForWriters(lock, 2);
    lock.readUnlock();
    upgrading.join();
    writing.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, NewReaderDoesNotOvertakeAWaitingWriter) {
    ReentrantRWLock lock;
    lock.readLock();
    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    Other reading(lock, Other::read);
    reading.waitUntilAsleep();
    EXPECT_FALSE(reading.ended());
    lock.readUnlock();
    writing.join();
    reading.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, ReaderReadsAgainThoughAWriterWaits) {
    ReentrantRWLock lock;
    lock.readLock();
    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    EXPECT_EQ(lock.readLock(), 0);
    lock.readUnlock();
    EXPECT_FALSE(writing.ended());
    lock.readUnlock();
    writing.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, WriterWakesAllReadersWhenNoWriterWaits) {
    ReentrantRWLock lock;
    lock.writeLock();
    Other first(lock, Other::read);
    first.waitUntilAsleep();
    Other second(lock, Other::read);
    second.waitUntilAsleep();
    lock.writeUnlock();
    first.join();
    second.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, WriterWakesTheNextWriterBeforeReaders) {
    ReentrantRWLock lock;
    lock.writeLock();
    Other reading(lock, Other::read);
    reading.waitUntilAsleep();
    std::atomic<bool> done{false};
    Background writing([&] {
        lock.writeLock();
        waitUntil([&] { return done.load(); });
        lock.writeUnlock();
    });
    waitForWriters(lock, 1);
    lock.writeUnlock();
    waitForWriters(lock, 0);
    reading.waitUntilAsleep();
    EXPECT_FALSE(reading.ended());
    done = true;
    reading.join();
    writing.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, DowngradedWriterLeavesTheWakingToItsReadUnlock) {
    ReentrantRWLock lock;
    lock.readLock();
    lock.writeLock();
    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    EXPECT_EQ(lock.writeUnlock(), 0);
    writing.waitUntilAsleep();
    EXPECT_FALSE(writing.ended());
    EXPECT_EQ(lock.readUnlock(), 0);
    writing.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, ReadUnlockWithoutAHoldChangesNothing) {
    ReentrantRWLock lock;
    EXPECT_EQ(lock.readUnlock(), 0);
    lock.readLock();
    Background([&] { EXPECT_EQ(lock.readUnlock(), 0); }).join();
    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    Background([&] { EXPECT_EQ(lock.readUnlock(), 0); }).join();
    writing.waitUntilAsleep();
    EXPECT_FALSE(writing.ended()) << "this thread still reads";
    lock.readUnlock();
    writing.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, WriteUnlockWithoutAHoldChangesNothing) {
    ReentrantRWLock lock;
    EXPECT_EQ(lock.writeUnlock(), 0);
    lock.writeLock();
    Background([&] { EXPECT_EQ(lock.writeUnlock(), 0); }).join();
    Other reading(lock, Other::read);
    reading.waitUntilAsleep();
    EXPECT_FALSE(reading.ended()) << "this thread still writes";
    lock.writeUnlock();
    reading.join();
    expectFree(lock);
}

TEST(ReentrantRWLock, CountsTheHoldsOfEachThread) {
    ReentrantRWLock lock;
    constexpr int threads = 12;
    std::atomic<int> holding{0};
    std::atomic<bool> done{false};
    std::vector<std::unique_ptr<Background>> readers;
    for (int i = 0; i < threads; ++i) {
        readers.push_back(std::make_unique<Background>([&, i] {
            for (int hold = 0; hold <= i; ++hold) {
                lock.readLock();
            }
            ++holding;
            waitUntil([&] { return done.load(); });
            for (int hold = 0; hold < i; ++hold) {
                lock.readUnlock();
            }
            --holding;
            lock.readUnlock();
        }));
    }
    waitUntil([&] { return holding == threads; });
    Other writing(lock, Other::write);
    waitForWriters(lock, 1);
    EXPECT_FALSE(writing.ended());
    done = true;
    writing.join();
    EXPECT_EQ(holding, 0);
    readers.clear();
    expectFree(lock);
}

TEST(ReentrantRWLock, IsDescribedInDecimalWhateverTheStreamsFormat) {
    ReentrantRWLock lock;
    std::ostringstream stream;
    stream << std::hex << std::showbase << std::showpos << lock << '.';
    EXPECT_EQ(stream.str(), "ReentrantRWLock waiting writers 0.");
}

TEST(ScopedReadReentrantRWLock, HoldsTheLockForReading) {
    ReentrantRWLock lock;
    {
        const ScopedReadReentrantRWLock guard(lock);
        Other(lock, Other::read).join();
        Other writing(lock, Other::write);
        waitForWriters(lock, 1);
        lock.readUnlock();
        writing.join();
        lock.readLock();
    }
    expectFree(lock);
}

TEST(ScopedWriteReentrantRWLock, HoldsTheLockForWriting) {
    ReentrantRWLock lock;
    {
        const ScopedWriteReentrantRWLock guard(lock);
        Other reading(lock, Other::read);
        reading.waitUntilAsleep();
        EXPECT_FALSE(reading.ended());
        lock.writeUnlock();
        reading.join();
        lock.writeLock();
    }
    expectFree(lock);
}

}  // namespace
