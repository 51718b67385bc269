#pragma once

#include <string_view>

#include "appenders/Outcome.h"

namespace DPL::dpllogger {

/// Writes whole lines to standard error, whatever it is.
///
/// A reader that does not read is waited for once, for two seconds; until it reads again lines are refused at once. One
/// that is gone is an error, no signal. The host's own settings of the descriptor stay as they are.
///
/// Not thread-safe.
class StandardError {
public:
    Outcome write(std::string_view lines) noexcept;

private:
    bool isStuck_ = false;      // the last wait was in vain
    bool withinALine_ = false;  // a line longer than a pipe takes in one piece was cut short
};

}  // namespace DPL::dpllogger
