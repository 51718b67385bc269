#include <VDIFrameworkCommon/TaskDispatcher.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <numeric>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "support/Background.h"
#include "support/Multiprocess.h"
#include "support/PoolTasks.h"
#include "support/RecordingLogger.h"
#include "support/Threads.h"

namespace {

using multiprocess::Child;
using multiprocess::step;
using pooltasks::Blocker;
using recording::Record;
using VDIFrameworkCommon::TaskDispatcher;

static_assert(std::has_virtual_destructor_v<TaskDispatcher> && !std::is_copy_constructible_v<TaskDispatcher>);

using Enqueue = void (TaskDispatcher::*)(std::function<void()>, const std::string&);

Record record(const std::string& function, const std::string& message) {
    return {"VDIFrameworkCommon", DPL_DEBUG, "src/Common/src/ThreadPool/TaskDispatcher.cpp", 0, function, message};
}

TEST(TaskDispatcher, IsOneForTheProcess) {
    const auto first = TaskDispatcher::getInstance();
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(first, TaskDispatcher::getInstance());
}

TEST(TaskDispatcher, IsMadeOnceByManyThreads) {
    std::vector<std::shared_ptr<TaskDispatcher>> seen(8);
    {
        std::vector<std::unique_ptr<Background>> callers;
        for (auto& instance : seen) {
            callers.push_back(std::make_unique<Background>([&] { instance = TaskDispatcher::getInstance(); }));
        }
    }
    for (const auto& instance : seen) {
        EXPECT_EQ(instance, seen.front());
    }
}

TEST(TaskDispatcher, StartsNoThreadBeforeTheFirstFunction) {
    const auto before = threads::count();
    const TaskDispatcher dispatcher;
    EXPECT_EQ(threads::count(), before);
}

// The two operations agree but for the pool and the name in the records.
struct Operation {
    Enqueue enqueue;
    Enqueue other;
    const char* name;
};

void PrintTo(const Operation& operation, std::ostream* stream) {
    *stream << operation.name;
}

class EitherOperation : public testing::TestWithParam<Operation> {
protected:
    void enqueue(const std::function<void()>& function, const std::string& name) {
        (dispatcher.*GetParam().enqueue)(function, name);
    }

