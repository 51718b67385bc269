#pragma once

#include <string>

#include "VDIFrameworkCommon/Export.h"
#include "VDIFrameworkCommon/MacosxEvent.h"
#include "VDIFrameworkCommon/NamedMutex.h"

namespace VDIFrameworkCommon {

/// A condition between the processes of one user and one client product, used with a `NamedMutex` that the caller
/// holds.
///
/// It is an event: a notification that comes while nobody waits is kept for the next wait. Giving the mutex back and
/// waiting are two steps, between which others may take it. When several threads wait, one notification wakes all of
/// them and one is told so; the others return as after a time-out.
///
/// Owns its mapping of the event; the event outlives every process. Thread-safe once created, up to `release`.
class VDIFRAMEWORKCOMMON_EXPORT NamedCondition {
public:
    NamedCondition();
    ~NamedCondition();
    NamedCondition(const NamedCondition&) = delete;
    NamedCondition& operator=(const NamedCondition&) = delete;

    /// Opens the condition called `name`, making it if need be. To be called once.
    ///
    /// Of the name with the user's id and the product's prefix before it, the first 1024 characters count. False, with
    /// an error record, if the event cannot be opened; false for a null name.
    bool create(const char* name);

    /// Gives `mutex` back, waits without limit and takes `mutex` again. May return without a notification.
    ///
    /// \param mutex  held by this thread
    /// \return what taking the mutex returned
    bool wait(NamedMutex& mutex);

    /// As `wait`, for at most `milliseconds`; 0 polls.
    ///
    /// \param mutex  held by this thread, and so it is when the call returns
    /// \param milliseconds  limit on the wall clock, up to 2^31 - 1; all bits set: none; others fail at once
    /// \return whether this wait got a notification
    bool timed_wait(NamedMutex& mutex, unsigned int milliseconds);

    /// Signals the event. Does nothing when there is none. The caller need not hold the mutex.
    void notify();

    /// Gives the event up. Does nothing when there is none. The mapping stays while threads wait, in any process.
    void release();

private:
    std::string name_;
    t_HANDLE* event_ = nullptr;
};

}  // namespace VDIFrameworkCommon
