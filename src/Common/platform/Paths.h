#pragma once

#include <string>

namespace VDIFrameworkCommon::platform {

/// The full path of the running executable; empty if the system does not tell it.
std::string executablePath();

/// The directory in which the running program keeps its resources, whether there is one or not; empty if the path of
/// the executable is unknown.
std::string resourcesDirectory();

}  // namespace VDIFrameworkCommon::platform
