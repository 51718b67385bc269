// The desktop's main run loop with the clock that is moved by hand.

#include <CoreFoundation/CoreFoundation.h>

#include "support/fakes/FakeRunLoop.h"
#include "support/fakes/HandMovedLoop.h"

using VDIFrameworkCommon::platform::TimerQueue;

namespace {

int mainLoop = 0;

}  // namespace

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFRunLoopMode kCFRunLoopCommonModes = nullptr;

void CFRelease(CFTypeRef object) {
    TimerQueue::release(static_cast<CFRunLoopTimerRef>(const_cast<void*>(object)));
}

CFAbsoluteTime CFAbsoluteTimeGetCurrent() {
    return std::chrono::duration<double>(fakes::now()).count();
}

CFRunLoopRef CFRunLoopGetMain() {
    return reinterpret_cast<CFRunLoopRef>(&mainLoop);
}

CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef /*allocator*/, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                       CFOptionFlags /*flags*/, CFIndex /*order*/, CFRunLoopTimerCallBack callout,
                                       CFRunLoopTimerContext* context) {
    return TimerQueue::create(fireDate, interval, callout, context->info);
}

void CFRunLoopAddTimer(CFRunLoopRef /*loop*/, CFRunLoopTimerRef timer, CFRunLoopMode /*mode*/) {
    fakes::handMovedQueue().add(timer);
}

void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer) {
    fakes::handMovedQueue().invalidate(timer);
}
}
