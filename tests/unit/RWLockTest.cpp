#include <VDIFrameworkCommon/RWLock.h>
#include <gtest/gtest.h>

#include <ios>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "support/Background.h"

namespace {

using VDIFrameworkCommon::RWLock;
using VDIFrameworkCommon::ScopedReadRWLock;
using VDIFrameworkCommon::ScopedWriteRWLock;

static_assert(!std::is_copy_constructible_v<RWLock> && !std::is_move_constructible_v<RWLock>);
static_assert(!std::is_copy_constructible_v<ScopedReadRWLock> && !std::is_move_constructible_v<ScopedReadRWLock>);
static_assert(!std::is_copy_constructible_v<ScopedWriteRWLock> && !std::is_move_constructible_v<ScopedWriteRWLock>);

std::string text(const RWLock& lock) {
    std::ostringstream stream;
    stream << lock;
    return stream.str();
}

void waitFor(const RWLock& lock, const std::string& state) {
    waitUntil([&] { return text(lock) == state; });
}

std::unique_ptr<Background> reader(RWLock& lock) {
    return std::make_unique<Background>([&lock] { lock.readLock(); });
}

std::unique_ptr<Background> writer(RWLock& lock) {
    return std::make_unique<Background>([&lock] { lock.writeLock(); });
}

TEST(RWLock, IsFreeWhenMade) {
    const RWLock lock;
    EXPECT_EQ(text(lock), "rwlock 0, waiting writers 0");
}

TEST(RWLock, IsSharedByReaders) {
    RWLock lock;
    EXPECT_EQ(lock.readLock(), 0);
    EXPECT_EQ(lock.readLock(), 0);
    EXPECT_EQ(text(lock), "rwlock 2, waiting writers 0");
    EXPECT_EQ(lock.unlock(), 0);
    EXPECT_EQ(text(lock), "rwlock 1, waiting writers 0");
    EXPECT_EQ(lock.unlock(), 0);
    EXPECT_EQ(text(lock), "rwlock 0, waiting writers 0");
}

TEST(RWLock, IsHeldByOneWriter) {
    RWLock lock;
    EXPECT_EQ(lock.writeLock(), 0);
    EXPECT_EQ(text(lock), "rwlock -1, waiting writers 0");
    EXPECT_EQ(lock.unlock(), 0);
    EXPECT_EQ(text(lock), "rwlock 0, waiting writers 0");
}

TEST(RWLock, ReaderWaitsForTheWriterThatHoldsIt) {
    RWLock lock;
    lock.writeLock();
    const auto blocked = reader(lock);
    blocked->waitUntilAsleep();
    EXPECT_EQ(text(lock), "rwlock -1, waiting writers 0");
    lock.unlock();
    blocked->join();
    EXPECT_EQ(text(lock), "rwlock 1, waiting writers 0");
}

TEST(RWLock, WriterWaitsForTheWriterThatHoldsIt) {
    RWLock lock;
    lock.writeLock();
    const auto blocked = writer(lock);
    waitFor(lock, "rwlock -1, waiting writers 1");
    lock.unlock();
    blocked->join();
    EXPECT_EQ(text(lock), "rwlock -1, waiting writers 0");
}

TEST(RWLock, ReaderDoesNotOvertakeAWaitingWriter) {
    RWLock lock;
    lock.readLock();
    lock.readLock();
    const auto writing = writer(lock);
    waitFor(lock, "rwlock 2, waiting writers 1");
    const auto reading = reader(lock);
    reading->waitUntilAsleep();
    EXPECT_EQ(text(lock), "rwlock 2, waiting writers 1");

    lock.unlock();
    writing->waitUntilAsleep();
    reading->waitUntilAsleep();
    EXPECT_EQ(text(lock), "rwlock 1, waiting writers 1") << "the first of the two readers wakes nobody";

    lock.unlock();
    writing->join();
    reading->waitUntilAsleep();
    EXPECT_EQ(text(lock), "rwlock -1, waiting writers 0") << "the second wakes the writer alone";

    lock.unlock();
    reading->join();
    EXPECT_EQ(text(lock), "rwlock 1, waiting writers 0");
}

TEST(RWLock, WriterWakesAllReadersWhenNoWriterWaits) {
    RWLock lock;
    lock.writeLock();
    std::vector<std::unique_ptr<Background>> readers;
    for (int i = 0; i < 3; ++i) {
        readers.push_back(reader(lock));
        readers.back()->waitUntilAsleep();
    }
    lock.unlock();
    waitFor(lock, "rwlock 3, waiting writers 0");
}

TEST(RWLock, WriterWakesOneWriterWhenWritersWait) {
    RWLock lock;
    lock.writeLock();
    const auto reading = reader(lock);
    reading->waitUntilAsleep();
    const auto first = writer(lock);
    const auto second = writer(lock);
    waitFor(lock, "rwlock -1, waiting writers 2");

    lock.unlock();
    waitFor(lock, "rwlock -1, waiting writers 1");
    EXPECT_FALSE(reading->ended());
    lock.unlock();
    waitFor(lock, "rwlock -1, waiting writers 0");
    first->join();
    second->join();
    reading->waitUntilAsleep();
    EXPECT_FALSE(reading->ended()) << "came first, and still comes after every writer that waits";

    lock.unlock();
    reading->join();
    EXPECT_EQ(text(lock), "rwlock 1, waiting writers 0");
}

TEST(RWLock, UnlockByNobodyCountsDownLikeAReader) {
    RWLock lock;
    EXPECT_EQ(lock.unlock(), 0);
    EXPECT_EQ(text(lock), "rwlock -1, waiting writers 0");
    lock.unlock();
    EXPECT_EQ(text(lock), "rwlock 0, waiting writers 0");
}

TEST(RWLock, MayBeGivenBackByAnotherThread) {
    RWLock lock;
    lock.writeLock();
    Background([&] { lock.unlock(); }).join();
    EXPECT_EQ(text(lock), "rwlock 0, waiting writers 0");
}

TEST(RWLock, IsDescribedInDecimalWhateverTheStreamsFormat) {
    RWLock lock;
    for (int i = 0; i < 17; ++i) {
        lock.readLock();
    }
    std::ostringstream stream;
    stream << std::hex << std::showbase << std::showpos << lock << '.';
    EXPECT_EQ(stream.str(), "rwlock 17, waiting writers 0.");
}

TEST(ScopedReadRWLock, HoldsTheLockForReading) {
    RWLock lock;
    {
        const ScopedReadRWLock guard(lock);
        const ScopedReadRWLock other(lock);
        EXPECT_EQ(text(lock), "rwlock 2, waiting writers 0");
    }
    EXPECT_EQ(text(lock), "rwlock 0, waiting writers 0");
}

TEST(ScopedWriteRWLock, HoldsTheLockForWriting) {
    RWLock lock;
    {
        const ScopedWriteRWLock guard(lock);
        EXPECT_EQ(text(lock), "rwlock -1, waiting writers 0");
    }
    EXPECT_EQ(text(lock), "rwlock 0, waiting writers 0");
}

}  // namespace
