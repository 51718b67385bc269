#pragma once

#include <string>

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// Names the calling thread, and no other, so that a thread list of the system shows what it does. A name of 16 bytes
/// or more is cut to its first 14. A failure is reported as a line on standard error. Called on the main thread it
/// renames the process. Thread-safe.
VDIFRAMEWORKCOMMON_EXPORT void SetThreadName(const std::string& name);

/// Names threads that may have no name to show. Thread-safe: no state.
class VDIFRAMEWORKCOMMON_EXPORT ThreadNameSetter {
public:
    /// As `SetThreadName`; an empty name leaves the thread's name as it is.
    static void SetCurrentThreadName(const std::string& name);
};

/// As `SetThreadName`, with "PoolThread" in the place of an empty name. Thread-safe.
VDIFRAMEWORKCOMMON_EXPORT void setWorkerThreadName(const std::string& name);

}  // namespace VDIFrameworkCommon
