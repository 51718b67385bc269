#pragma once

#include <dpllogger/DPLLogger.h>

#include <cstdint>
#include <optional>

namespace DPL::dpllogger {

/// When a log file is put aside, and how many of those put aside are kept.
struct RotationLimits {
    std::uint64_t fileSize = 10U << 20;  ///< bytes; 0: the file grows for ever
    unsigned keptFiles = 5;
};

/// Settings from the environment, for support. Those that are there are stronger than what the host sets.
struct Environment {
    std::optional<int> level;                 ///< DPL_LOG_LEVEL
    std::optional<LogAppenderType> appender;  ///< DPL_LOG_APPENDER
    RotationLimits limits;                    ///< DPL_LOG_FILE_SIZE, DPL_LOG_FILE_COUNT
};

/// Reads the settings. A value that makes no sense is reported on standard error once in a process, and not used.
Environment readEnvironment();

}  // namespace DPL::dpllogger
