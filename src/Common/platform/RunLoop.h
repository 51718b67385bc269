#pragma once

/// The timer of a run loop: opaque, each back end has its own. The name is the one that callers of `TimerID` see.
struct __CFRunLoopTimer;  // NOLINT(bugprone-reserved-identifier)

/// The main run loop: the one thread on which timers fire. Every system has one; exactly one back end is compiled.
///
/// Thread-safe. A back end's lock is never held while a timer's callback runs, and comes after every lock that a caller
/// may hold.
namespace VDIFrameworkCommon::platform {

using RunLoopTimer = ::__CFRunLoopTimer;

/// Called for each expiry with the timer and the context it was made with. The context is a number or a pointer that
/// the loop only hands through.
using RunLoopCallback = void (*)(RunLoopTimer* timer, void* context);

/// The time in seconds against which fire times are given. Only differences mean anything.
double currentAbsoluteTime() noexcept;

/// Makes a timer that is not yet on the loop.
///
/// \param firstFireTime  absolute, in seconds; a time in the past is due at once
/// \param interval  seconds from one scheduled time to the next, however late the firings are; scheduled times that
/// have passed are made up for by one firing. 0: fires once and is invalid before its callback runs
/// \return never null; the caller's until `releaseTimer`
RunLoopTimer* createTimer(double firstFireTime, double interval, RunLoopCallback callback, void* context);

/// Puts a timer on the loop, which starts with the first one. The loop keeps the timer alive while it is on it.
void addTimer(RunLoopTimer* timer);

/// Takes a timer off the loop for good; fine for one that is off already. A callback that runs just then goes on.
void invalidateTimer(RunLoopTimer* timer) noexcept;

/// Gives up the caller's hold.
void releaseTimer(RunLoopTimer* timer) noexcept;

/// Lets the host's own loop take the place of the loop's thread.
///
/// \return a descriptor that is readable while a timer is due, the same one on every call; it stays the loop's. -1 when
/// a timer was added before, when the system has no descriptor left, or where the host's main loop fires timers anyway
int driveFromHost() noexcept;

/// Fires, on the calling thread, the timers that are due now. Does nothing unless the host drives the loop. An
/// exception of a callback ends the process.
void dispatchDueTimers() noexcept;

}  // namespace VDIFrameworkCommon::platform
