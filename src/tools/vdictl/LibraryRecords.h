#pragma once

#include <dpllogger/DPLLogger.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "Report.h"

namespace vdictl {

/// What the runtime library says about its operations. Several of them tell the reason of a failure, or their outcome,
/// in a log record only.
///
/// The program takes the logging library's place: the records of this process come here and go nowhere else. Only the
/// latest are kept. Thread-safe.
namespace library {

/// Forgets what came so far: before an operation.
void clear();

/// The first record of level ERROR, if one came.
std::optional<std::string> firstError();

/// Waits for a record that begins with `beginning` and returns it; nothing when none comes in time.
std::optional<std::string> waitFor(std::string_view beginning, std::chrono::milliseconds limit);

/// Why the operation failed, from its first record of level ERROR: the call and the error number that it names, or its
/// whole text. `file` is what the call was about.
Failure failure(const std::string& object, const std::string& file);

}  // namespace library

/// What a user can do about an error at a file; empty if there is nothing to say.
std::string adviceFor(int error, const std::string& file);

}  // namespace vdictl
