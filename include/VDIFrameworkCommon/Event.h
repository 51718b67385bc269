#pragma once

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// An event for the threads of one process: not signalled when made, signalled by `set`.
///
/// An auto-reset event wakes one waiter and is cleared by it; a manual-reset event lets every waiter through until
/// `reset`. Signals do not accumulate. Thread-safe, except for construction and destruction; its lock is held inside
/// its operations only.
class VDIFRAMEWORKCOMMON_EXPORT Event {
public:
    /// \param autoReset  true: one successful wait clears the event; false: only `reset` does
    explicit Event(bool autoReset);
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    /// Signals the event; waking nobody when it is signalled already. Always true.
    bool set();

    /// Clears a manual-reset event and returns true. Leaves an auto-reset event as it is and returns false.
    bool reset();

    /// Waits without limit until the event is signalled. Always true.
    bool wait();

    /// Waits until the event is signalled.
    ///
    /// The time starts anew after every wake-up that finds the event not signalled, so the call may take longer in all.
    ///
    /// \param limit  milliseconds on the monotonic clock; 0 polls once; a negative one fails at once, even when
    ///     signalled
    /// \return whether the event was seen signalled
    bool timedWait(long limit);

private:
    struct State;
    State* state_;
};

}  // namespace VDIFrameworkCommon
