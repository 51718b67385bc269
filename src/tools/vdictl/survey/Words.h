#pragma once

#include <sys/types.h>

#include <ctime>
#include <string>
#include <string_view>

#include "Records.h"
#include "survey/Survey.h"

namespace vdictl {

// How facts are put, for tables and messages.

/// "5 s", "12 min", "3 h", "8 d"
std::string ageText(const std::timespec& time, const std::timespec& now);

/// "2026-11-21 20:40:01", in local time
std::string localTime(const std::timespec& time);

/// "2026-11-21T20:40:01.250Z"
std::string utcTime(const std::timespec& time);

/// "0600"
std::string modeText(mode_t mode);

/// "no", "yes", "unknown"; empty for a process that is not there
std::string_view nameOf(Reuse reuse);

/// "blank", "free", "held", "damaged"
std::string_view nameOf(MutexRecord::State state);

/// "file", "directory", "link", "other"
std::string_view nameOfType(mode_t type);

/// "4711 (vdi-agent)"
std::string processText(const ProcessFacts& facts);

/// What an object holds, in some words.
std::string contentText(const Survey& survey, const Object& object);

}  // namespace vdictl
