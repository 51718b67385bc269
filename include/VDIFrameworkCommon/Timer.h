#pragma once

#include <condition_variable>
#include <map>
#include <mutex>

#include "VDIFrameworkCommon/Export.h"

/// A timer of the main run loop; never defined here: the platform's.
struct __CFRunLoopTimer;  // NOLINT(bugprone-reserved-identifier)

namespace VDIFrameworkCommon {

/// The timer of the main run loop that stands behind a `Timer`.
///
/// The run loop knows a timer by its number only, never by its address. Belongs to its `Timer`, whose lock guards it.
class VDIFRAMEWORKCOMMON_EXPORT TimerID {
public:
    TimerID() = default;
    TimerID(const TimerID&) = delete;
    TimerID& operator=(const TimerID&) = delete;

    /// Makes a run-loop timer that fires `periodMs` milliseconds from now, and then every `periodMs` if `periodic`, and
    /// puts it on the main run loop. Always 0.
    ///
    /// \param id  the number of the `Timer`, which its expiries are told by
    /// \param periodMs  milliseconds
    /// \param periodic  whether it fires again and again
    int scheduleTimer(int id, unsigned int periodMs, bool periodic);

    /// Takes the timer off the run loop and gives it up. Does nothing when there is none.
    void stopTimer();

    /// What the run loop calls: passes `info`, which is a timer's number, to `Timer::callback`.
    static void timer_callback(__CFRunLoopTimer* timer, void* info);

private:
    __CFRunLoopTimer* timer_ = nullptr;
};

/// A one-shot or periodic timer. `onTimer` is called on the thread of the main run loop.
///
/// A timer that was set must be killed before it is destroyed, also a one-shot that has fired. `setTimer`, `killTimer`
/// and their variants may be called from any thread, but `killTimer` never from the timer's own `onTimer`: it waits for
/// that call to end. While it waits no other timer can be set or killed, so an `onTimer` that does so then waits for
/// ever with it. Problems are reported as lines on standard error.
class VDIFRAMEWORKCOMMON_EXPORT Timer {
public:
    Timer();
    /// Aborts the process, after a line on standard output, if the timer is set.
    virtual ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Called for every expiry, on the thread of the main run loop, with no lock held. Never runs twice at a time for
    /// one timer.
    virtual void onTimer() = 0;

    /// Sets the timer. One that was killed before can be set again, but its expiries are then skipped, each with a
    /// line.
    ///
    /// \param periodMs  milliseconds from now to the first expiry and between expiries; not 0
    /// \param periodic  whether it expires again and again
    /// \return 0; -1 for a period of 0 and for a timer that is set already; the negative result of
    /// `TimerID::scheduleTimer`
    int setTimer(unsigned int periodMs, bool periodic);

    /// `setTimer(periodMs, true)`, with its result.
    int setPeriodicTimer(unsigned int periodMs);

    /// `setTimer(periodMs, false)`, with its result.
    int setOneShotTimer(unsigned int periodMs);

    /// Takes the timer off the run loop and waits until its `onTimer`, if it is running, has returned. No `onTimer`
    /// starts after that. Harmless for a timer that is not set, which counts as killed from then on.
    void killTimer();

    /// Delivers an expiry of the timer with this number: calls its `onTimer`, unless it is gone, killed or busy.
    static void callback(int id);

    /// Notes that an `onTimer` begins. False if the timer is killed or `maxReferences` of them are running.
    bool reference(int maxReferences);

    /// Notes that an `onTimer` has ended.
    void release();

private:
    TimerID timer_;
    int id_ = -1;             // -1: not set
    int referenceCount_ = 0;  // how many `onTimer` are running
    bool killed_ = false;     // stays true
    std::mutex mutex_;        // guards the fields above; taken after s_idMapMutex
    std::condition_variable idle_;

    // Never destroyed: timers fire while the process ends.
    static std::map<int, Timer*>& s_idMap;
    static std::mutex& s_idMapMutex;
    static int s_idSequence;
};

}  // namespace VDIFrameworkCommon
