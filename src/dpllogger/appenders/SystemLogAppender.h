#pragma once

#include <spdlog/sinks/syslog_sink.h>

#include <string_view>

namespace DPL::dpllogger {

/// Sends lines to the system's log, without time and ids, which the system adds itself.
///
/// Not thread-safe.
class SystemLogAppender {
public:
    SystemLogAppender();
    void write(std::string_view lines);

private:
    spdlog::sinks::syslog_sink_st sink_;
};

}  // namespace DPL::dpllogger
