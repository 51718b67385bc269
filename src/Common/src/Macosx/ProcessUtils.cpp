#include "VDIFrameworkCommon/ProcessUtils.h"

#include <unistd.h>

#include <csignal>

#include "Log.h"
#include "platform/AppServices.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("VDIFrameworkCommon", __FILE__);

// Log readers tell launches by these texts, whichever way the launch was asked for. A failure is no error record.
constexpr const char* launchSucceeded = "createProcess: succeed";
constexpr const char* launchFailed = "createProcess: failed";

void completeLaunchAtURL(const char* error) {
    constexpr const char* function = "createProcessAtURL_block_invoke";
    if (error != nullptr) {
        VDI_LOG_AS(function, DPL_INFO, launchFailed);
        platform::writeSystemLog(std::string("Failed to run the app: ") + error);
    } else {
        VDI_LOG_AS(function, DPL_INFO, launchSucceeded);
        platform::writeSystemLog("launch app succeed");
    }
}

}  // namespace

int ProcessUtils::getCurrentProcessId() {
    return ::getpid();
}

int ProcessUtils::getParentProcessId() {
    return ::getppid();
}

int ProcessUtils::killCurrentProcess() {
    return ::kill(::getpid(), SIGKILL);
}

bool ProcessUtils::isProcessRunning(unsigned int pid) {
    return platform::isApplicationRunning(pid);
}

bool ProcessUtils::isProcessRunning(const std::string& bundleId) {
    return platform::isApplicationRunning(bundleId);
}

void ProcessUtils::terminateProcess(const std::string& bundleId) {
    VDI_LOG(DPL_INFO, "terminateProcess: ", bundleId);
    platform::forceTerminateApplications(bundleId);
}

void ProcessUtils::createProcess(const std::string& bundleId) {
    VDI_LOG(DPL_INFO, "launchAppWithBundleIdentifier: ", bundleId);
    VDI_LOG(DPL_INFO, platform::launchApplication(bundleId) ? launchSucceeded : launchFailed);
}

void ProcessUtils::createProcessAtURL(const std::string& path, const std::vector<std::string>& args) {
    VDI_LOG(DPL_INFO, "createProcessAtURL: ", path);
    for (const std::string& argument : args) {
        VDI_LOG(DPL_INFO, "add argument: ", argument);
    }
    platform::launchApplicationAt(path, args, completeLaunchAtURL);
}

}  // namespace VDIFrameworkCommon
