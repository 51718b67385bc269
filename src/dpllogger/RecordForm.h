#pragma once

#include <spdlog/common.h>

#include <cstddef>
#include <ctime>
#include <string_view>

namespace DPL::dpllogger {

/// What a caller hands over.
struct Record {
    std::string_view logger;
    int level;
    std::string_view path;
    int line;
    std::string_view function;
    std::string_view message;
};

/// Turns records into lines:
///
///     2026-11-21T09:48:30.123456+01:00 4711 4712 ERROR SharedMemory src/Common/src/Shm.cpp:42 create: text of the
///     message
///
/// time, process id, thread id, level, logger, path and line, function, message. Exactly one space parts the words; the
/// words and the message are escaped, so a line always splits back into the record it was made from.
///
/// Not thread-safe.
class RecordForm {
public:
    /// Appends the record's line, its line feed included.
    void append(spdlog::memory_buf_t& out, const Record& record);

private:
    void readClock(std::time_t second);

    std::time_t second_ = -1;
    char dateAndTime_[32] = {};
    std::size_t dateAndTimeLength_ = 0;
    char zone_[16] = {};
    std::size_t zoneLength_ = 0;
};

/// The part of a line from its level on, for a destination that adds times and ids of its own; and that level.
struct LineTail {
    spdlog::level::level_enum level;
    std::string_view text;
};
LineTail tailOf(std::string_view line) noexcept;

/// Tells whether `text`, perhaps cut short, is how a line begins.
bool beginsLikeALine(std::string_view text) noexcept;

}  // namespace DPL::dpllogger
