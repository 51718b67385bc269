#pragma once

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// Lets a host whose main thread runs a loop of its own fire the timers there.
///
/// Left alone, timers fire on a thread that the library starts with the first timer. A host that wants them on its main
/// thread calls `useHostLoop` before it sets the first timer, watches the descriptor in its loop, and calls `dispatch`
/// whenever the descriptor is readable:
///
///     const int due = MainRunLoop::useHostLoop();
///     // … poll `due` for reading together with everything else; when it is readable:
///     MainRunLoop::dispatch();
///
/// On a system whose applications have a main run loop, timers fire there and nothing of this is needed.
class VDIFRAMEWORKCOMMON_EXPORT MainRunLoop {
public:
    MainRunLoop() = delete;

    /// Takes over the firing of timers, for the rest of the process's life. Thread-safe.
    ///
    /// \return a descriptor to poll for reading, which stays the library's: neither read nor close it. Every call
    /// returns the same one. -1 when a timer was set before the first call, when the process has no descriptor left,
    /// or where the system's own main run loop fires the timers
    static int useHostLoop();

    /// Runs the callbacks of all timers that are due, and returns. Does nothing if none is, or if the library fires
    /// the timers itself. To be called from one thread only, on which `onTimer` is then called; a callback may call it.
    static void dispatch();
};

}  // namespace VDIFrameworkCommon
