// What the agent program asks of the task dispatcher and waits for, when a pool leaves it lying.

#include "../../src/tools/agent/Job.h"

#include <VDIFrameworkCommon/ThreadPool.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "support/Background.h"
#include "support/Gate.h"
#include "support/PoolTasks.h"
#include "support/SystemCall.h"
#include "support/Threads.h"

namespace {

using agent::Job;
using VDIFrameworkCommon::ThreadPool;

constinit SystemCall<int(pthread_t, const char*)> setName("pthread_setname_np");

// What a pool's thread does the next time it is named after its pool and not after a task.
std::function<void()> whenNamedAgain;

}  // namespace

// This program's own function stands in front of the C library's. A pool's thread that was idle for its time is named
// once more before it retires.
extern "C" int pthread_setname_np(pthread_t thread, const char* name) {
    if (name == std::string("Retiring") && whenNamedAgain) {
        std::exchange(whenNamedAgain, nullptr)();
    }
    return setName.get()(thread, name);
}

namespace {

// A job that counts how often it is done, and remembers where.
struct Counted {
    std::atomic<int> times{0};
    std::thread::id where;
    const std::shared_ptr<Job> job = std::make_shared<Job>([this] {
        where = std::this_thread::get_id();
        ++times;
    });
};

TEST(AgentJob, LeftLyingByAThreadThatRetiresIsDoneByWhoeverWaits) {
    constexpr unsigned retireAtOnce = 0;
    Counted counted;
    const auto task = pooltasks::make([job = counted.job] { job->run(); });
    Gate retiring;
    ThreadPool pool(0, 1, "Retiring", retireAtOnce);
    // Idle for its time, and still counted: whoever comes now wakes a thread that no longer looks.
    const auto tooLate = [&] {
        pool.enqueue(task, false, false);
        retiring.open();
    };
    const auto afterTheTask = [&] { whenNamedAgain = tooLate; };
    pool.enqueue(pooltasks::make([&] { whenNamedAgain = afterTheTask; }), false, false);
    retiring.wait();
    counted.job->finish();
    EXPECT_EQ(counted.times, 1);
    EXPECT_EQ(counted.where, std::this_thread::get_id());
    EXPECT_EQ(pool.queueSize(), 1U) << "it was left lying";
    threads::waitForNamed("Retiring", 0);
    pool.enqueue(pooltasks::make([] {}), true, false);  // brings a thread, which finds both
    EXPECT_EQ(counted.times, 1) << "it is not done twice";
}

TEST(AgentJob, IsDoneByThePoolIfItCan) {
    Counted counted;
    ThreadPool pool(0, 1, 60);
    pool.enqueue(pooltasks::make([job = counted.job] { job->run(); }), false, false);
    counted.job->finish();
    EXPECT_EQ(counted.times, 1);
    EXPECT_NE(counted.where, std::this_thread::get_id());
}

TEST(AgentJob, ThatTakesLongIsWaitedFor) {
    pooltasks::Blocker blocker;
    const auto job = std::make_shared<Job>(blocker.function());
    Background worker([&] { job->run(); });
    blocker.waitForBegun(1);
    Background waiter([&] { job->finish(); });
    Background returner([&] { job->takeBack(); });
    returner.waitUntilAsleep();
    EXPECT_FALSE(returner.ended());
    EXPECT_FALSE(job->isOver());
    blocker.open();
    waiter.join();
    returner.join();
    EXPECT_TRUE(job->isOver());
    EXPECT_EQ(blocker.begun(), 1);
}

TEST(AgentJob, ThatWasTakenBackIsNeverDone) {
    Counted counted;
    counted.job->takeBack();
    EXPECT_TRUE(counted.job->isOver());
    counted.job->run();
    counted.job->finish();
    EXPECT_EQ(counted.times, 0);
}

TEST(AgentJob, MayBeTakenBackWhenItIsDone) {
    Counted counted;
    counted.job->run();
    counted.job->takeBack();
    counted.job->takeBack();
    EXPECT_EQ(counted.times, 1);
}

}  // namespace
