#pragma once

#include <spdlog/sinks/stdout_sinks.h>

#include <string_view>

namespace DPL::dpllogger {

/// Writes lines to standard error.
///
/// Not thread-safe.
class ConsoleAppender {
public:
    ConsoleAppender();
    void write(std::string_view lines);

private:
    spdlog::sinks::stderr_sink_st sink_;
};

}  // namespace DPL::dpllogger
