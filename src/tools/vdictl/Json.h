#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace vdictl {

/// Prints a value as indented JSON and a line end. Bytes that are no UTF-8 become U+FFFD: give texts that may hold any
/// bytes through `printable`.
void printJson(const nlohmann::ordered_json& value);

/// Prints a value as JSON on one line.
void printJsonLine(const nlohmann::ordered_json& value);

}  // namespace vdictl
