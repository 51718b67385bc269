#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>

#include "VDIFrameworkCommon/Export.h"

/// \file
/// Events between processes, by name.
///
/// An event is a record in shared memory that every participant maps. It is signalled by `SetEvent` and stays so until
/// a wait consumes it: a signal that comes before the wait is not lost, and signals do not accumulate. Each waiting
/// thread brings a condition of its own, in a shared object that `SetEvent` finds by its number. Every event resets
/// itself: when several threads wait, `SetEvent` wakes all of them, one gets the signal and the others fail.
///
/// Thread-safe and process-shared: every operation takes the event's own mutex, except where it says otherwise. A
/// process that dies inside an operation leaves that mutex locked until the next `CreateEventA` of the name, in any
/// process, makes it anew; a thread that already slept on it sleeps on until it is given back while somebody waits.
namespace VDIFrameworkCommon {

/// One event, as every process maps it.
struct t_HANDLE {
    union {
        pthread_mutex_t mutex;        ///< guards every other field
        unsigned char mutexSlot[64];  ///< what the system's mutex leaves free stays untouched
    };
    std::uint8_t signaled;          ///< 1: signalled, 0: not signalled
    char name[100];                 ///< the object's name, cut to 99 characters; not empty: the event is initialised
    unsigned char unusedByName[3];  ///< zero
    std::int32_t waiterCount;       ///< how many threads wait now
    unsigned char unused[4];        ///< zero
};
static_assert(sizeof(pthread_mutex_t) <= 64, "the system's mutex does not fit the shared record");
static_assert(offsetof(t_HANDLE, mutex) == 0 && offsetof(t_HANDLE, signaled) == 64 && offsetof(t_HANDLE, name) == 65 &&
              offsetof(t_HANDLE, unusedByName) == 165 && offsetof(t_HANDLE, waiterCount) == 168 &&
              offsetof(t_HANDLE, unused) == 172 && sizeof(t_HANDLE) == 176);

/// What wakes one waiting thread, as the thread and those that signal map it. Used with the event's mutex.
struct t_list_element {
    union {
        pthread_cond_t cond;         ///< what its thread waits on
        unsigned char condSlot[48];  ///< what the system's condition leaves free stays untouched
    };
};
static_assert(sizeof(pthread_cond_t) <= 48, "the system's condition does not fit the shared record");
static_assert(offsetof(t_list_element, cond) == 0 && sizeof(t_list_element) == 48);

/// The time-out that waits without limit.
inline constexpr int INFINITE = -1;

/// Opens the event called `name`, making it if need be.
///
/// The event's mutex is initialised also when the event exists; its state and its waiters are kept then. A name longer
/// than 93 characters is the exception: each call sets such an event to `initialState` and to no waiters.
///
/// \param attributes  ignored
/// \param manualReset  ignored
/// \param initialState  whether a new event is signalled
/// \param name  a NUL-terminated narrow string
/// \return this process's mapping, to be given to `CloseHandle`; null, with an error record, if the object cannot be
/// opened, sized or mapped, and for a null name
VDIFRAMEWORKCOMMON_EXPORT t_HANDLE* CreateEventA(void* attributes, bool manualReset, bool initialState,
                                                 const void* name) noexcept;

/// Signals the event and wakes every thread that waits for it now. A waiter that cannot be reached is skipped, with an
/// error record. Always 1, for a null handle too.
VDIFRAMEWORKCOMMON_EXPORT int SetEvent(t_HANDLE* event) noexcept;

/// Takes the signal back. Always 0, for a null handle too.
VDIFRAMEWORKCOMMON_EXPORT int ResetEvent(t_HANDLE* event) noexcept;

/// Waits, once, until the event is signalled, and consumes the signal.
///
/// \param event  a handle of this process; may be null
/// \param milliseconds  limit on the wall clock, which may be set while the call waits; `INFINITE`: none; any other
/// negative one fails at once, with 64 or with 96, unless the event is signalled
/// \return 0: the event was signalled; 64: the time ran out; 96: null handle, a failure to make this thread's condition
/// (with an error record), or woken while the event was not signalled, by a signal that another waiter got or by none
VDIFRAMEWORKCOMMON_EXPORT int WaitForSingleObject(t_HANDLE* event, int milliseconds) noexcept;

/// Gives the mapping up. The event stays in the system, with its state.
///
/// Looks at the number of waiters without the event's mutex: no other thread of this process may be about to use the
/// handle.
///
/// \param event  not to be used again after a result of 1; may be null
/// \return 1; 0 and nothing done while threads wait for the event, in any process, or for a null handle
VDIFRAMEWORKCOMMON_EXPORT int CloseHandle(t_HANDLE* event) noexcept;

}  // namespace VDIFrameworkCommon
