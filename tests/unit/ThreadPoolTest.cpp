#include <VDIFrameworkCommon/ThreadPool.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include "support/Background.h"
#include "support/Multiprocess.h"
#include "support/PoolTasks.h"
#include "support/Threads.h"

namespace {

using multiprocess::Child;
using multiprocess::step;
using pooltasks::Blocker;
using pooltasks::make;
using VDIFrameworkCommon::BlockingTask;
using VDIFrameworkCommon::FunctionTask;
using VDIFrameworkCommon::PoolWorker;
using VDIFrameworkCommon::Runnable;
using VDIFrameworkCommon::Task;
using VDIFrameworkCommon::ThreadPool;

static_assert(std::is_abstract_v<Task> && std::is_abstract_v<Runnable>);
static_assert(std::is_base_of_v<Runnable, PoolWorker> && std::is_base_of_v<Task, BlockingTask>);
static_assert(!std::is_polymorphic_v<ThreadPool> && !std::is_copy_constructible_v<ThreadPool>);

constexpr unsigned anHour = 3600;

// Collects words in the order in which they come.
class Journal {
public:
    std::shared_ptr<Task> writes(const std::string& word) {
        return make([this, word] {
            const std::lock_guard lock(mutex_);
            words_.push_back(word);
        });
    }
    std::vector<std::string> words() {
        const std::lock_guard lock(mutex_);
        return words_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> words_;
};

TEST(ThreadPool, StartsItsMinimum) {
    const auto before = threads::count();
    const ThreadPool pool(3, 5, "Crew", anHour);
    EXPECT_EQ(threads::count(), before + 3);
    threads::waitForNamed("Crew", 3);
}

TEST(ThreadPool, StartsNoMoreThanItsMaximum) {
    const auto before = threads::count();
    const ThreadPool pool(3, 2, "Crew", anHour);
    EXPECT_EQ(threads::count(), before + 2);
}

TEST(ThreadPool, WithoutAMinimumStartsOneThreadForTheFirstTask) {
    const auto before = threads::count();
    ThreadPool pool(0, 5, "Solo", anHour);
    EXPECT_EQ(threads::count(), before);
    Blocker blocker;
    pool.enqueue(blocker.task(), false, false);
    blocker.waitForBegun(1);
    EXPECT_EQ(threads::count(), before + 1);
    blocker.open();
}

TEST(ThreadPool, WakesAnIdleThreadBeforeItStartsOne) {
    const auto before = threads::count();
    ThreadPool pool(0, 5, "Reuse", anHour);
    std::atomic<int> ran{0};
    for (int i = 1; i <= 50; ++i) {
        pool.enqueue(make([&] { ++ran; }), false, false);
        // Until then the thread has the pool's name although it has a task.
        waitUntil([&] { return ran == i; });
        threads::waitForNamed("Reuse", 1);
    }
    EXPECT_EQ(threads::count(), before + 1);
}

TEST(ThreadPool, GrowsWhileAllAreBusyUpToItsMaximum) {
    const auto before = threads::count();
    ThreadPool pool(0, 3, "Grow", anHour);
    Blocker blocker;
    for (int i = 1; i <= 3; ++i) {
        pool.enqueue(blocker.task(), false, false);
        blocker.waitForBegun(i);
        EXPECT_EQ(threads::count(), before + static_cast<std::size_t>(i));
    }
    std::atomic<bool> ran{false};
    pool.enqueue(make([&] { ran = true; }), false, false);
    EXPECT_EQ(threads::count(), before + 3);
    EXPECT_EQ(pool.queueSize(), 1U);
    EXPECT_FALSE(ran);
    blocker.open();
    waitUntil([&] { return ran.load(); });
    EXPECT_EQ(pool.queueSize(), 0U);
}

TEST(ThreadPool, RetiresIdleThreadsDownToItsMinimum) {
    ThreadPool pool(1, 4, "Retire", 1);
    Blocker blocker;
    for (int i = 1; i <= 4; ++i) {
        pool.enqueue(blocker.task("busy"), false, false);
        blocker.waitForBegun(i);
    }
    EXPECT_EQ(threads::countNamed("busy"), 4U);
    const auto all = threads::list();
    blocker.open();
    waitUntil([&] { return threads::count() == all.size() - 3; });
    threads::waitForNamed("Retire", 1);
}

TEST(ThreadPool, TakesUrgentTasksFirstAndKeepsTheOrderWithinEachQueue) {
    ThreadPool pool(1, 1, anHour);
    Blocker blocker;
    pool.enqueue(blocker.task(), false, false);
    blocker.waitForBegun(1);
    Journal journal;
    for (const char* word : {"n1", "n2", "n3"}) {
        pool.enqueue(journal.writes(word), false, false);
    }
    for (const char* word : {"u1", "u2"}) {
        pool.enqueue(journal.writes(word), false, true);
    }
    pool.enqueue(journal.writes("n4"), false, false);
    EXPECT_EQ(pool.queueSize(), 6U);
    blocker.open();
    waitUntil([&] { return journal.words().size() == 6; });
    EXPECT_EQ(journal.words(), (std::vector<std::string>{"u1", "u2", "n1", "n2", "n3", "n4"}));
}

TEST(ThreadPool, NamesItsThreadsAfterTheTaskThatTheyRun) {
    ThreadPool pool(1, 1, "Base", anHour);
    std::string shown;
    const auto look = [&] { shown = threads::ownName(); };
    pool.enqueue(make(look, "Visible"), true, false);
    EXPECT_EQ(shown, "BT-Visible");
    pool.enqueue(make(look, "123456789012"), true, false);
    EXPECT_EQ(shown, "BT-123456789012") << "15 bytes are shown whole";
    pool.enqueue(make(look, "1234567890123"), true, false);
    EXPECT_EQ(shown, "BT-12345678901") << "16 bytes are cut to 14";
    threads::waitForNamed("Base", 1);

    Blocker named;
    pool.enqueue(named.task("Plain"), false, false);
    threads::waitForNamed("Plain", 1);
    named.open();
    threads::waitForNamed("Base", 1);
    Blocker nameless;
    pool.enqueue(nameless.task(""), false, false);
    threads::waitForNamed("PoolThread", 1);
    nameless.open();
    threads::waitForNamed("Base", 1);
}

TEST(ThreadPool, WithoutANameCallsItsThreadsPoolThread) {
    const ThreadPool pool(2, 2, anHour);
    threads::waitForNamed("PoolThread", 2);
}

TEST(ThreadPool, BlockingEnqueueReturnsWhenTheTaskHasRun) {
    ThreadPool pool(0, 1, anHour);
    Blocker blocker;
    Background caller([&] { pool.enqueue(blocker.task(), true, false); });
    blocker.waitForBegun(1);
    caller.waitUntilAsleep();
    EXPECT_FALSE(caller.ended());
    blocker.open();
    caller.join();
    EXPECT_EQ(blocker.ended(), 1);
}

TEST(ThreadPool, BlockingEnqueueMayBeUrgent) {
    ThreadPool pool(1, 1, anHour);
    Blocker blocker;
    pool.enqueue(blocker.task(), false, false);
    blocker.waitForBegun(1);
    Journal journal;
    pool.enqueue(journal.writes("normal"), false, false);
    Background caller([&] { pool.enqueue(journal.writes("urgent"), true, true); });
    waitUntil([&] { return pool.queueSize() == 2; });
    blocker.open();
    caller.join();
    EXPECT_EQ(journal.words().front(), "urgent");
    waitUntil([&] { return journal.words().size() == 2; });
}

TEST(ThreadPool, BlockingEnqueueFromItsOwnThreadUsesAnother) {
    ThreadPool pool(1, 2, anHour);
    std::atomic<bool> inner{false};
    pool.enqueue(make([&] { pool.enqueue(make([&] { inner = true; }), true, false); }), true, false);
    EXPECT_TRUE(inner);
}

CHILD_MAIN(waitsForItself) {
    static ThreadPool& pool = *new ThreadPool(1, 1, "Stuck", anHour);
    static std::atomic<bool> inside{false};
    pool.enqueue(make([] {
                     inside = true;
                     pool.enqueue(make([] { step("ran"); }), true, false);
                     step("returned");
                 }),
                 false, false);
    waitUntil([] { return inside && pool.queueSize() == 1; });
    waitUntil([] { return threads::isAsleep(threads::idOf("task")); });
    step("queued");
    multiprocess::await("end");
}

TEST(ThreadPool, BlockingEnqueueFromTheOnlyThreadWaitsForEver) {
    Child child("waitsForItself");
    child.waitFor("queued");
    child.tell("end");
    EXPECT_EQ(child.join(), 0) << "and no other step was taken";
}

TEST(ThreadPool, QueueSizeLeavesOutRunningTasks) {
    ThreadPool pool(1, 1, anHour);
    Blocker blocker;
    pool.enqueue(blocker.task(), false, false);
    blocker.waitForBegun(1);
    EXPECT_EQ(pool.queueSize(), 0U);
    pool.enqueue(make([] {}), false, false);
    pool.enqueue(make([] {}), false, true);
    EXPECT_EQ(pool.queueSize(), 2U);
    blocker.open();
}

TEST(ThreadPool, ClearQueueDropsWaitingTasksOnly) {
    ThreadPool pool(1, 1, anHour);
    Blocker blocker;
    pool.enqueue(blocker.task(), false, false);
    blocker.waitForBegun(1);
    std::atomic<bool> ran{false};
    auto normal = make([&] { ran = true; });
    auto urgent = make([&] { ran = true; });
    const std::weak_ptr<Task> watched[] = {normal, urgent};
    pool.enqueue(std::move(normal), false, false);
    pool.enqueue(std::move(urgent), false, true);
    pool.clearQueue();
    EXPECT_EQ(pool.queueSize(), 0U);
    EXPECT_TRUE(watched[0].expired() && watched[1].expired());
    blocker.open();
    pool.enqueue(make([] {}), true, false);
    EXPECT_EQ(blocker.ended(), 1);
    EXPECT_FALSE(ran);
}

TEST(ThreadPool, DroppedTasksMayUseThePoolInTheirDestructors) {
    ThreadPool pool(1, 1, anHour);
    Blocker blocker;
    pool.enqueue(blocker.task(), false, false);
    blocker.waitForBegun(1);
    unsigned sizeSeen = 99;
    auto guard = std::shared_ptr<int>(new int(0), [&](const int* number) {
        sizeSeen = pool.queueSize();
        delete number;
    });
    pool.enqueue(make([guard = std::move(guard)] {}), false, false);
    pool.clearQueue();
    EXPECT_EQ(sizeSeen, 0U);
    blocker.open();
}

CHILD_MAIN(isForgotten) {
    ThreadPool pool(1, 1, anHour);
    Blocker blocker;
    pool.enqueue(blocker.task(), false, false);
    blocker.waitForBegun(1);
    Background caller([&] { pool.enqueue(make([] {}), true, false); });
    waitUntil([&] { return pool.queueSize() == 1; });
    pool.clearQueue();
    blocker.open();
    pool.enqueue(make([] {}), true, false);
    caller.waitUntilAsleep();
    step(caller.ended() ? "returned" : "waits");
    multiprocess::await("never");
}

TEST(ThreadPool, ClearQueueNeverReleasesABlockedEnqueue) {
    Child child("isForgotten");
    child.waitFor("waits");
    child.kill();
}

TEST(ThreadPool, TasksMayEnqueueAndClear) {
    ThreadPool pool(1, 1, anHour);
    Blocker done;
    done.open();
    std::atomic<bool> dropped{true};
    pool.enqueue(make([&] {
                     pool.enqueue(make([&] { dropped = false; }), false, false);
                     pool.clearQueue();
                     pool.enqueue(done.task(), false, false);
                 }),
                 false, false);
    done.waitForEnded(1);
    EXPECT_TRUE(dropped);
}

TEST(ThreadPool, RunsOneTaskAsOftenAsItIsEnqueued) {
    ThreadPool pool(2, 2, anHour);
    std::atomic<int> runs{0};
    const auto task = make([&] { ++runs; });
    for (int i = 0; i < 100; ++i) {
        pool.enqueue(task, false, i % 2 == 0);
    }
    waitUntil([&] { return runs == 100; });
}

TEST(ThreadPool, IgnoresNoTask) {
    ThreadPool pool(1, 1, anHour);
    pool.enqueue(nullptr, false, false);
    pool.enqueue(nullptr, true, true);
    EXPECT_EQ(pool.queueSize(), 0U);
    pool.enqueue(make([] {}), true, false);
}

TEST(ThreadPool, WithoutIdleTimeThreadsRetireAtOnceAndTheMinimumNeverSleeps) {
    ThreadPool pool(1, 2, "Restless", 0);
    Blocker blocker;
    pool.enqueue(blocker.task(), false, false);
    blocker.waitForBegun(1);
    pool.enqueue(blocker.task(), false, false);
    blocker.waitForBegun(2);
    blocker.open();
    threads::waitForNamed("Restless", 1);
    const pid_t thread = threads::idOf("Restless");
    const auto used = threads::processorTime(thread);
    waitUntil([&] { return threads::processorTime(thread) > used + 50'000'000; });
    pool.enqueue(make([] {}), true, false);
}

TEST(ThreadPool, ManyCallersMayUseItAtOnce) {
    std::atomic<int> runs{0};
    {
        // One thread always stays: without it a task that comes just as the last thread retires waits for the next one
        // to come, which no caller sends while each waits for its own.
        ThreadPool pool(1, 4, 0);
        const auto work = [&](bool urgent) {
            for (int i = 0; i < 300; ++i) {
                pool.enqueue(make([&] { ++runs; }), i % 10 == 0, urgent);
                static_cast<void>(pool.queueSize());
            }
        };
        Background other([&] { work(true); });
        work(false);
        other.join();
        waitUntil([&] { return runs == 600; });
    }
}

CHILD_MAIN(throws) {
    ThreadPool pool(1, 1, anHour);
    pool.enqueue(make([] { throw 1; }), true, false);
    step("survived");
}

TEST(ThreadPool, AnExceptionOfATaskEndsTheProcess) {
    Child child("throws");
    EXPECT_EQ(child.join(), 128 + SIGABRT);
}

TEST(FunctionTask, CallsItsFunctionAndKnowsItsName) {
    int calls = 0;
    FunctionTask task([&] { ++calls; }, "a name");
    task.run();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(task.getName(), "a name");
    FunctionTask empty(nullptr, "");
#ifdef _LIBCPP_VERSION
    // Each shared object has this type of its own with that library.
    EXPECT_THROW(empty.run(), std::exception);
#else
    EXPECT_THROW(empty.run(), std::bad_function_call);
#endif
}

TEST(BlockingTask, RunsAndNamesTheOtherTask) {
    int calls = 0;
    BlockingTask task(make([&] { ++calls; }, "other"));
    EXPECT_EQ(task.getName(), "BT-other");
    task.run();
    EXPECT_EQ(calls, 1);
    task.wait();
}

}  // namespace
