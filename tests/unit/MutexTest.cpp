#include <VDIFrameworkCommon/Mutex.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <thread>
#include <type_traits>

namespace {

using VDIFrameworkCommon::Mutex;
using VDIFrameworkCommon::ScopedLock;

static_assert(!std::is_copy_constructible_v<Mutex> && !std::is_move_constructible_v<Mutex>);
static_assert(!std::is_copy_constructible_v<ScopedLock> && !std::is_move_constructible_v<ScopedLock>);

// The result of an unlock attempt of another thread: 0 if that thread could take the lock, EPERM if it is held.
int unlockElsewhere(Mutex& mutex) {
    int result = 0;
    std::thread([&] { result = mutex.unlock(); }).join();
    return result;
}

TEST(Mutex, IsRecursive) {
    Mutex mutex;
    EXPECT_EQ(mutex.lock(), 0);
    EXPECT_EQ(mutex.lock(), 0);
    EXPECT_EQ(mutex.unlock(), 0);
    EXPECT_EQ(mutex.unlock(), 0);
    EXPECT_EQ(mutex.unlock(), EPERM);
}

TEST(Mutex, OnlyItsHolderUnlocksIt) {
    Mutex mutex;
    ASSERT_EQ(mutex.lock(), 0);
    EXPECT_EQ(unlockElsewhere(mutex), EPERM);
    EXPECT_EQ(mutex.unlock(), 0);
}

TEST(Mutex, ExcludesOtherThreads) {
    Mutex mutex;
    long counter = 0;
    const auto count = [&] {
        for (int i = 0; i < 20000; ++i) {
            const ScopedLock lock(mutex);
            ++counter;
        }
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(counter, 40000);
}

TEST(Mutex, LockingADestroyedOneReturnsOne) {
    alignas(Mutex) unsigned char storage[sizeof(Mutex)];
    auto* const mutex = new (storage) Mutex;
    mutex->~Mutex();
    EXPECT_EQ(mutex->lock(), 1);
    EXPECT_EQ(mutex->unlock(), 1);
}

TEST(ScopedLock, HoldsTheMutexUntilItsEnd) {
    Mutex mutex;
    {
        const ScopedLock lock(mutex);
        EXPECT_EQ(unlockElsewhere(mutex), EPERM);
        EXPECT_EQ(mutex.unlock(), 0);
        EXPECT_EQ(mutex.lock(), 0);
    }
    EXPECT_EQ(mutex.unlock(), EPERM) << "the guard gave it back";
}

TEST(ScopedLock, UnlocksOnceOnly) {
    Mutex mutex;
    {
        ScopedLock lock(mutex);
        EXPECT_EQ(lock.unlock(), 0);
        EXPECT_EQ(mutex.unlock(), EPERM);
        EXPECT_EQ(lock.unlock(), 0) << "released before: a harmless no-op";
        mutex.lock();
    }
    EXPECT_EQ(mutex.unlock(), 0) << "the destructor of a released guard unlocks nothing";
}

TEST(ScopedLock, PassesOnTheResultOfTheUnlock) {
    Mutex mutex;
    ScopedLock lock(mutex);
    mutex.unlock();
    EXPECT_EQ(lock.unlock(), EPERM);
    EXPECT_EQ(lock.unlock(), 0);
}

}  // namespace
