#include <VDIFrameworkCommon/ThreadPool.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "support/AllocationCounter.h"
#include "support/Background.h"
#include "support/PoolTasks.h"

namespace {

using VDIFrameworkCommon::ThreadPool;

constexpr unsigned anHour = 3600;

TEST(ThreadPool, EnqueueAllocatesForTheQueueOnly) {
    ThreadPool pool(1, 1, "Lean", anHour);
    std::atomic<int> runs{0};
    const auto task = pooltasks::make([&] { ++runs; }, "short");
    const auto enqueueOne = [&](int i) {
        pool.enqueue(task, false, false);
        while (runs <= i) {
        }
    };
    enqueueOne(0);
    const long before = allocations();
    constexpr int count = 320;
    for (int i = 1; i <= count; ++i) {
        enqueueOne(i);
    }
    // A double-ended queue takes a block for several elements at a time.
    EXPECT_LE(allocations() - before, count / 16);
}

TEST(ThreadPool, BlockingEnqueueAllocatesTheBlockingTaskBesides) {
    ThreadPool pool(1, 1, "Lean", anHour);
    const auto task = pooltasks::make([] {}, "short");
    pool.enqueue(task, true, false);
    const long before = allocations();
    constexpr int count = 320;
    for (int i = 0; i < count; ++i) {
        pool.enqueue(task, true, false);
    }
    EXPECT_LE(allocations() - before, count * 2 + count / 16) << "the task and its event";
}

}  // namespace
