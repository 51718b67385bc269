// The part of CoreFoundation's interface that the back end uses, as far as it is public.
#pragma once

#include <cstdint>

extern "C" {

using Boolean = unsigned char;
using UInt8 = std::uint8_t;
using CFIndex = long;
using CFOptionFlags = unsigned long;
using CFTimeInterval = double;
using CFAbsoluteTime = CFTimeInterval;
using CFTypeRef = const void*;
using CFAllocatorRef = const struct __CFAllocator*;
using CFStringRef = const struct __CFString*;
using CFURLRef = const struct __CFURL*;
using CFBundleRef = struct __CFBundle*;
using CFRunLoopRef = struct __CFRunLoop*;
using CFRunLoopTimerRef = struct __CFRunLoopTimer*;
using CFRunLoopMode = CFStringRef;
using CFRunLoopTimerCallBack = void (*)(CFRunLoopTimerRef timer, void* info);

struct CFRunLoopTimerContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
};

extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFRunLoopMode kCFRunLoopCommonModes;
extern const CFRunLoopMode kCFRunLoopDefaultMode;

CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFAbsoluteTime CFAbsoluteTimeGetCurrent();

CFRunLoopRef CFRunLoopGetMain();
CFRunLoopRef CFRunLoopGetCurrent();
CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef allocator, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                       CFOptionFlags flags, CFIndex order, CFRunLoopTimerCallBack callout,
                                       CFRunLoopTimerContext* context);
void CFRunLoopAddTimer(CFRunLoopRef loop, CFRunLoopTimerRef timer, CFRunLoopMode mode);
void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer);

CFBundleRef CFBundleGetMainBundle();
CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex maxBufferLength);
}
