#include <VDIFrameworkCommon/NamedMutex.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <cerrno>
#include <set>
#include <string>
#include <thread>
#include <type_traits>

#include "support/ExpectedRecords.h"
#include "support/Limits.h"
#include "support/RawObject.h"
#include "support/Sanitizers.h"
#include "support/Users.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::Mutex;
using VDIFrameworkCommon::NamedMutex;
using VDIFrameworkCommon::ScopedLock;

static_assert(std::is_base_of_v<Mutex, NamedMutex>);
static_assert(!std::is_polymorphic_v<NamedMutex>, "lock, unlock and release hide the base's, they override nothing");

const recording::ExpectedRecord record("SharedMemory", "src/Common/src/Macosx/NamedMutexMacosx.cpp");

std::string objectOf(const std::string& name) {
    return raw::logicalName("DEFVDI_", name + "_mutex");
}

// 0 if another thread could take the shared lock (and gave it back), EBUSY if it is held.
int tryElsewhere(NamedMutex& mutex) {
    int result = 0;
    std::thread([&] {
        result = pthread_mutex_trylock(mutex.getHandler());
        if (result == 0) {
            pthread_mutex_unlock(mutex.getHandler());
        }
    }).join();
    return result;
}

TEST(NamedMutex, HasNoHandleBeforeItIsCreated) {
    NamedMutex mutex;
    EXPECT_EQ(mutex.getHandler(), nullptr);
    EXPECT_FALSE(mutex.lock());
    mutex.unlock();
    mutex.release();
}

TEST(NamedMutex, CreateMakesAnObjectOfSixtyFourBytes) {
    NamedMutex mutex;
    ASSERT_TRUE(mutex.create("m"));
    EXPECT_NE(mutex.getHandler(), nullptr);
    const struct stat status = raw::status(objectOf("m"));
    EXPECT_EQ(status.st_size, 64);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_THAT(recording::takeRecords(), IsEmpty());
}

TEST(NamedMutex, TheObjectHoldsTheSystemsMutexAndNothingElse) {
    NamedMutex mutex;
    ASSERT_TRUE(mutex.create("m"));
    const auto bytes = raw::read(objectOf("m"));
    ASSERT_EQ(bytes.size(), 64U);
    for (std::size_t at = sizeof(pthread_mutex_t); at < bytes.size(); ++at) {
        EXPECT_EQ(bytes[at], 0) << "offset " << at;
    }
}

TEST(NamedMutex, LocksAndUnlocks) {
    NamedMutex mutex;
    ASSERT_TRUE(mutex.create("m"));
    EXPECT_EQ(tryElsewhere(mutex), 0);
    EXPECT_TRUE(mutex.lock());
    EXPECT_EQ(tryElsewhere(mutex), EBUSY);
    mutex.unlock();
    EXPECT_EQ(tryElsewhere(mutex), 0);
}

TEST(NamedMutex, IsNotRecursive) {
    NamedMutex mutex;
    ASSERT_TRUE(mutex.create("m"));
    ASSERT_TRUE(mutex.lock());
    EXPECT_EQ(pthread_mutex_trylock(mutex.getHandler()), EBUSY) << "its own thread is not let in again";
    mutex.unlock();
}

TEST(NamedMutex, TwoObjectsOfOneNameAreOneLock) {
    NamedMutex first;
    NamedMutex second;
    ASSERT_TRUE(first.create("m"));
    ASSERT_TRUE(second.create("m"));
    EXPECT_NE(first.getHandler(), second.getHandler());
    ASSERT_TRUE(first.lock());
    EXPECT_EQ(tryElsewhere(second), EBUSY);
    first.unlock();
    EXPECT_EQ(tryElsewhere(second), 0);
}

TEST(NamedMutex, SecondCreateReinitialisesAHeldLock) {
    NamedMutex holder;
    ASSERT_TRUE(holder.create("m"));
    ASSERT_TRUE(holder.lock());
    NamedMutex healer;
    ASSERT_TRUE(healer.create("m"));
    EXPECT_EQ(tryElsewhere(healer), 0);
}

TEST(NamedMutex, IsAnotherLockThanItsBase) {
    NamedMutex mutex;
    ASSERT_TRUE(mutex.create("m"));
    const ScopedLock lock(mutex);
    EXPECT_EQ(tryElsewhere(mutex), 0) << "a scoped lock takes the in-process lock only";
    ASSERT_TRUE(mutex.lock());
    mutex.unlock();
}

