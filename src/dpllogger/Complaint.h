#pragma once

#include <string_view>

namespace DPL::dpllogger {

/// Writes one line about the logging itself to standard error. Never throws.
void complain(std::string_view text) noexcept;

}  // namespace DPL::dpllogger
