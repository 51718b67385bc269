// Processes that end in the middle of everything: tasks run and wait, timers fire, records are written.

#include <VDIFrameworkCommon/TaskDispatcher.h>
#include <VDIFrameworkCommon/ThreadPool.h>
#include <VDIFrameworkCommon/TimerHelper.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "support/Background.h"
#include "support/Multiprocess.h"
#include "support/PoolTasks.h"
#include "support/Sanitizers.h"

namespace {

using multiprocess::Child;
using VDIFrameworkCommon::TaskDispatcher;
using VDIFrameworkCommon::ThreadPool;
using VDIFrameworkCommon::TimerCallback;
using VDIFrameworkCommon::TimerHelper;

// Never ends: each run enqueues the next one, on the dispatcher of the moment.
void keepBusy() {
    TaskDispatcher::getInstance()->enqueue(keepBusy, "busy with a long name");
    TaskDispatcher::getInstance()->enqueueCallbackTask([] {}, "");
}

class BusyCallback : public TimerCallback {
public:
    void onTimeout(TimerHelper* /*timer*/) override {
        ++calls;
        keepBusy();
    }
    std::atomic<int> calls{0};
};

struct LateUser {
    LateUser() = default;
    LateUser(const LateUser&) = delete;
    LateUser& operator=(const LateUser&) = delete;
    ~LateUser() { keepBusy(); }
};

CHILD_MAIN(endsWhileBusy) {
    // Nothing of this is ever freed: it is in use until the process is gone.
    static auto& pool = *new ThreadPool(1, 3, "Busy", 1);
    static auto& callback = *new BusyCallback;
    static TimerHelper* slots[4];
    static const LateUser lateUser;
    std::atexit(keepBusy);
    for (auto& slot : slots) {
        TimerHelper::scheduleTimer(slot, &callback, 1, true);
    }
    static const std::function<void()>& again =
        *new std::function<void()>([] { pool.enqueue(pooltasks::make(again, "again"), false, false); });
    again();
    keepBusy();
    waitUntil([] { return callback.calls != 0; });
}

TEST(BusyExit, ProcessesEndCleanlyAThousandTimes) {
    // A sanitizer makes each run long, and finds in a few what it finds.
    const int runs = sanitizers::address || sanitizers::thread ? 50 : 1000;
    for (int i = 0; i < runs; ++i) {
        Child child("endsWhileBusy");
        ASSERT_EQ(child.join(), 0) << "run " << i << ": " << child.errors();
        ASSERT_EQ(child.errors(), "");
    }
}

}  // namespace
