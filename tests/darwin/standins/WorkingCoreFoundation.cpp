#include <CoreFoundation/CoreFoundation.h>
#include <mach-o/dyld.h>
#include <pthread.h>

#include <cstring>
#include <string>

#include "platform/Paths.h"
#include "platform/RelativeWait.h"
#include "platform/RunLoop.h"

namespace platform = VDIFrameworkCommon::platform;

namespace {

// There is one of each, of which nothing but its address is used.
int allocator = 0;
int commonModes = 0;
int mainLoop = 0;
int mainBundle = 0;
int resources = 0;

template <typename Reference>
Reference reference(int& object) {
    return reinterpret_cast<Reference>(&object);
}

bool copy(const std::string& text, char* buffer, std::size_t size) {
    if (text.empty() || text.size() >= size) {
        return false;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

}  // namespace

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = reference<CFAllocatorRef>(allocator);
const CFRunLoopMode kCFRunLoopCommonModes = reference<CFRunLoopMode>(commonModes);

void CFRelease(CFTypeRef object) {
    if (object != &resources) {
        platform::releaseTimer(static_cast<CFRunLoopTimerRef>(const_cast<void*>(object)));
    }
}

CFAbsoluteTime CFAbsoluteTimeGetCurrent() {
    return platform::currentAbsoluteTime();
}

CFRunLoopRef CFRunLoopGetMain() {
    return reference<CFRunLoopRef>(mainLoop);
}

CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef /*allocator*/, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                       CFOptionFlags /*flags*/, CFIndex /*order*/, CFRunLoopTimerCallBack callout,
                                       CFRunLoopTimerContext* context) {
    return platform::createTimer(fireDate, interval, callout, context->info);
}

void CFRunLoopAddTimer(CFRunLoopRef loop, CFRunLoopTimerRef timer, CFRunLoopMode mode) {
    // On another loop or in another mode a timer would not fire here.
    if (loop == CFRunLoopGetMain() && mode == kCFRunLoopCommonModes) {
        platform::addTimer(timer);
    }
}

void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer) {
    platform::invalidateTimer(timer);
}

CFBundleRef CFBundleGetMainBundle() {
    return reference<CFBundleRef>(mainBundle);
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef /*bundle*/) {
    return reference<CFURLRef>(resources);
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef /*url*/, Boolean /*resolveAgainstBase*/, UInt8* buffer,
                                         CFIndex maxBufferLength) {
    return copy(platform::resourcesDirectory(), reinterpret_cast<char*>(buffer),
                static_cast<std::size_t>(maxBufferLength))
               ? 1
               : 0;
}

int _NSGetExecutablePath(char* buffer, std::uint32_t* size) {
    return copy(platform::executablePath(), buffer, *size) ? 0 : -1;
}

int pthread_cond_timedwait_relative_np(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* time) {
    return platform::waitRelative(condition, mutex, *time);
}
}

int pthread_setname_np(const char* name) {
    return pthread_setname_np(pthread_self(), name);
}
