#pragma once

#include <string>

namespace agent {

/// Writes a line to standard output, whole, at once. Thread-safe.
void printLine(const std::string& line);

/// Writes a line to standard error.
void printError(const std::string& line);

/// Begins every line about this process: its name, id and client product.
std::string about();

}  // namespace agent
