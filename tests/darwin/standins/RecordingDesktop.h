#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <pthread.h>
#include <sys/types.h>

#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Journal.h"

/// A desktop that notes every call in the journal and answers what the test has told it to. Belongs to one thread.
namespace desktop {

// Texts.

/// A text as the desktop would show it, in double quotes; "nil" for none.
std::string quoted(const std::string& text);

// CoreFoundation.

/// What `CFAbsoluteTimeGetCurrent` answers.
void setTime(double seconds);

/// What the last timer was made with.
struct TimerParameters {
    CFRunLoopTimerRef timer;
    CFAllocatorRef allocator;
    double fireDate;
    double interval;
    CFOptionFlags flags;
    CFIndex order;
    CFRunLoopTimerCallBack callout;
    CFRunLoopTimerContext context;
};
const TimerParameters& lastTimer();

/// Fires the last timer as the main run loop does, if it is valid and on the loop. Returns whether it did.
bool fireLastTimer();

/// Lets the next timer not be made.
void refuseNextTimer();

/// How many objects of CoreFoundation somebody holds.
int heldObjects();

// The main bundle: there may be none, it may have no resources, and their place may be no path.
struct Bundle {
    bool exists = true;
    bool hasResources = true;
    std::optional<std::string> resources;
};
void setBundle(const Bundle& bundle);

/// None: the system does not tell it.
void setExecutablePath(const std::optional<std::string>& path);

// Threads.

/// What the next waits get, which take no time: their parameters, and their result.
struct Wait {
    pthread_cond_t* condition;
    pthread_mutex_t* mutex;
    std::timespec time;
};
const Wait& lastWait();
void setWaitResult(int result);
void setNamingResult(int result);

// AppKit.

/// The applications that run: their ids, and those that one bundle identifier has.
void setRunning(const std::vector<pid_t>& ids);
void setRunning(const std::string& bundleId, const std::vector<pid_t>& ids);

/// What a launch by bundle identifier answers.
void setLaunchSucceeds(bool succeeds);

/// Calls the completion handler of the oldest launch that has none of its outcomes yet: with an error of this
/// description, or with an application. On the calling thread.
void failLaunch(const std::optional<std::string>& description);
void completeLaunch();

/// The objects of the desktop's classes that are alive, by class; equal before and after what holds nothing.
std::string liveObjects();

}  // namespace desktop
