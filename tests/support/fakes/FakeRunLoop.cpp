#include "support/fakes/FakeRunLoop.h"

#include "platform/RunLoop.h"
#include "support/fakes/HandMovedLoop.h"

namespace VDIFrameworkCommon::platform {

double currentAbsoluteTime() noexcept {
    return std::chrono::duration<double>(fakes::now()).count();
}

RunLoopTimer* createTimer(double firstFireTime, double interval, RunLoopCallback callback, void* context) {
    return TimerQueue::create(firstFireTime, interval, callback, context);
}

void addTimer(RunLoopTimer* timer) {
    fakes::handMovedQueue().add(timer);
}

void invalidateTimer(RunLoopTimer* timer) noexcept {
    fakes::handMovedQueue().invalidate(timer);
}

void releaseTimer(RunLoopTimer* timer) noexcept {
    TimerQueue::release(timer);
}

int driveFromHost() noexcept {
    return -1;
}

void dispatchDueTimers() noexcept {
}

}  // namespace VDIFrameworkCommon::platform
