#include <mach-o/dyld.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "RecordingDesktop.h"

namespace {

/// What the objects of CoreFoundation have in common.
struct Object {
    const char* type;
    int holds = 1;
};

int objects = 0;
int markAllocator = 0;
int markCommonModes = 0;
int markDefaultMode = 0;
int markMainLoop = 0;
int markOtherLoop = 0;
int markBundle = 0;

double absoluteTime = 0;
desktop::TimerParameters parameters{};
bool refusesTimer = false;
desktop::Bundle mainBundle;
std::optional<std::string> executable;
desktop::Wait wait{};
int waitResult = 0;
int namingResult = 0;

template <typename Mark>
Mark mark(int& of) {
    return reinterpret_cast<Mark>(&of);
}

std::string text(double number) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.10g", number);
    return digits;
}

const char* isNull(bool null) {
    return null ? "null" : "something";
}

Object* objectOf(CFTypeRef reference) {
    return static_cast<Object*>(const_cast<void*>(reference));
}

}  // namespace

// The timer's name is the system's.
struct __CFRunLoopTimer : Object {  // NOLINT(bugprone-reserved-identifier)
    bool isValid = true;
    bool isOnLoop = false;
};

struct __CFURL : Object {};  // NOLINT(bugprone-reserved-identifier)

namespace {

void hold(Object* object) {
    ++object->holds;
}

void letGo(Object* object) {
    if (--object->holds == 0) {
        --objects;
        desktop::note(std::string(object->type) + " destroyed");
    } else if (object->holds < 0) {
        desktop::note(std::string(object->type) + " released too often");
    }
}

// Never freed, so that a release too many is seen for what it is.
template <typename Type>
Type* make(const char* type) {
    ++objects;
    auto* const object = new Type;
    object->type = type;
    static auto& all = *new std::vector<Object*>;
    all.push_back(object);
    return object;
}

}  // namespace

namespace desktop {

std::string quoted(const std::string& plain) {
    return '"' + plain + '"';
}

void setTime(double seconds) {
    absoluteTime = seconds;
}

const TimerParameters& lastTimer() {
    return parameters;
}

bool fireLastTimer() {
    CFRunLoopTimerRef const timer = parameters.timer;
    if (!timer->isValid || !timer->isOnLoop) {
        return false;
    }
    if (parameters.interval == 0) {
        timer->isValid = false;
    }
    parameters.callout(timer, parameters.context.info);
    return true;
}

void refuseNextTimer() {
    refusesTimer = true;
}

int heldObjects() {
    return objects;
}

void setBundle(const Bundle& bundle) {
    mainBundle = bundle;
}

void setExecutablePath(const std::optional<std::string>& path) {
    executable = path;
}

const Wait& lastWait() {
    return wait;
}

void setWaitResult(int result) {
    waitResult = result;
}

void setNamingResult(int result) {
    namingResult = result;
}

}  // namespace desktop

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = mark<CFAllocatorRef>(markAllocator);
const CFRunLoopMode kCFRunLoopCommonModes = mark<CFRunLoopMode>(markCommonModes);
const CFRunLoopMode kCFRunLoopDefaultMode = mark<CFRunLoopMode>(markDefaultMode);

CFTypeRef CFRetain(CFTypeRef reference) {
    desktop::note(std::string("CFRetain ") + objectOf(reference)->type);
    hold(objectOf(reference));
    return reference;
}

void CFRelease(CFTypeRef reference) {
    desktop::note(std::string("CFRelease ") + (reference == nullptr ? "null" : objectOf(reference)->type));
    letGo(objectOf(reference));
}

CFAbsoluteTime CFAbsoluteTimeGetCurrent() {
    desktop::note("CFAbsoluteTimeGetCurrent");
    return absoluteTime;
}

CFRunLoopRef CFRunLoopGetMain() {
    desktop::note("CFRunLoopGetMain");
    return mark<CFRunLoopRef>(markMainLoop);
}

CFRunLoopRef CFRunLoopGetCurrent() {
    desktop::note("CFRunLoopGetCurrent");
    return mark<CFRunLoopRef>(markOtherLoop);
}

CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef allocator, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                       CFOptionFlags flags, CFIndex order, CFRunLoopTimerCallBack callout,
                                       CFRunLoopTimerContext* context) {
    desktop::note(std::string("CFRunLoopTimerCreate allocator ") +
                  (allocator == kCFAllocatorDefault ? "default" : "other") + " at " + text(fireDate) + " every " +
                  text(interval) + " flags " + std::to_string(flags) + " order " + std::to_string(order) + " version " +
                  std::to_string(context->version) + " info " +
                  std::to_string(reinterpret_cast<std::intptr_t>(context->info)) + " retain " +
                  isNull(context->retain == nullptr) + " release " + isNull(context->release == nullptr) +
                  " description " + isNull(context->copyDescription == nullptr));
    if (std::exchange(refusesTimer, false)) {
        return nullptr;
    }
    auto* const timer = make<__CFRunLoopTimer>("timer");
    parameters = {timer, allocator, fireDate, interval, flags, order, callout, *context};
    return timer;
}

void CFRunLoopAddTimer(CFRunLoopRef loop, CFRunLoopTimerRef timer, CFRunLoopMode mode) {
    desktop::note(std::string("CFRunLoopAddTimer ") + (loop == mark<CFRunLoopRef>(markMainLoop) ? "main " : "other ") +
                  timer->type + (mode == kCFRunLoopCommonModes ? " common modes" : " other modes"));
    timer->isOnLoop = true;
    hold(timer);
}

void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer) {
    desktop::note(std::string("CFRunLoopTimerInvalidate ") + timer->type);
    timer->isValid = false;
    if (std::exchange(timer->isOnLoop, false)) {
        letGo(timer);
    }
}

CFBundleRef CFBundleGetMainBundle() {
    desktop::note("CFBundleGetMainBundle");
    return mainBundle.exists ? mark<CFBundleRef>(markBundle) : nullptr;
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle) {
    desktop::note(std::string("CFBundleCopyResourcesDirectoryURL ") +
                  (bundle == mark<CFBundleRef>(markBundle) ? "main" : "other"));
    return mainBundle.hasResources ? make<__CFURL>("URL") : nullptr;
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex maxBufferLength) {
    desktop::note(std::string("CFURLGetFileSystemRepresentation ") + url->type +
                  (resolveAgainstBase != 0 ? " resolved " : " as it is ") + std::to_string(maxBufferLength));
    if (!mainBundle.resources || static_cast<CFIndex>(mainBundle.resources->size()) >= maxBufferLength) {
        std::memset(buffer, 'x', static_cast<std::size_t>(maxBufferLength));
        return 0;
    }
    std::strcpy(reinterpret_cast<char*>(buffer), mainBundle.resources->c_str());
    return 1;
}

int _NSGetExecutablePath(char* buffer, std::uint32_t* size) {
    desktop::note("_NSGetExecutablePath " + std::to_string(*size));
    if (!executable || executable->size() >= *size) {
        *size = executable ? static_cast<std::uint32_t>(executable->size() + 1) : *size;
        return -1;
    }
    std::strcpy(buffer, executable->c_str());
    return 0;
}

int pthread_cond_timedwait_relative_np(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* time) {
    desktop::note("pthread_cond_timedwait_relative_np " + std::to_string(time->tv_sec) + " s " +
                  std::to_string(time->tv_nsec) + " ns");
    wait = {condition, mutex, *time};
    return waitResult;
}
}

int pthread_setname_np(const char* name) {
    desktop::note("pthread_setname_np " + desktop::quoted(name));
    return namingResult;
}
