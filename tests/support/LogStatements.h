#pragma once

#include <optional>
#include <string>

#include "support/RecordingLogger.h"

namespace recording {

/// Reads the source files that log. Before it, and once only: later a process may have no descriptors left, or be
/// another user's.
void readLogStatements();

/// What is wrong with where a record says that it comes from: no file of the source tree that has this logger, or a
/// line of it on which no such record is written. Nothing for a record that tells the truth. Thread-safe.
std::optional<std::string> wrongOrigin(const Record& record);

}  // namespace recording
