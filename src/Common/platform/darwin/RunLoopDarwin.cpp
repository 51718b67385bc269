#include "platform/RunLoop.h"

#include <CoreFoundation/CoreFoundation.h>

#include <new>

namespace VDIFrameworkCommon::platform {

double currentAbsoluteTime() noexcept {
    return CFAbsoluteTimeGetCurrent();
}

RunLoopTimer* createTimer(double firstFireTime, double interval, RunLoopCallback callback, void* context) {
    constexpr CFOptionFlags flags = 0;
    constexpr CFIndex order = 0;
    // The info is handed through as it is: the loop neither retains nor describes it.
    CFRunLoopTimerContext description{
        .version = 0, .info = context, .retain = nullptr, .release = nullptr, .copyDescription = nullptr};
    RunLoopTimer* const timer =
        CFRunLoopTimerCreate(kCFAllocatorDefault, firstFireTime, interval, flags, order, callback, &description);
    if (timer == nullptr) {
        throw std::bad_alloc();
    }
    return timer;
}

void addTimer(RunLoopTimer* timer) {
    CFRunLoopAddTimer(CFRunLoopGetMain(), timer, kCFRunLoopCommonModes);
}

void invalidateTimer(RunLoopTimer* timer) noexcept {
    CFRunLoopTimerInvalidate(timer);
}

void releaseTimer(RunLoopTimer* timer) noexcept {
    CFRelease(timer);
}

// Hosts have the main run loop itself.
int driveFromHost() noexcept {
    return -1;
}

void dispatchDueTimers() noexcept {
}

}  // namespace VDIFrameworkCommon::platform
