#pragma once

#include <string>

namespace DPL::dpllogger {

/// Turns a host's location into the path of the log file, absolute, so that a later change of the working directory
/// does not matter.
///
/// A location is a folder, in which "parlet.log" is the file, or the file itself. Where nothing exists yet, it is a
/// folder if it ends in a slash or its last part has no extension ("logs", ".config"), else a file ("agent.log").
std::string logFilePath(const std::string& location);

/// Makes the folders above `path`, for their owner alone. Returns 0 or an error number.
int makeFoldersAbove(const std::string& path) noexcept;

}  // namespace DPL::dpllogger