    TaskDispatcher dispatcher;
};

INSTANTIATE_TEST_SUITE_P(
    TaskDispatcher, EitherOperation,
    testing::Values(Operation{&TaskDispatcher::enqueue, &TaskDispatcher::enqueueCallbackTask, "enqueue"},
                    Operation{&TaskDispatcher::enqueueCallbackTask, &TaskDispatcher::enqueue, "enqueueCallbackTask"}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_P(EitherOperation, LogsTheNameAndTheSizeOfTheQueueBeforeIt) {
    enqueue([] {}, "first");
    EXPECT_EQ(recording::takeRecords(), std::vector<Record>{record(GetParam().name, "Enqueue first - Queue Size: 0")});
    Blocker blocker;
    for (int i = 1; i <= 5; ++i) {
        enqueue(blocker.function(), "busy");
        blocker.waitForBegun(i);
    }
    recording::takeRecords();
    enqueue([] {}, "");
    enqueue([] {}, "sixth and more");
    EXPECT_EQ(recording::takeRecords(),
              (std::vector<Record>{record(GetParam().name, "Enqueue  - Queue Size: 0"),
                                   record(GetParam().name, "Enqueue sixth and more - Queue Size: 1")}));
    blocker.open();
}

TEST_P(EitherOperation, RunsFiveAtATimeAndLeavesTheOtherPoolFree) {
    Blocker blocker;
    for (int i = 1; i <= 5; ++i) {
        enqueue(blocker.function(), "busy");
        blocker.waitForBegun(i);
    }
    const auto all = threads::count();
    Blocker sixth;
    sixth.open();
    enqueue(sixth.function(), "sixth");
    EXPECT_EQ(threads::count(), all) << "no sixth thread";
    Blocker elsewhere;
    elsewhere.open();
    (dispatcher.*GetParam().other)(elsewhere.function(), "elsewhere");
    elsewhere.waitForEnded(1);
    EXPECT_EQ(sixth.begun(), 0);
    blocker.open();
    sixth.waitForEnded(1);
}

TEST_P(EitherOperation, StartsFunctionsInTheirOrder) {
    Blocker four;
    for (int i = 1; i <= 4; ++i) {
        enqueue(four.function(), "busy");
        four.waitForBegun(i);
    }
    Blocker fifth;
    enqueue(fifth.function(), "busy");
    fifth.waitForBegun(1);
    std::vector<int> order;
    for (int i = 0; i < 20; ++i) {
        enqueue([&, i] { order.push_back(i); }, "ordered");
    }
    EXPECT_TRUE(order.empty()) << "returns before it ran";
    Blocker last;
    last.open();
    enqueue(last.function(), "last");
    fifth.open();  // one thread alone takes them all
    last.waitForEnded(1);
    std::vector<int> expected(20);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    four.open();
}

TEST_P(EitherOperation, DropsSilentlyAfterStopUntilStart) {
    dispatcher.Stop();
    std::atomic<bool> dropped{true};
    enqueue([&] { dropped = false; }, "refused");
    EXPECT_TRUE(recording::takeRecords().empty());
    dispatcher.Start();
    Blocker accepted;
    accepted.open();
    enqueue(accepted.function(), "accepted");
    accepted.waitForEnded(1);
    EXPECT_TRUE(dropped);
    EXPECT_EQ(recording::takeRecords().size(), 1U);
}

TEST_P(EitherOperation, StopDropsWaitingFunctionsAndLeavesRunningOnes) {
    Blocker blocker;
    for (int i = 1; i <= 5; ++i) {
        enqueue(blocker.function(), "busy");
        blocker.waitForBegun(i);
    }
    std::atomic<bool> dropped{true};
    enqueue([&] { dropped = false; }, "waiting");
    dispatcher.Stop();
    dispatcher.Start();
    Blocker last;
    last.open();
    enqueue(last.function(), "last");
    blocker.open();
    blocker.waitForEnded(5);
    last.waitForEnded(1);
    EXPECT_TRUE(dropped);
}

TEST_P(EitherOperation, ShowsTheFunctionsNameWhileItRuns) {
    std::vector<std::string> shown;
    Blocker looked;
    looked.open();
    int enqueued = 0;
    for (const char* name : {"", "123456789012345", "1234567890123456"}) {
        enqueue(
            [&] {
                shown.push_back(threads::ownName());
                looked.function()();
            },
            name);
        looked.waitForEnded(++enqueued);
    }
    EXPECT_EQ(shown, (std::vector<std::string>{"PoolThread", "123456789012345", "12345678901234"}));
    threads::waitForNamed("TaskDispatcher", 1);
}

CHILD_MAIN(enqueuesNothing) {
    TaskDispatcher dispatcher;
    dispatcher.enqueue(nullptr, "empty");
    waitUntil([] { return false; });
}

TEST(TaskDispatcher, AnEmptyFunctionEndsTheProcess) {
    EXPECT_EQ(Child("enqueuesNothing").join(), 128 + SIGABRT);
}

TEST(TaskDispatcher, ClearQueueClearsBothPools) {
    TaskDispatcher dispatcher;
    Blocker blocker;
    std::atomic<bool> dropped{true};
    for (const Enqueue enqueue : {&TaskDispatcher::enqueue, &TaskDispatcher::enqueueCallbackTask}) {
        const int begun = blocker.begun();
        for (int i = 1; i <= 5; ++i) {
            (dispatcher.*enqueue)(blocker.function(), "busy");
            blocker.waitForBegun(begun + i);
        }
        (dispatcher.*enqueue)([&] { dropped = false; }, "waiting");
    }
    dispatcher.clearQueue();
    blocker.open();
    blocker.waitForEnded(10);
    threads::waitForNamed("TaskDispatcher", 10);
    EXPECT_TRUE(dropped);
}

TEST(TaskDispatcher, IdleThreadsOfBothPoolsHaveTheSameName) {
    TaskDispatcher dispatcher;
    dispatcher.enqueue([] {}, "a");
    dispatcher.enqueueCallbackTask([] {}, "b");
    threads::waitForNamed("TaskDispatcher", 2);
}

TEST(TaskDispatcher, DestructionLeavesRunningFunctionsAlone) {
    Blocker blocker;
    {
        TaskDispatcher dispatcher;
        dispatcher.enqueue(blocker.function(), "running");
        dispatcher.enqueueCallbackTask(blocker.function(), "running");
        blocker.waitForBegun(2);
    }
    EXPECT_EQ(blocker.ended(), 0);
    blocker.open();
    blocker.waitForEnded(2);
    threads::waitForNamed("TaskDispatcher", 0);
}

// Uses the dispatcher of the moment when it is destroyed.
struct LastWish {
    LastWish() = default;
    LastWish(const LastWish&) = delete;
    LastWish& operator=(const LastWish&) = delete;
    ~LastWish() {
        TaskDispatcher::getInstance()->enqueue([] {}, "last wish");
        step("destroyed");
    }
};

CHILD_MAIN(exitsWithFunctionsWaiting) {
    // Never opened: the functions that run keep their threads until the process is gone.
    static auto& blocker = *new Blocker;
    for (int i = 1; i <= 5; ++i) {
        TaskDispatcher::getInstance()->enqueue(blocker.function(), "busy");
        blocker.waitForBegun(i);
    }
    TaskDispatcher::getInstance()->enqueue([wish = std::make_shared<LastWish>()] {}, "waiting");
}

TEST(TaskDispatcher, FunctionsDroppedAtExitMayUseItInTheirDestructors) {
    Child child("exitsWithFunctionsWaiting", {}, {{"ASAN_OPTIONS", "detect_leaks=0"}});
    child.waitFor("destroyed");
    EXPECT_EQ(child.join(), 0);
}

CHILD_MAIN(enqueuesWithoutALogger) {
    TaskDispatcher dispatcher;
    Blocker blocker;
    blocker.open();
    dispatcher.enqueue(blocker.function(), "unrecorded");
    dispatcher.enqueueCallbackTask(blocker.function(), "unrecorded");
    blocker.waitForEnded(2);
    step(std::to_string(recording::takeRecords().size()));
}

TEST(TaskDispatcher, WorksWithoutALogger) {
    Child child("enqueuesWithoutALogger", {}, {{"RECORDING_NULL_LOGGERS", "VDIFrameworkCommon"}});
    child.waitFor("0");
    EXPECT_EQ(child.join(), 0);
}

}  // namespace
