// What an operation asks of the system: this program's own pthread calls stand in front of the C library's and count,
// for each thread, how often it takes a lock and wakes others.

#include <VDIFrameworkCommon/Event.h>
#include <VDIFrameworkCommon/RWLock.h>
#include <VDIFrameworkCommon/ReentrantRWLock.h>
#include <VDIFrameworkCommon/ThreadPool.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <ostream>
#include <sstream>
#include <string>

#include "support/Background.h"
#include "support/PoolTasks.h"
#include "support/SystemCall.h"
#include "support/Threads.h"

namespace {

using VDIFrameworkCommon::Event;
using VDIFrameworkCommon::ReentrantRWLock;
using VDIFrameworkCommon::RWLock;
using VDIFrameworkCommon::ThreadPool;

struct Counts {
    int locks = 0;
    int ofOne = 0;  // wake-ups
    int ofAll = 0;
};

thread_local Counts counts;

constinit SystemCall<int(pthread_mutex_t*)> lockMutex("pthread_mutex_lock");
constinit SystemCall<int(pthread_cond_t*)> signalCondition("pthread_cond_signal");
constinit SystemCall<int(pthread_cond_t*)> broadcastCondition("pthread_cond_broadcast");

}  // namespace

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) {
    ++counts.locks;
    return lockMutex.get()(mutex);
}

int pthread_cond_signal(pthread_cond_t* condition) {
    ++counts.ofOne;
    return signalCondition.get()(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) {
    ++counts.ofAll;
    return broadcastCondition.get()(condition);
}

}  // extern "C"

namespace {

struct Wakes {
    int ofOne;
    int ofAll;
    friend bool operator==(const Wakes& a, const Wakes& b) { return a.ofOne == b.ofOne && a.ofAll == b.ofAll; }
    friend std::ostream& operator<<(std::ostream& stream, const Wakes& wakes) {
        return stream << wakes.ofOne << " of one, " << wakes.ofAll << " of all";
    }
};

constexpr Wakes nobody{0, 0};
constexpr Wakes one{1, 0};
constexpr Wakes all{0, 1};

Wakes wakesOf(const std::function<void()>& operation) {
    counts = {};
    operation();
    return {counts.ofOne, counts.ofAll};
}

template <typename Lock>
std::string text(const Lock& lock) {
    std::ostringstream stream;
    stream << lock;
    return stream.str();
}

template <typename Lock>
void waitForWriter(const Lock& lock) {
    waitUntil([&] { return text(lock).find("waiting writers 1") != std::string::npos; });
}

TEST(WakeCount, OfATaskForAWaitingThread) {
    constexpr unsigned anHour = 3600;
    ThreadPool pool(1, 1, "Idle", anHour);
    for (int i = 0; i < 3; ++i) {
        pooltasks::Blocker blocker;
        blocker.open();
        const auto task = blocker.task();
        threads::waitForNamed("Idle", 1);
        waitUntil([] { return threads::isAsleep(threads::idOf("Idle")); });
        counts = {};
        pool.enqueue(task, false, false);
        const Counts cost = counts;
        EXPECT_EQ(cost.locks, 1);
        EXPECT_EQ(cost.ofOne, 1);
        EXPECT_EQ(cost.ofAll, 0);
        blocker.waitForEnded(1);
    }
}

TEST(WakeCount, OfAnEventThatIsSet) {
    Event autoReset(true);
    EXPECT_EQ(wakesOf([&] { autoReset.set(); }), one);
    EXPECT_EQ(wakesOf([&] { autoReset.set(); }), nobody) << "it was set already";
    autoReset.wait();
    EXPECT_EQ(wakesOf([&] { autoReset.set(); }), one);
    Event manualReset(false);
    EXPECT_EQ(wakesOf([&] { manualReset.set(); }), all);
    EXPECT_EQ(wakesOf([&] { manualReset.set(); }), nobody);
    manualReset.reset();
    EXPECT_EQ(wakesOf([&] { manualReset.set(); }), all);
}

TEST(WakeCount, OfAReleaseOfTheLock) {
    RWLock lock;
    lock.readLock();
    EXPECT_EQ(wakesOf([&] { lock.unlock(); }), nobody) << "nobody waits";
    lock.readLock();
    lock.readLock();
    Background writer([&] {
        lock.writeLock();
        lock.unlock();
    });
    waitForWriter(lock);
    writer.waitUntilAsleep();
    Background reader([&] {
        lock.readLock();
        lock.unlock();
    });
    reader.waitUntilAsleep();
    EXPECT_EQ(wakesOf([&] { lock.unlock(); }), nobody) << "another reader holds it";
    EXPECT_EQ(wakesOf([&] { lock.unlock(); }), one) << "a writer comes before the readers";
    writer.join();
    reader.join();
    lock.writeLock();
    Background late([&] {
        lock.readLock();
        lock.unlock();
    });
    late.waitUntilAsleep();
    EXPECT_EQ(wakesOf([&] { lock.unlock(); }), all) << "only readers wait";
}

TEST(WakeCount, OfAReleaseOfTheReentrantLock) {
    ReentrantRWLock lock;
    lock.readLock();
    EXPECT_EQ(wakesOf([&] { lock.readUnlock(); }), nobody) << "a read release never wakes readers";
    lock.writeLock();
    lock.writeLock();
    EXPECT_EQ(wakesOf([&] { lock.writeUnlock(); }), nobody) << "one write hold is left";
    Background reader([&] {
        lock.readLock();
        lock.readUnlock();
    });
    reader.waitUntilAsleep();
    EXPECT_EQ(wakesOf([&] { lock.writeUnlock(); }), all) << "no writer waits";
    reader.join();

    lock.readLock();
    lock.readLock();
    Background writer([&] {
        lock.writeLock();
        lock.writeUnlock();
    });
    waitForWriter(lock);
    EXPECT_EQ(wakesOf([&] { lock.readUnlock(); }), nobody) << "one read hold is left";
    EXPECT_EQ(wakesOf([&] { lock.readUnlock(); }), one);
    writer.join();

    lock.writeLock();
    Background next([&] {
        lock.writeLock();
        lock.writeUnlock();
    });
    waitForWriter(lock);
    EXPECT_EQ(wakesOf([&] { lock.writeUnlock(); }), one);
}

}  // namespace
