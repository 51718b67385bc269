#pragma once

#include <string>
#include <vector>

/// The desktop's application services: finding, starting and force-stopping applications, and the system log.
///
/// Every function may be called from any thread. Unknown and malformed identifiers are those of no application.
namespace VDIFrameworkCommon::platform {

/// Tells whether an application with this process id is running.
bool isApplicationRunning(unsigned int pid) noexcept;

/// Tells whether at least one application with this bundle identifier is running.
bool isApplicationRunning(const std::string& bundleId) noexcept;

/// Force-terminates the running applications with this bundle identifier in the order in which the system lists them.
void forceTerminateApplications(const std::string& bundleId) noexcept;

/// Launches the application with this bundle identifier, without waiting for it to come up. Returns whether the system
/// could launch it.
bool launchApplication(const std::string& bundleId) noexcept;

/// Gets null when the application was started, and otherwise a text that says why it was not.
using LaunchCompletion = void (*)(const char* error);

/// Launches a new instance of the application at a path, with the environment of this process, and returns at once.
/// The completion is called exactly once, on a thread of the system's choosing.
void launchApplicationAt(const std::string& path, const std::vector<std::string>& arguments,
                         LaunchCompletion completion) noexcept;

/// Writes one line to the system log, as it is.
void writeSystemLog(const std::string& line) noexcept;

}  // namespace VDIFrameworkCommon::platform
