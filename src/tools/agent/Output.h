#pragma once

#include <string>

namespace agent {

/// Writes a line to standard output, whole, at once. Waits while its reader is behind. False if the line is lost, as on
/// a full disk or when nobody can read it any more; the first loss is told of on standard error. Thread-safe.
bool printLine(const std::string& line);

/// Writes a line to standard error.
void printError(const std::string& line);

/// From when `stop` is readable, a reader that is behind is waited for a short while only. To be called before there
/// are threads.
void leaveReadersBehindAt(int stop);

/// Begins every line about this process: its name, id and client product.
std::string about();

}  // namespace agent
