#include <VDIFrameworkCommon/ThreadPool.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "support/Background.h"
#include "support/Multiprocess.h"
#include "support/PoolTasks.h"
#include "support/Threads.h"
#include "support/Users.h"

namespace {

using multiprocess::Child;
using multiprocess::step;
using pooltasks::Blocker;
using pooltasks::make;
using VDIFrameworkCommon::poolThreadMain;
using VDIFrameworkCommon::PoolWorker;
using VDIFrameworkCommon::Runnable;
using VDIFrameworkCommon::Task;
using VDIFrameworkCommon::ThreadPool;

constexpr unsigned anHour = 3600;
constexpr long anHourMs = 3'600'000;

// A worker with queues of its own that tells when it is deleted.
class WatchedWorker : public PoolWorker {
public:
    using Queue = std::shared_ptr<std::deque<std::shared_ptr<Task>>>;

    WatchedWorker(ThreadPool* pool, const Queue& queue, const std::shared_ptr<std::mutex>& mutex,
                  std::atomic<int>& deleted)
        : PoolWorker(pool, queue, std::make_shared<std::deque<std::shared_ptr<Task>>>(), mutex, anHourMs, "Watched"),
          deleted_(deleted) {}
    ~WatchedWorker() override { ++deleted_; }
    WatchedWorker(const WatchedWorker&) = delete;
    WatchedWorker& operator=(const WatchedWorker&) = delete;

private:
    std::atomic<int>& deleted_;
};

class PoolWorkerLife : public testing::Test {
protected:
    void push(std::shared_ptr<Task> task) {
        const std::lock_guard lock(*mutex);
        queue->push_back(std::move(task));
    }

    // Lends the worker its limits only; it has no thread and no task of its own.
    ThreadPool limits{0, 2, anHour};
    WatchedWorker::Queue queue = std::make_shared<std::deque<std::shared_ptr<Task>>>();
    std::shared_ptr<std::mutex> mutex = std::make_shared<std::mutex>();
    std::atomic<int> deleted{0};
    PoolWorker* worker = new WatchedWorker(&limits, queue, mutex, deleted);
};

TEST_F(PoolWorkerLife, ShutdownWithoutThreadsDeletesTheWorkerAtOnce) {
    worker->shutdown();
    EXPECT_EQ(deleted, 1);
}

TEST_F(PoolWorkerLife, ShutdownDropsTheWaitingTasks) {
    push(make([] {}));
    worker->shutdown();
    EXPECT_TRUE(queue->empty());
}

TEST_F(PoolWorkerLife, TheLastThreadToLeaveDeletesTheWorker) {
    Blocker first;
    Blocker second;
    push(first.task());
    worker->addThread();
    first.waitForBegun(1);
    push(second.task());
    worker->addThread();
    second.waitForBegun(1);
    worker->shutdown();
    EXPECT_EQ(deleted, 0);
    first.open();
    waitUntil([] { return threads::countNamed("blocker") == 1 && threads::countNamed("Watched") == 0; });
    EXPECT_EQ(deleted, 0);
    second.open();
    waitUntil([&] { return deleted == 1; });
}

TEST_F(PoolWorkerLife, IdleThreadsLeaveAtShutdown) {
    worker->addThread();
    worker->addThread();
    threads::waitForNamed("Watched", 2);
    worker->shutdown();
    waitUntil([&] { return deleted == 1; });
    threads::waitForNamed("Watched", 0);
}

TEST_F(PoolWorkerLife, StartsNoThreadBeyondTheMaximum) {
    const auto before = threads::count();
    for (int i = 0; i < 4; ++i) {
        worker->addThread();
    }
    EXPECT_EQ(threads::count(), before + 2);
    worker->shutdown();
    waitUntil([&] { return deleted == 1; });
}

TEST_F(PoolWorkerLife, HasCapacityWhileAThreadRunsNoTask) {
    EXPECT_FALSE(worker->hasCapacity()) << "no thread at all";
    Blocker blocker;
    push(blocker.task());
    worker->addThread();
    blocker.waitForBegun(1);
    EXPECT_FALSE(worker->hasCapacity());
    worker->addThread();
    EXPECT_TRUE(worker->hasCapacity());
    blocker.open();
    worker->shutdown();
    waitUntil([&] { return deleted == 1; });
}

TEST_F(PoolWorkerLife, WakeUpThreadLetsAWaitingThreadLook) {
    worker->addThread();
    threads::waitForNamed("Watched", 1);
    Blocker blocker;
    push(blocker.task());
    worker->wakeUpThread();
    // A thread that was not yet waiting finds the task by itself.
    blocker.waitForBegun(1);
    blocker.open();
    worker->shutdown();
    waitUntil([&] { return deleted == 1; });
}

TEST(PoolWorker, ShutdownOfOneThatHasNoPoolDoesNothing) {
    const auto queue = std::make_shared<std::deque<std::shared_ptr<Task>>>(1, make([] {}));
    std::atomic<int> deleted{0};
    {
        WatchedWorker worker(nullptr, queue, std::make_shared<std::mutex>(), deleted);
        worker.shutdown();
        EXPECT_EQ(deleted, 0);
        EXPECT_EQ(queue->size(), 1U);
        const auto before = threads::count();
        worker.addThread();
        EXPECT_EQ(threads::count(), before);
    }
}

TEST(PoolWorker, RunsWhatItIsGivenOnADetachedThread) {
    struct Probe : Runnable {
        Blocker blocker;
        void run() override { blocker.function()(); }
    } probe;
    PoolWorker worker(nullptr, nullptr, nullptr, nullptr, 0, "");
    const auto before = threads::count();
    EXPECT_EQ(worker.createThread(&probe), 0);
    probe.blocker.waitForBegun(1);
    EXPECT_EQ(threads::count(), before + 1);
    probe.blocker.open();
    waitUntil([&] { return threads::count() == before; });
    EXPECT_EQ(poolThreadMain(static_cast<Runnable*>(&probe)), nullptr);
    EXPECT_EQ(probe.blocker.ended(), 2);
}

// From here on the system refuses this process every new thread. The superuser cannot be refused, so it steps down.
void refuseThreads() {
    if (geteuid() == 0 && setresuid(users::nobody, users::nobody, users::nobody) != 0) {
        std::perror("setresuid");
    }
    prctl(PR_SET_DUMPABLE, 1);  // /proc/self stays readable
    rlimit limit{};
    getrlimit(RLIMIT_NPROC, &limit);
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_NPROC, &limit);
}

