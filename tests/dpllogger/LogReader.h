#pragma once

#include <dpllogger/DPLLogger.h>

#include <filesystem>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "dpllogger/LineParser.h"

/// Reads back what the logging library wrote.
namespace logreader {

/// The lines of a text. A line that is not a record, or has no end, fails the test.
std::vector<Line> parseAll(std::string_view text);

/// The whole text of a file; empty if there is none.
std::string contents(const std::filesystem::path& file);

/// The files of a log, the oldest first.
std::vector<std::filesystem::path> filesOf(const std::filesystem::path& log);

/// The records of a log in all its files, the oldest first.
std::vector<Line> readLog(const std::filesystem::path& log);

/// Their messages.
std::vector<std::string> messagesOf(const std::filesystem::path& log);
std::vector<std::string> messagesOf(const std::vector<Line>& lines);

/// A folder of this test, removed with it.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

/// Logs a message whose other parts do not matter.
void write(DPL::dpllogger::LogController& controller, DPLLogLevel level, const std::string& message);

/// The path of a log as an argument of a child.
inline std::filesystem::path logOf(const std::vector<std::string>& arguments) {
    return arguments.at(0);
}

}  // namespace logreader
