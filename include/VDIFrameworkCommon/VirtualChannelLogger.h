#pragma once

#include <dpllogger/DPLLogger.h>

#include <memory>
#include <string>

#include "VDIFrameworkCommon/Export.h"

/// \file
/// The logging facade: one process-wide log controller, made when the library is loaded and released when it is
/// unloaded or the process exits.
///
/// Thread-safe: the controller is set once at load and only read afterwards. Every function may also be called before
/// `main`, from static destructors and from a thread that outlives `main`; once the controller is released each of them
/// does nothing. None blocks, except as the controller's own operation does.

namespace VDIFrameworkCommon {

/// The name of the file that hosts conventionally log to. The library itself never reads it.
inline const std::string LogFileName = "parlet.log";

}  // namespace VDIFrameworkCommon

/// Returns the controller, or null once it was released. The caller shares its ownership.
VDIFRAMEWORKCOMMON_EXPORT std::shared_ptr<DPL::dpllogger::LogController> VirtualChannelLogger_getInstance();

/// Initialises logging with the location that the controller's `init` understands, and says so on standard output
/// before and after. An empty location does nothing at all.
///
/// \param location  the log file, or a folder for it; a relative one counts from the working directory of this moment
VDIFRAMEWORKCOMMON_EXPORT void VirtualChannelLogger_init(std::string location);

/// Sets the threshold: passes any number on to the controller, unchanged. A record passes when its level is not above
/// it.
VDIFRAMEWORKCOMMON_EXPORT void VirtualChannelLogger_setLogLevel(DPLLogLevel level);

/// Sets where records go: passes any value on to the controller, unchanged.
VDIFRAMEWORKCOMMON_EXPORT void VirtualChannelLogger_setAppenderType(DPL::dpllogger::LogAppenderType type);

/// Allows or forbids writing to the log file; what is logged meanwhile is the controller's to keep.
VDIFRAMEWORKCOMMON_EXPORT void VirtualChannelLogger_setFileWritingAllowed(bool allowed);

/// Flushes the controller if it says that file writing is allowed.
VDIFRAMEWORKCOMMON_EXPORT void VirtualChannelLogger_flushBufferIfAllowed();

/// Flushes the controller, unconditionally. To be called before the process ends by any other way than `exit`.
VDIFRAMEWORKCOMMON_EXPORT void VirtualChannelLogger_flush();

/// Returns its argument unchanged. Text that identifies a user passes through here on its way into a record, so that a
/// redacting build has one place to change.
VDIFRAMEWORKCOMMON_EXPORT std::string VirtualChannelLogger_filterStrings(std::string text);