void allowThreads() {
    rlimit limit{};
    getrlimit(RLIMIT_NPROC, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NPROC, &limit);
}

CHILD_MAIN(countsThreadsThatAreNone) {
    ThreadPool pool(0, 2, anHour);
    const auto before = threads::count();
    refuseThreads();
    Blocker blocker;
    pool.enqueue(blocker.task(), false, false);
    step(threads::count() == before ? "refused" : "started");
    allowThreads();
    // One thread is counted and none is busy: the pool only calls it, and nobody comes.
    pool.enqueue(blocker.task(), false, false);
    step(threads::count() == before ? "none" : "started");
    step(std::to_string(pool.queueSize()));
}

// A worker that counts threads that do not exist is never deleted: the leak is what the two tests below are about.
const multiprocess::Variables withoutLeakCheck{{"ASAN_OPTIONS", "detect_leaks=0"}};

TEST(ThreadPool, CountsAThreadThatCouldNotBeCreated) {
    if (!users::canBeRefused()) {
        GTEST_SKIP() << users::noRefusal;
    }
    Child child("countsThreadsThatAreNone", {}, withoutLeakCheck);
    child.waitFor("refused");
    child.waitFor("none");
    child.waitFor("2");
    EXPECT_EQ(child.join(), 0);
}

CHILD_MAIN(decidesWhoStays) {
    ThreadPool pool(1, 3, anHour);
    refuseThreads();
    // Counted, but there are none: the counts are this test's alone.
    PoolWorker& worker = *new PoolWorker(&pool, std::make_shared<std::deque<std::shared_ptr<Task>>>(),
                                         std::make_shared<std::deque<std::shared_ptr<Task>>>(),
                                         std::make_shared<std::mutex>(), anHourMs, "");
    Runnable& runnable = worker;
    step(worker.createThread(&runnable) == EAGAIN ? "EAGAIN" : "created");
    worker.addThread();
    worker.addThread();
    const auto tell = [&](bool timedOut) {
        bool lastThread = false;
        const bool stays = worker.stayAlive(timedOut, lastThread);
        step(std::string(stays ? "stays" : "goes") + (timedOut ? " timed-out" : "") + (lastThread ? " last" : ""));
    };
    tell(false);  // two threads, minimum one
    tell(true);
    tell(true);  // one thread: the minimum stays
    worker.addThread();
    worker.shutdown();
    tell(false);
    tell(true);
}

TEST(PoolWorker, StayAliveRetiresTimedOutThreadsAboveTheMinimumAndAllAfterShutdown) {
    if (!users::canBeRefused()) {
        GTEST_SKIP() << users::noRefusal;
    }
    Child child("decidesWhoStays", {}, withoutLeakCheck);
    child.waitFor("EAGAIN");
    child.waitFor("stays");
    child.waitFor("goes timed-out");
    child.waitFor("stays");
    child.waitFor("goes");
    child.waitFor("goes timed-out last");
    EXPECT_EQ(child.join(), 0);
}

TEST(ThreadPool, DestructionReturnsWhileATaskRunsAndDropsTheOthers) {
    Blocker running;
    std::atomic<bool> ran{false};
    std::weak_ptr<Task> dropped;
    {
        ThreadPool pool(1, 1, "Left", anHour);
        pool.enqueue(running.task(), false, false);
        running.waitForBegun(1);
        auto task = make([&] { ran = true; });
        dropped = task;
        pool.enqueue(std::move(task), false, true);
    }
    EXPECT_EQ(running.ended(), 0);
    EXPECT_TRUE(dropped.expired());
    const auto withThread = threads::count();
    running.open();
    waitUntil([&] { return threads::count() == withThread - 1; });
    EXPECT_EQ(running.ended(), 1);
    EXPECT_FALSE(ran);
}

TEST(ThreadPool, ATaskMayDestroyItsPool) {
    const auto before = threads::count();
    auto* const pool = new ThreadPool(2, 2, "SelfEnding", anHour);
    Blocker enqueued;
    std::atomic<bool> ended{false};
    pool->enqueue(make([&] {
                      enqueued.function()();
                      delete pool;
                      ended = true;
                  }),
                  false, false);
    enqueued.open();
    waitUntil([&] { return ended.load(); });
    waitUntil([&] { return threads::count() == before; });
}

// Threads that are about to sleep when the pool goes must not miss it: they would stay for an hour.
TEST(ThreadPool, NoThreadMissesTheEndOfItsPool) {
    const auto before = threads::count();
    for (int i = 0; i < 1500; ++i) {
        ThreadPool pool(2, 2, "Brief", anHour);
        if (i % 2 == 0) {
            pool.enqueue(make([] {}), true, false);
        }
    }
    waitUntil([&] { return threads::count() == before; });
}

}  // namespace
