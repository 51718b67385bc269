#pragma once

#include <VDIFrameworkCommon/SystemUtils.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <dpllogger/DPLLogger.h>

#include <optional>
#include <string>

namespace agent {

/// What the command line asks for.
struct Options {
    VDIFrameworkCommon::VDIClientType::VDIClientTypeEnum client = VDIFrameworkCommon::VDIClientType::Unknown;
    VDIFrameworkCommon::ParletVersion version{};
    std::string versionText = "0.0.0.0";
    std::string traceDirectory;  ///< empty: the user's own
    DPLLogLevel logLevel = DPL_INFO;
    bool show = false;
};

/// Reads the command line. Without a value the program has nothing more to do: help, the version or an error was
/// printed, and `exitCode` says how to end.
std::optional<Options> parseOptions(int argc, char** argv, int& exitCode);

}  // namespace agent