TEST(NamedMutex, KeepsItsDescriptorAndMapping) {
    const std::set<int> before = limits::openDescriptors();
    pthread_mutex_t* handle = nullptr;
    {
        NamedMutex mutex;
        ASSERT_TRUE(mutex.create("m"));
        handle = mutex.getHandler();
        mutex.release();
        EXPECT_TRUE(mutex.lock()) << "the attributes are gone, the lock is not";
        mutex.unlock();
    }
    EXPECT_EQ(limits::openDescriptors().size(), before.size() + 1);
    EXPECT_EQ(pthread_mutex_trylock(handle), 0);
    EXPECT_TRUE(raw::exists(objectOf("m")));
}

TEST(NamedMutex, OpensAnObjectOfAnotherSizeAsItIs) {
    const unsigned char zero = 0;
    raw::write(objectOf("m"), 0, &zero, 1, 4096);
    NamedMutex mutex;
    EXPECT_TRUE(mutex.create("m"));
    EXPECT_EQ(raw::status(objectOf("m")).st_size, 4096);
}

TEST(NamedMutex, ANullNameIsNone) {
    NamedMutex mutex;
    EXPECT_FALSE(mutex.create(nullptr));
    EXPECT_EQ(mutex.getHandler(), nullptr);
    EXPECT_THAT(recording::takeRecords(), IsEmpty());
}

// A creation that fails: the record, no handle, no descriptor lost, and the calls that follow do no harm.
template <typename Obstacle>
void expectFailure(const std::string& message) {
    {
        // Everything that is allocated on first use, by the library or by a sanitizer, is there by now.
        NamedMutex other;
        ASSERT_TRUE(other.create("other"));
        const limits::NoDescriptors none;
        ASSERT_FALSE(other.create("other"));
    }
    recording::takeRecords();
    NamedMutex mutex;
    const std::set<int> before = limits::openDescriptors();
    {
        const Obstacle obstacle;
        EXPECT_FALSE(mutex.create("m"));
    }
    EXPECT_EQ(limits::openDescriptors(), before);
    EXPECT_EQ(mutex.getHandler(), nullptr);
    EXPECT_FALSE(mutex.lock());
    mutex.unlock();
    EXPECT_THAT(recording::takeRecords(), ElementsAre(record(DPL_ERROR, "create", message + objectOf("m"))));
    EXPECT_TRUE(mutex.create("m")) << "and works once the obstacle is gone";
}

TEST(NamedMutex, OpeningFails) {
    expectFailure<limits::NoDescriptors>("Failure on shm_open for mutex, mutex name = ");
}

TEST(NamedMutex, SizingFails) {
    expectFailure<limits::NoFileSizes>("Error on ftruncate to sizeof pthread_mutex_t, mutex name = ");
}

TEST(NamedMutex, MappingFails) {
    if (sanitizers::address || sanitizers::thread) {
        GTEST_SKIP() << "the sanitizer itself has to map memory";
    }
    expectFailure<limits::NoMappings>("Error on mmap on mutex, mutex name = ");
}

TEST(NamedMutex, AFailedCreateForgetsTheFormerHandle) {
    NamedMutex mutex;
    ASSERT_TRUE(mutex.create("m"));
    {
        const limits::NoDescriptors obstacle;
        EXPECT_FALSE(mutex.create("other"));
    }
    EXPECT_EQ(mutex.getHandler(), nullptr);
}

TEST(NamedMutex, AnObjectWithoutPermissionIsNotOpened) {
    if (!users::canBeRefused()) {
        GTEST_SKIP() << users::noRefusal;
    }
    if (users::canChange()) {
        ASSERT_TRUE(users::become(users::nobody));
    }
    NamedMutex mutex;
    ASSERT_TRUE(mutex.create("m"));
    const int fd = shm_open(raw::systemName(objectOf("m")).c_str(), O_RDWR, 0);
    ASSERT_EQ(fchmod(fd, 0), 0);
    close(fd);
    EXPECT_FALSE(mutex.create("m"));
    EXPECT_THAT(
        recording::takeRecords(),
        ElementsAre(record(DPL_ERROR, "create", "Failure on shm_open for mutex, mutex name = " + objectOf("m"))));
}

}  // namespace
